#include "orlo/data/byte_io.h"

#include <new>

namespace Orlo {

void CByteIO::_ThrowTooLarge() {
    throw std::bad_alloc();
}

/// The growing write past the end fills the gap with zeros. One that fits keeps what the block held there,
/// which is never a stranger's: new memory of a `byteEx` is zero.
void CByteIO::_MakeRoomPastEnd(std::uint64_t end) {
    byteEx& bytes = *m_buffer;
    const bool fits = !bytes.is_borrowed() && !bytes.is_shared() && end <= bytes.capacity();
    if (fits) return;
    bytes.reserve_for_write(end);
    std::memset(bytes.mutable_data() + bytes.size(), 0, m_position - bytes.size());
}

}  // namespace Orlo

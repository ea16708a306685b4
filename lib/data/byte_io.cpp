#include "orlo/data/byte_io.h"

#include <limits>
#include <new>

namespace Orlo {

/// Makes room for `size` bytes at the position: private, and large enough. The growing write past the end fills
/// the gap with zeros. One that fits keeps what the block held there, which is never a stranger's: new memory of
/// a `byteEx` is zero.
void CByteIO::_MakeRoom(std::size_t size) {
    constexpr std::uint64_t MOST = std::numeric_limits<std::int64_t>::max();
    if (size > MOST || m_position > MOST - size) throw std::bad_alloc();
    const std::uint64_t end = m_position + size;
    byteEx& bytes = *m_buffer;
    if (bytes.is_unique() && end <= bytes.capacity()) return;
    bytes.reserve_for_write(end);
    if (m_position > bytes.size())
        std::memset(bytes.mutable_data() + bytes.size(), 0, m_position - bytes.size());
}

}  // namespace Orlo

#include "orlo/isxf/mem_buffer.h"

#include <cstring>

namespace Orlo {

/// Fills what lies between the buffer's end and the position with zeros.
void CMemBuffer::_FillGap() {
    const std::uint64_t end = _Buffer().size();
    CByteIO gap(&_Buffer(), end);
    const std::uint64_t size = static_cast<std::uint64_t>(GetCurrentPos()) - end;
    std::memset(gap.Claim(size), 0, size);
}

}  // namespace Orlo

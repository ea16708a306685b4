#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/data/byte_io.h"

namespace Orlo {

/// A cursor in a `byteEx` for `CISXFReader` and `CISXFWriter`, which load and store at its position directly.
///
/// A `CByteIO`, but that a gap between the buffer's end and what is written past it is always filled with
/// zeros. The buffer is not owned.
class CMemBuffer : public CByteIO {
public:
    using CByteIO::CByteIO;

    unsigned char* Claim(std::size_t size) {
        const auto position = static_cast<std::uint64_t>(GetCurrentPos());
        if (position > _Buffer().size()) [[unlikely]]
            _FillGap();
        return CByteIO::Claim(size);
    }

private:
    ORLO_API void _FillGap();
};

}  // namespace Orlo

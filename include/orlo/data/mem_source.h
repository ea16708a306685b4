#pragma once

#include <utility>

#include "orlo/data/byte_io.h"
#include "orlo/data/generic_adapters.h"

namespace Orlo {

/// A source that owns its bytes, or shares them with whoever has copies: they are never written to.
///
/// ```cpp
/// const byteEx bytes(reinterpret_cast<const unsigned char*>("a,b"), 3);
/// CMemSource source(bytes);
/// byteEx whole;
/// source.GetContent(whole);  // the same block, not a copy
/// ```
///
/// It cannot be copied, because it reads by a pointer to its own member. Failures: none.
class CMemSource : public CGenericSeekableSource<CByteIO> {
public:
    explicit CMemSource(byteEx bytes) noexcept
        : CGenericSeekableSource<CByteIO>(CByteIO(&m_bytes)), m_bytes(std::move(bytes)) {}
    CMemSource(const CMemSource&) = delete;
    CMemSource& operator=(const CMemSource&) = delete;

    int GetKind() const override { return 6; }
    /// Gives `content` a share of all bytes, read or not. Always true.
    bool GetContent(byteEx& content) const override {
        if (&content != &m_bytes) content = m_bytes;
        return true;
    }

protected:
    byteEx m_bytes;
};

}  // namespace Orlo

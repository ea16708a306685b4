#pragma once

#include "orlo/textconv/text_conv.h"
#include "orlo/threads/light_mutex.h"

namespace Orlo::IMPL {

/// What the converters over a library have in common: `Self` is made from a name or a code page. Clones are
/// made by the name, since several encodings share a number.
template <class Self>
class CNamedConv : public TTextConv {
public:
    shared_ptr<TTextConv> CloneByCP(std::uint32_t codePage) const override {
        return shared_ptr<TTextConv>(new Self(codePage));
    }
    shared_ptr<TTextConv> Clone() const override { return CloneByName(m_encName); }
    shared_ptr<TTextConv> CloneByName(const stringEx& encoding) const override {
        return shared_ptr<TTextConv>(new Self(encoding));
    }
    stringEx GetEncName() const override { return m_encName; }
    std::uint32_t GetCodePage() const override { return EncToCP(m_encName); }

protected:
    explicit CNamedConv(const stringEx& encoding) : m_encName(encoding) {}

    /// Serialises conversions: what they use of the library holds state.
    mutable CLightMutex m_lock;
    const stringEx m_encName;
};

}  // namespace Orlo::IMPL

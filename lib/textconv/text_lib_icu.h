#pragma once

#include "textconv/icu_library.h"
#include "textconv/named_conv.h"

namespace Orlo {

/// A converter over an ICU found at run time. For a character that the encoding lacks ICU writes the
/// encoding's substitution character, and U+FFFD for bytes that it cannot read.
///
/// Threads: a lock serialises the use of ICU's converter.
class CTextLibIcu final : public IMPL::CNamedConv<CTextLibIcu> {
public:
    /// For an encoding of the table or one that ICU itself knows. Fails with `libicuExp`.
    explicit CTextLibIcu(const stringEx& encoding);
    /// For a code page by ICU's name for it, "windows-" and the number, or else by the table.
    explicit CTextLibIcu(std::uint32_t codePage);
    ~CTextLibIcu() noexcept(false) override;

    std::size_t AppendMBtoWC(const stringEx& source, wstringEx& destination) const override;
    std::size_t AppendWCtoMB(const wstringEx& source, stringEx& destination) const override;

private:
    IMPL::CLibraryRef<IMPL::CCountedLibrary<IMPL::icu_api>> m_library;
    IMPL::icu_converter* m_converter;
};

}  // namespace Orlo

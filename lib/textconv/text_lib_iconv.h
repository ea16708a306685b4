#pragma once

#include "textconv/iconv_library.h"
#include "textconv/named_conv.h"

namespace Orlo {

/// A converter over an iconv found at run time. Characters that the encoding lacks are dropped.
///
/// Threads: a lock serialises the use of the two descriptors, which hold state.
class CTextLibIConv final : public IMPL::CNamedConv<CTextLibIConv> {
public:
    /// For an encoding of the table or one that iconv itself knows. Fails with `libiconvExp`.
    explicit CTextLibIConv(const stringEx& encoding);
    /// For the first encoding in the table with that code page. Fails with `tconvExp` where there is none.
    explicit CTextLibIConv(std::uint32_t codePage);
    ~CTextLibIConv() noexcept(false) override;

    std::size_t AppendMBtoWC(const stringEx& source, wstringEx& destination) const override;
    std::size_t AppendWCtoMB(const wstringEx& source, stringEx& destination) const override;

private:
    using descriptor = IMPL::iconv_api::descriptor;
    struct COpenFailure;

    CTextLibIConv(const stringEx& encoding, const COpenFailure& failure);

    IMPL::CLibraryRef<IMPL::CCountedLibrary<IMPL::iconv_api>> m_library;
    descriptor m_toWide;
    descriptor m_fromWide;
    /// The bytes of the encoding's smallest unit, for getting past what cannot be read.
    std::size_t m_unit;
};

}  // namespace Orlo

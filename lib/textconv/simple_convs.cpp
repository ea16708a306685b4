// The converters that need no library: by the C library's locale, and for UTF-8.

#include "textconv/simple_convs.h"

#include <langinfo.h>

#include <climits>
#include <cwchar>

#include "strings/utf8.h"
#include "textconv/encoding_table.h"

namespace Orlo {
namespace {

constexpr auto FAILED = static_cast<std::size_t>(-1);
constexpr auto CUT = static_cast<std::size_t>(-2);

class CIsoSysDefConv final : public TTextConv {
public:
    shared_ptr<TTextConv> Clone() const override { return IMPL::make_iso_sys_def_conv(); }

    /// What the locale does not know is dropped: a byte, or a sequence that the text's end cuts.
    std::size_t AppendMBtoWC(const stringEx& source, wstringEx& destination) const override {
        const std::size_t old_size = destination.size();
        destination.reserve_for_write(old_size + source.size() + 1);
        std::mbstate_t state{};
        for (std::size_t at = 0; at < source.size();) {
            wchar_t c = 0;
            const std::size_t length = std::mbrtowc(&c, source.data() + at, source.size() - at, &state);
            if (length == CUT) break;
            if (length == FAILED) {
                state = {};
                ++at;
                continue;
            }
            destination.append(c);
            // a NUL has the length 0, and is one byte in every encoding that a locale can have
            at += std::max<std::size_t>(length, 1);
        }
        return destination.size() - old_size;
    }

    std::size_t AppendWCtoMB(const wstringEx& source, stringEx& destination) const override {
        const std::size_t old_size = destination.size();
        destination.reserve_for_write(old_size + source.size() * MB_CUR_MAX + 1);
        std::mbstate_t state{};
        char bytes[MB_LEN_MAX];
        const auto append = [&](wchar_t c, std::size_t without) {
            const std::mbstate_t before = state;
            const std::size_t length = std::wcrtomb(bytes, c, &state);
            if (length == FAILED) {
                state = before;
            } else {
                destination.append(bytes, length - without);
            }
        };
        for (const wchar_t c : source)
            append(c, 0);
        // back to the initial state, but without the NUL that goes there
        append(L'\0', 1);
        return destination.size() - old_size;
    }

    stringEx GetEncName() const override { return GetDefaultEncoding(); }
    std::uint32_t GetCodePage() const override { return EncToCP(GetDefaultEncoding()); }
};

class CUtf8Conv final : public TTextConv {
public:
    shared_ptr<TTextConv> Clone() const override { return IMPL::make_utf8_conv(); }

    std::size_t AppendMBtoWC(const stringEx& source, wstringEx& destination) const override {
        const std::size_t old_size = destination.size();
        IMPL::append_utf8_as_wide(source, destination);
        return destination.size() - old_size;
    }
    std::size_t AppendWCtoMB(const wstringEx& source, stringEx& destination) const override {
        const std::size_t old_size = destination.size();
        IMPL::append_wide_as_utf8(source, destination);
        return destination.size() - old_size;
    }

    stringEx GetEncName() const override { return "UTF-8"_lit; }
    std::uint32_t GetCodePage() const override { return 65001; }
};

}  // namespace

shared_ptr<TTextConv> IMPL::make_iso_sys_def_conv() {
    return shared_ptr<TTextConv>(new CIsoSysDefConv);
}

bool IMPL::locale_has(const stringEx& encoding) {
    return same_encoding(nl_langinfo(CODESET), encoding);
}

shared_ptr<TTextConv> IMPL::make_utf8_conv() {
    return shared_ptr<TTextConv>(new CUtf8Conv);
}

}  // namespace Orlo

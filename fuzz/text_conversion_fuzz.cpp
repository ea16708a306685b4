// Conversions on arbitrary bytes. UTF-8: the kernels agree, and what was decoded goes through every form of
// Unicode unchanged. Any encoding of the table, chosen by the first byte: a conversion keeps no state, so it
// gives the same twice, and what it made converts back without a fault.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <vector>

#include "orlo/textconv/text_conv.h"
#include "orlo/textconv/unicode.h"
#include "strings/utf8_kernels.h"
#include "vector/instructions.h"

using namespace Orlo;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

/// What a kernel decodes, checked to encode back as the plain one does.
std::vector<wchar_t> decoded(const IMPL::utf8_kernel& kernel, std::string_view text) {
    // heap blocks of exact size: the address sanitizer sees what is read or written beside them
    const std::vector<char> source(text.begin(), text.end());
    std::vector<wchar_t> wide(text.size());
    wide.resize(kernel.decode(source.data(), source.size(), wide.data()));
    wide.shrink_to_fit();
    std::vector<char> narrow(wide.size() * 4), plain(wide.size() * 4);
    narrow.resize(kernel.encode(wide.data(), wide.size(), narrow.data()));
    plain.resize(IMPL::PLAIN_UTF8.encode(wide.data(), wide.size(), plain.data()));
    require(narrow == plain);
    return wide;
}

void check_unicode(std::string_view text) {
    const std::vector<wchar_t> plain = decoded(IMPL::PLAIN_UTF8, text);
    if (IMPL::best_instructions() >= IMPL::instructions::avx2)
        require(decoded(IMPL::AVX2_UTF8, text) == plain);
    const wstringEx wide = UTF8toWC(text);
    require(wide.view() == std::wstring_view(plain.data(), plain.size()));
    require(UTF8toWC(WCtoUTF8(wide)) == wide);
    require(UTF16toWC(WCtoUTF16(wide)) == wide);
    require(UTF32toWC(WCtoUTF32(wide)) == wide);
    // arbitrary units: what is no scalar value is replaced once, and stays
    for (const wstringEx& any : {UTF16toWC(text), UTF32toWC(text)})
        require(WCtoUTF8(UTF8toWC(WCtoUTF8(any))) == WCtoUTF8(any));
}

/// The converter of a row of the table; null for a row that no library knows.
TTextConv* converter(std::size_t row) {
    static std::map<std::size_t, shared_ptr<TTextConv>> made;
    static const std::vector<ENCODING_INFO> rows = TTextConv::GetEncodings();
    row %= rows.size();
    const auto found = made.find(row);
    if (found != made.end()) return found->second.get();
    try {
        made[row] = TTextConv::Create(rows[row].name);
    } catch (const tconvExp&) {
        made[row] = {};
    }
    return made[row].get();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const stringEx text(reinterpret_cast<const char*>(data) + 1, size - 1);
    check_unicode(text);
    if (TTextConv* const by = converter(data[0])) {
        const wstringEx wide = by->MBtoWC(text);
        require(by->MBtoWC(text) == wide);
        const stringEx narrow = by->WCtoMB(wide);
        require(by->WCtoMB(wide) == narrow);
        by->MBtoWC(narrow);
    }
    return 0;
}

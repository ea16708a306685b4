#include "strings/narrow_name.h"

#include <algorithm>

#include "orlo/textconv/text_conv.h"
#include "strings/failure.h"
#include "strings/utf8.h"

namespace Orlo::IMPL {
namespace {

constexpr failure<tconvExp> NO_NAME = {{
    .code = tconv_code::failed,
    .head = "TTextConv::WCtoMB - the encoding lacks a character of the name\n",
    .keys = {"  name          = ", "  encoding name = "},
}};

template <class View>
bool is_ascii(View text) noexcept {
    return std::all_of(text.begin(), text.end(), [](auto c) { return c >= 0 && c <= 0x7F; });
}

}  // namespace

std::optional<stringEx> TryNarrow(std::wstring_view text) {
    if (is_ascii(text)) return wide_to_utf8(text);
    const TTextConv& converter = TTextConv::GetDefault();
    stringEx narrow = converter.WCtoMB(wstringEx::borrow(text));
    if (converter.MBtoWC(narrow).view() != text) return std::nullopt;
    return narrow;
}

stringEx NarrowName(std::wstring_view name) {
    std::optional<stringEx> narrow = TryNarrow(name);
    if (!narrow) NO_NAME.raise({wide_to_utf8(name), TTextConv::GetDefaultEncoding()});
    return *std::move(narrow);
}

wstringEx Widen(std::string_view text) {
    if (is_ascii(text)) return utf8_to_wide(text);
    return TTextConv::GetDefault().MBtoWC(stringEx::borrow(text));
}

}  // namespace Orlo::IMPL

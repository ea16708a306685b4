#include "orlo/textconv/unicode.h"

#include <cstring>

#include "orlo/textconv/text_conv.h"
#include "strings/utf8.h"
#include "textconv/utf16.h"

namespace Orlo {
namespace {

using namespace IMPL;

template <class Unit>
Unit unit_at(std::string_view bytes, std::size_t index) noexcept {
    Unit unit;
    std::memcpy(&unit, bytes.data() + index * sizeof(Unit), sizeof(Unit));
    return unit;
}

/// Appends the bytes at the end that make no unit.
template <class Unit>
void append_rest(std::string_view bytes, wstringEx& out) {
    for (const char byte : bytes.substr(bytes.size() / sizeof(Unit) * sizeof(Unit)))
        out.append(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
}

/// The units that `write` makes of each character, `most` of them at most.
template <class Unit, std::size_t most, class Write>
stringEx written(std::wstring_view text, Write write) {
    stringEx made;
    // the sum cannot overflow: the text itself is as large
    made.reserve_for_write(text.size() * most * sizeof(Unit) + 1);
    std::size_t size = 0;
    for (const wchar_t c : text) {
        Unit units[most];
        const std::size_t bytes = write(c, units) * sizeof(Unit);
        std::memcpy(made.mutable_data() + size, units, bytes);
        size += bytes;
    }
    made.set_size(size);
    return made;
}

}  // namespace

stringEx MBtoUTF8(const stringEx& text) {
    return IsDefaultUtf8() ? text : WCtoUTF8(TTextConv::GetDefault().MBtoWC(text));
}

stringEx UTF8toMB(const stringEx& text) {
    return IsDefaultUtf8() ? text : TTextConv::GetDefault().WCtoMB(UTF8toWC(text));
}

stringEx WCtoUTF8(std::wstring_view text) {
    return wide_to_utf8(text);
}

wstringEx UTF8toWC(std::string_view text) {
    return utf8_to_wide(text);
}

stringEx WCtoUTF16(std::wstring_view text) {
    return written<char16_t, 2>(text, write_utf16);
}

wstringEx UTF16toWC(std::string_view text) {
    wstringEx made;
    append_utf16_as_wide(
        text.size() / 2, [text](std::size_t i) { return unit_at<char16_t>(text, i); }, made);
    append_rest<char16_t>(text, made);
    return made;
}

stringEx WCtoUTF32(std::wstring_view text) {
    return written<char32_t, 1>(text, [](wchar_t c, char32_t* out) {
        *out = encodable(c);
        return std::size_t{1};
    });
}

wstringEx UTF32toWC(std::string_view text) {
    const std::size_t count = text.size() / sizeof(char32_t);
    wstringEx made;
    made.reserve_for_write(count + 1);
    if (count != 0) std::memcpy(made.mutable_data(), text.data(), count * sizeof(char32_t));
    made.set_size(count);
    append_rest<char32_t>(text, made);
    return made;
}

}  // namespace Orlo

#pragma once

#include <cstddef>
#include <string_view>

#include "orlo/strings/buffer.h"

// UTF-8 and wide text: the one encoder and the one decoder of the library.
//
// Decoding takes what table 3-7 of the Unicode standard calls well-formed: no overlong form, no surrogate,
// nothing above U+10FFFF, no cut sequence. A byte that begins no well-formed sequence becomes the character
// of its own value, and decoding goes on with the next byte, so nothing is lost and nothing fails. Encoding
// writes U+FFFD for a wide character that is no Unicode scalar value.

namespace Orlo::IMPL {

constexpr char32_t REPLACEMENT_POINT = 0xFFFD;

constexpr bool is_scalar_value(char32_t point) noexcept {
    return point < 0xD800 || (point >= 0xE000 && point <= 0x10FFFF);
}

/// Writes a scalar value as UTF-8 and returns how many bytes, 1 to 4, it took.
inline std::size_t write_utf8(char32_t point, char* out) noexcept {
    const auto tail = [point](unsigned shift) { return static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        out[0] = static_cast<char>(point);
        return 1;
    }
    if (point < 0x800) {
        out[0] = static_cast<char>(0xC0 | (point >> 6));
        out[1] = tail(0);
        return 2;
    }
    if (point < 0x10000) {
        out[0] = static_cast<char>(0xE0 | (point >> 12));
        out[1] = tail(6);
        out[2] = tail(0);
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (point >> 18));
    out[1] = tail(12);
    out[2] = tail(6);
    out[3] = tail(0);
    return 4;
}

/// Appends a scalar value: as UTF-8 to narrow text, as itself to wide text.
template <class T>
void append_code_point(basic_buffer<T>& text, char32_t point) {
    if constexpr (sizeof(T) > 1) {
        text.append(static_cast<T>(point));
    } else {
        char bytes[4];
        text.append(bytes, write_utf8(point, bytes));
    }
}

/// Appends the wide form of UTF-8 text, which must not lie inside `out`. Throws `std::bad_alloc` only.
void append_utf8_as_wide(std::string_view utf8, wstringEx& out);
/// Appends wide text as UTF-8; the text must not lie inside `out`. Throws `std::bad_alloc` only.
void append_wide_as_utf8(std::wstring_view wide, stringEx& out);

/// The same as new text.
inline wstringEx utf8_to_wide(std::string_view utf8) {
    wstringEx made;
    append_utf8_as_wide(utf8, made);
    return made;
}
inline stringEx wide_to_utf8(std::wstring_view wide) {
    stringEx made;
    append_wide_as_utf8(wide, made);
    return made;
}

}  // namespace Orlo::IMPL

#pragma once

#include <cstddef>
#include <string_view>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

// Conversions between the default encoding, wide text and the forms of Unicode, without a converter object.
//
// UTF-8 is read by table 3-7 of the Unicode standard: a byte that begins no well-formed sequence (an overlong
// or cut one, a surrogate, more than U+10FFFF) becomes the character of its own value. UTF-16 and UTF-32 are
// bytes in the machine's order, without a mark; half a surrogate pair, and bytes at the end that make no
// unit, likewise become characters of their own value. Written is U+FFFD for a wide character that is no
// Unicode scalar value.
//
// Threads: any. Failures: `std::bad_alloc` only, but `MBtoUTF8` and `UTF8toMB` fail as the default converter
// does where the default encoding is not UTF-8.

namespace Orlo {

/// True if the default encoding (`TTextConv::GetDefaultEncoding`) is UTF-8. Found out once.
ORLO_API bool IsDefaultUtf8();

/// From the default encoding to UTF-8, and back. The same text, where the default is UTF-8.
ORLO_API stringEx MBtoUTF8(const stringEx& text);
ORLO_API stringEx UTF8toMB(const stringEx& text);
inline stringEx MBtoUTF8(const char* text, std::size_t length) {
    return MBtoUTF8(stringEx(text, length));
}
inline stringEx UTF8toMB(const char* text, std::size_t length) {
    return UTF8toMB(stringEx(text, length));
}

/// From wide text to UTF-8, UTF-16 and UTF-32.
ORLO_API stringEx WCtoUTF8(std::wstring_view text);
ORLO_API stringEx WCtoUTF16(std::wstring_view text);
ORLO_API stringEx WCtoUTF32(std::wstring_view text);
inline stringEx WCtoUTF8(const wchar_t* text, std::size_t length) {
    return WCtoUTF8(std::wstring_view(text, length));
}
inline stringEx WCtoUTF16(const wchar_t* text, std::size_t length) {
    return WCtoUTF16(std::wstring_view(text, length));
}
inline stringEx WCtoUTF32(const wchar_t* text, std::size_t length) {
    return WCtoUTF32(std::wstring_view(text, length));
}

/// From UTF-8, UTF-16 and UTF-32 to wide text. Lengths are in bytes.
ORLO_API wstringEx UTF8toWC(std::string_view text);
ORLO_API wstringEx UTF16toWC(std::string_view text);
ORLO_API wstringEx UTF32toWC(std::string_view text);
inline wstringEx UTF8toWC(const char* text, std::size_t length) {
    return UTF8toWC(std::string_view(text, length));
}
inline wstringEx UTF16toWC(const char* text, std::size_t length) {
    return UTF16toWC(std::string_view(text, length));
}
inline wstringEx UTF32toWC(const char* text, std::size_t length) {
    return UTF32toWC(std::string_view(text, length));
}

}  // namespace Orlo

#pragma once

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

// Bytes as text: the definition of a C array, and pairs of hexadecimal digits, which can be read back. All of
// them append to `out`. Nothing throws but `std::bad_alloc`.

namespace Orlo {

/// The definition of an array of bytes named `name`, twelve values a line:
///
///     const unsigned char name[] = {
///     	0X01, 0XFF
///     };
///
/// Without `is_const` the word const is left out. A comma and a blank stand between values, also where a line
/// ends, and not after the last.
///
/// ```cpp
/// const byteEx bytes(reinterpret_cast<const unsigned char*>("\1\xFF"), 2);
/// stringEx source, digits;
/// c_array_dump(source, bytes, "name"_lit, true);
/// hex_dump(digits, bytes);                      // "01FF"
/// byteEx back;
/// if (!hex_read(back, digits)) back.clear();    // not the digits of bytes
/// ```
ORLO_API void c_array_dump(stringEx& out, const byteEx& data, const stringEx& name, bool is_const = false);
ORLO_API void c_array_dump(wstringEx& out, const byteEx& data, const wstringEx& name, bool is_const = false);

/// Two digits a byte, with nothing between: "01FF", or "01ff" without `upper`.
ORLO_API void hex_dump(stringEx& out, const byteEx& data, bool upper = true);
ORLO_API void hex_dump(wstringEx& out, const byteEx& data, bool upper = true);
/// The same of a text's bytes.
ORLO_API void hex_dump(stringEx& out, const stringEx& data, bool upper = true);

/// Reads what `hex_dump` writes, in digits of either case. False if `text` holds anything else or half a
/// byte; `out` holds what it held before then.
[[nodiscard]] ORLO_API bool hex_read(byteEx& out, const stringEx& text);
[[nodiscard]] ORLO_API bool hex_read(byteEx& out, const wstringEx& text);

}  // namespace Orlo

#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "orlo/export.h"

namespace Orlo {

template <class T>
class basic_buffer;

/// The part of `stringEx` and `wstringEx` that turns numbers into text and text into numbers.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// stringEx text("n=");
/// text.append_number(std::int64_t{-255});       // "n=-255"
/// text.append_number(text.to_int64(2), 2);      // its magnitude in binary: "n=-25511111111"
/// std::size_t end = 0;
/// stringEx("0x1F and more").to_uint64(0, stringEx::npos, stringEx::radix_detect, &end); // 31, end 4
/// ```
template <class T>
class ORLO_API buffer_numbers {
public:
    /// Radix that lets the number parsers detect it from the text's prefix.
    static constexpr std::uint32_t radix_detect = 0xFFFFFFFFu;

    /// Appends the number's text in `radix`, with upper-case digits; a radix outside 2 to 36 appends "0". The
    /// sign of a negative number is written with radix 10 only: -255 in radix 16 reads "FF".
    basic_buffer<T>& append_number(std::int64_t value, std::uint32_t radix = 10);
    basic_buffer<T>& append_number(std::uint64_t value, std::uint32_t radix = 10);
    /// The same, replacing the content.
    basic_buffer<T>& assign_number(std::int64_t value, std::uint32_t radix = 10);
    basic_buffer<T>& assign_number(std::uint64_t value, std::uint32_t radix = 10);

    /// True for NUL, tab, line feed, vertical tab, carriage return and blank; not for form feed, and not by
    /// the locale.
    [[nodiscard]] static constexpr bool is_blank_char(T c) noexcept {
        const auto u = static_cast<std::make_unsigned_t<T>>(c);
        return u <= 32 && ((0x100002E01ull >> u) & 1) != 0;
    }

    /// The signed number at the start of at most `count` characters from `pos` on: blanks, a sign, digits in
    /// `radix` (2 to 36, or `radix_detect`: 0b, 0x, 0, b and x prefixes, else 10). What follows the digits is
    /// ignored; no digits, or another radix, give 0. A number beyond 64 bits saturates and sets `errno` to
    /// ERANGE, which is left alone otherwise. `end_pos`, if given, becomes the offset in this object after
    /// the last character consumed.
    std::int64_t to_int64(std::size_t pos = 0, std::size_t count = static_cast<std::size_t>(-1),
                          std::uint32_t radix = 10, std::size_t* end_pos = nullptr) const noexcept;

    /// The same as an unsigned number. A minus sign negates within 64 bits; the largest value is all ones.
    std::uint64_t to_uint64(std::size_t pos = 0, std::size_t count = static_cast<std::size_t>(-1),
                            std::uint32_t radix = 10, std::size_t* end_pos = nullptr) const noexcept;

private:
    basic_buffer<T>& self() noexcept { return static_cast<basic_buffer<T>&>(*this); }
    const basic_buffer<T>& self() const noexcept { return static_cast<const basic_buffer<T>&>(*this); }
};

}  // namespace Orlo

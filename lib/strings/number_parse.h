#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orlo::IMPL {

/// The value of a digit, or 36 for what is none in any radix.
template <class T>
constexpr std::uint32_t digit_value(T c) noexcept {
    if (c >= T('0') && c <= T('9')) return static_cast<std::uint32_t>(c - T('0'));
    if (c >= T('a') && c <= T('z')) return static_cast<std::uint32_t>(c - T('a')) + 10;
    if (c >= T('A') && c <= T('Z')) return static_cast<std::uint32_t>(c - T('A')) + 10;
    return 36;
}

/// What the scan of a number found, before it is fitted into 64 signed or unsigned bits.
struct scanned_number {
    std::uint64_t magnitude = 0;
    bool minus = false;
    bool overflow = false;
    std::size_t stop = 0;  ///< characters consumed
};

/// Scans blanks, a sign, a radix prefix where `radix` is all ones, and digits.
template <class T>
scanned_number scan_number(std::basic_string_view<T> text, std::uint32_t radix) noexcept;

/// The value as a signed or an unsigned number; saturates and sets `errno` to ERANGE beyond the range.
std::int64_t to_signed(const scanned_number& scanned) noexcept;
std::uint64_t to_unsigned(const scanned_number& scanned) noexcept;

}  // namespace Orlo::IMPL

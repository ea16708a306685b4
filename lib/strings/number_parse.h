#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orlo::IMPL {

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

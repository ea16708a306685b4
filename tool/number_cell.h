#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "orlo/rows/row.h"
#include "orlo/strings/buffer.h"

namespace tallycsv {

// The number in a cell, by the rules of `Orlo::parse_int64`, fast for what cells mostly hold.
//
// Up to eight characters are loaded as one word and moved up until the last is the highest byte; zeros are
// filled in below, as if the number had leading ones. One test tells whether all eight bytes are digits.
// Three multiplications then add neighbours up: digits to pairs, pairs to fours, fours to eight. "12345"
// becomes "00012345", then 00 01 23 45, then 0001 2345, then 12345. Up to sixteen digits take two such steps.
// Blanks, a plus sign, trailing text, and numbers that may saturate go the slow road.

namespace number_cell {

constexpr std::uint64_t ZEROS = 0x3030303030303030u;

/// The first `digits` (1 to 8) characters at `text` in the highest bytes, "0" below. Reads eight bytes.
inline std::uint64_t load_right(const char* text, std::size_t digits) {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    const std::size_t unused = 64 - 8 * digits;
    return word << unused | ZEROS >> (8 * digits - 8) >> 8;
}

inline bool all_digits(std::uint64_t word) {
    constexpr std::uint64_t high = 0xF0F0F0F0F0F0F0F0u;
    return ((word & high) | ((word + 0x0606060606060606u) & high) >> 4) == 0x3333333333333333u;
}

inline std::uint64_t value_of(std::uint64_t word) {
    word = (word & 0x0F0F0F0F0F0F0F0Fu) * 2561 >> 8;
    word = (word & 0x00FF00FF00FF00FFu) * 6553601 >> 16;
    return (word & 0x0000FFFF0000FFFFu) * 42949672960001 >> 32;
}

/// The slow road, kept out of the fast one's code.
[[gnu::noinline]] inline std::int64_t parse_any(std::string_view cell) {
    return Orlo::parse_int64(Orlo::stringEx::borrow(cell));
}

}  // namespace number_cell

/// The signed number at the start of `cell`. At least `Orlo::csv_row_view::readable_behind` bytes behind the
/// cell can be read.
inline std::int64_t NumberOfCell(std::string_view cell) {
    namespace fast = number_cell;
    if (cell.empty()) return 0;
    const char* text = cell.data();
    std::size_t digits = cell.size();
    const bool minus = *text == '-';
    text += minus;
    digits -= minus;

    std::uint64_t value = 0;
    if (digits - 1 < 8) {
        const std::uint64_t word = fast::load_right(text, digits);
        if (!fast::all_digits(word)) return fast::parse_any(cell);
        value = fast::value_of(word);
    } else if (digits - 9 < 8) {
        const std::uint64_t high = fast::load_right(text, digits - 8);
        const std::uint64_t low = fast::load_right(text + digits - 8, 8);
        if (!fast::all_digits(high) || !fast::all_digits(low)) {
            return fast::parse_any(cell);
        }
        value = fast::value_of(high) * 100000000 + fast::value_of(low);
    } else {
        return fast::parse_any(cell);
    }
    return static_cast<std::int64_t>(minus ? 0 - value : value);
}

}  // namespace tallycsv

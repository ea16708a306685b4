#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "vector/instructions.h"

namespace Orlo::IMPL {

/// Where each of `N` characters stands in 64 bytes of text: bit `i` of a character's word belongs to byte `i`.
template <std::size_t N>
using mark_words = std::array<std::uint64_t, N>;

/// Finds the characters `marks` in the `size` bytes at `text` and fills `size / 64` elements of `found`, rounded
/// up. Bits after the end are zero. Returns all words of the first mark, or-ed: if that is the rarest one, its
/// absence from the whole text shows at once.
///
/// It is made for three marks; other counts need a line each at the end of marks.cpp.
template <std::size_t N>
std::uint64_t find_marks(const char* text, std::size_t size, const std::array<char, N>& marks,
                         mark_words<N>* found, instructions with) noexcept;

/// Each bit exclusive-ored with all below it: applied to quotes, the bits from each opening quote up to its
/// closing one, that one excluded.
constexpr std::uint64_t parities(std::uint64_t bits) noexcept {
    for (unsigned distance = 1; distance < 64; distance *= 2)
        bits ^= bits << distance;
    return bits;
}

}  // namespace Orlo::IMPL

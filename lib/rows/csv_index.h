#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "vector/marks.h"

namespace Orlo::IMPL {

/// The three characters that mean something in a row.
struct csv_marks {
    char quote = '"';
    char delimiter = ',';
    char line_end = '\r';

    bool distinct() const noexcept {
        return quote != delimiter && quote != line_end && delimiter != line_end;
    }
};

/// Where the marks are in a stretch of text, 64 bytes to a word: bit `i` belongs to byte `i`.
class csv_index {
public:
    /// Bytes covered at most, and so the rows found at once. 1024 to 8192 run within 1.3 % of each other in
    /// instructions and alike in time; a small one keeps the cells of the shortest rows few.
    static constexpr std::size_t span = 2048;
    static constexpr std::size_t words = span / 64;

    /// Covers `size` (at most `span`) bytes at `text`. Bits after them are zero.
    void build(const char* text, std::size_t size, const csv_marks& marks, instructions with) noexcept {
        assert(size <= span);
        const std::array<char, 3> sought = {marks.quote, marks.delimiter, marks.line_end};
        has_quotes_ = find_marks(text, size, sought, words_.data(), with) != 0;
    }

    bool has_quotes() const noexcept { return has_quotes_; }
    std::uint64_t quotes(std::size_t word) const noexcept { return words_[word][0]; }
    std::uint64_t delimiters(std::size_t word) const noexcept { return words_[word][1]; }
    std::uint64_t line_ends(std::size_t word) const noexcept { return words_[word][2]; }

private:
    std::array<mark_words<3>, words> words_;
    bool has_quotes_ = false;
};

}  // namespace Orlo::IMPL

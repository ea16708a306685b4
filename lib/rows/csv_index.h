#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

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

/// Two bits for each byte of a stretch of text: whether it is a delimiter, and whether it is one of the two
/// marks that do more than part cells, the quote and the line end. Bytes are compared 32 or 16 at a
/// time, by the widest instructions that the machine has.
class csv_index {
public:
    /// Bytes covered at most, and so the rows found at once. 1024 to 8192 run within 1.3 % of each other in
    /// instructions and alike in time; a small one keeps the cells of the shortest rows few.
    static constexpr std::size_t span = 2048;
    static constexpr std::size_t words = span / 64;

    /// Covers `size` (at most `span`) bytes at `text`. Bits behind them are zero.
    void build(const char* text, std::size_t size, const csv_marks& marks) noexcept;

    /// Bit `i % 64` of word `i / 64` belongs to byte `i`.
    const std::uint64_t* delimiters() const noexcept { return delimiters_.data(); }
    const std::uint64_t* stops() const noexcept { return stops_.data(); }

private:
    std::array<std::uint64_t, words> delimiters_;
    std::array<std::uint64_t, words> stops_;
};

}  // namespace Orlo::IMPL

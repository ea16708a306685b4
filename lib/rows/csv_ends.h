#pragma once

#include <cstddef>
#include <cstdint>

#include "rows/csv_index.h"

namespace Orlo::IMPL {

/// What ends in 64 bytes of text: bit `i` belongs to byte `i`.
struct csv_ends {
    std::uint64_t cells;
    std::uint64_t rows;          ///< those that end rows as well
    std::uint64_t quoted_cells;  ///< those after closing quotes
    std::uint64_t doubles;       ///< the second of two quotes in a cell's text
};

/// What the text before a word says of the word's first bytes, as bits of these.
struct csv_carry {
    std::uint64_t in_quotes;    ///< all bits or none
    std::uint64_t after_quote;  ///< the byte after a quote that closes, or is doubled
    std::uint64_t cell_begins;  ///< the first byte of a cell
    std::uint64_t skipped;      ///< the byte that belongs to a line end whatever it is
};

/// Finds out which marks of the words from number `word` on, up to byte number `size`, end cells and rows.
/// `line_end_rest` is 0 or 1. Returns the first word that is out of the ordinary, or how many there are;
/// `carry` is then what holds for it.
std::size_t find_ends(const csv_index& index, std::size_t size, std::size_t word, std::size_t line_end_rest,
                      csv_carry& carry, csv_ends* ends);

}  // namespace Orlo::IMPL

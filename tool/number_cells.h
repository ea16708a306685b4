#pragma once

#include <span>

#include "merge_table.h"

namespace tallycsv {

/// Adds the numbers of each row's cells after the first `key_columns` to the sums of its group, which has at
/// least as many. `base` is what the cells' offsets count from. A cell's number is what `Orlo::parse_int64`
/// makes of it; sums wrap.
void add_numbers(std::span<const merge_key> rows, const char* base, std::size_t key_columns);

namespace number_cells {

/// The two ways to do that. The first needs a processor with AVX2.
void add_by_fours(std::span<const merge_key> rows, const char* base, std::size_t key_columns);
void add_one_by_one(std::span<const merge_key> rows, const char* base, std::size_t key_columns);

}  // namespace number_cells
}  // namespace tallycsv

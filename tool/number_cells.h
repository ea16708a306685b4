#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/rows/row.h"

namespace tallycsv {

/// Writes the numbers of the cells of `row` from number `first` on to `numbers`, which has room for them and
/// `Orlo::csv_row_view::spare_cells` more. A cell's number is what `Orlo::parse_int64` makes of it.
void NumbersOfCells(const Orlo::csv_row_view& row, std::size_t first, std::int64_t* numbers);

namespace number_cells {

/// The two ways to do that. The first needs a processor with AVX2.
void by_fours(const Orlo::csv_row_view& row, std::size_t first, std::int64_t* numbers);
void one_by_one(const Orlo::csv_row_view& row, std::size_t first, std::int64_t* numbers);

}  // namespace number_cells
}  // namespace tallycsv

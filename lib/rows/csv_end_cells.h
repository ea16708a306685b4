#pragma once

#include <cstddef>

#include "orlo/rows/row.h"
#include "rows/csv_ends.h"
#include "vector/instructions.h"

namespace Orlo::IMPL {

/// Cells that may be written behind the last one that ends.
constexpr std::size_t CELLS_TOO_MANY = 17;

/// Ends `out` and the cells behind it at all cell ends of the `count` words, the first of which is for the
/// byte at `at`. A cell begins behind the end of the one before. Up to `CELLS_TOO_MANY` more are written,
/// whose content, but for the beginning of the first, means nothing.
void end_cells(const csv_ends* words, std::size_t count, std::size_t at, csv_cell* out, instructions with);

}  // namespace Orlo::IMPL

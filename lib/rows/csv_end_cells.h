#pragma once

#include <cstddef>

#include "orlo/rows/row.h"
#include "rows/csv_ends.h"
#include "vector/instructions.h"

namespace Orlo::IMPL {

/// Cells that may be written after the last one that ends.
inline constexpr std::size_t CELLS_TOO_MANY = 17;

/// Ends `out` and the cells after it at all cell ends of the `count` words, the first of which is for the byte
/// at `at`. A cell begins after the character that ends the one before. Up to `CELLS_TOO_MANY` more are
/// written, which mean nothing but for the begin of the first.
void end_cells(const csv_ends* words, std::size_t count, std::size_t at, csv_cell* out, instructions with);

}  // namespace Orlo::IMPL

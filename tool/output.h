#pragma once

#include <cstdint>

#include "fold.h"
#include "orlo/rows/csv_writer.h"

namespace tallycsv {

/// Writes one row per group, in key order, each as wide as the widest row read: the key cells of the group's
/// first row, then the sums, "0" where the group has none. Returns the sum over all groups of `stat_column`,
/// which is 0 unless that is a summed column.
std::int64_t write_groups(CFold& fold, Orlo::CCsvWriter& writer, std::uint64_t stat_column);

}  // namespace tallycsv

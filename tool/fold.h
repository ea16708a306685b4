#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "merge_table.h"
#include "orlo/rows/row.h"

namespace tallycsv {

/// One group as it is written: the key cells of its first row, and a sum for each further column that one of
/// its rows reached.
struct group_view {
    std::span<const std::string_view> key_cells;
    std::span<const std::int64_t> sums;
};

/// Folds rows whose first cells agree into one table of running sums. See fold.cpp.
class CFold {
public:
    explicit CFold(std::uint32_t key_columns);

    /// Adds each row to its group. A row of fewer cells than the key is dropped without a trace.
    void AddRows(const Orlo::csv_rows_view& rows);

    std::uint32_t key_columns() const { return key_columns_; }
    /// Cells of the widest row that was not dropped.
    std::uint32_t max_columns() const { return max_columns_; }

    /// Visits the groups in the order of their keys.
    void ForEachGroup(const std::function<void(const group_view&)>& visit) const;

private:
    std::span<merge_key> _MakeKeys(const Orlo::csv_rows_view& rows, std::size_t begin, std::size_t end);

    std::uint32_t key_columns_;
    std::uint32_t max_columns_ = 0;
    CMergeTable table_;

    // rows that are looked up together
    std::vector<merge_key> keys_;
    std::vector<char> key_bytes_;
};

}  // namespace tallycsv

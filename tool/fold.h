#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "orlo/rows/row.h"

namespace tallycsv {

/// One group as it is written: the key cells of its first row, and a running sum for each further column that
/// one of its rows reached.
struct group_view {
    std::span<const std::string_view> key_cells;
    std::span<const std::int64_t> sums;
};

/// Folds rows whose first cells agree.
class CFold {
public:
    explicit CFold(std::uint32_t key_columns) : key_columns_(key_columns) {}

    /// Adds the row to its group. A row of fewer cells than the key is dropped without a trace.
    void AddRow(const Orlo::csv_row_view& row);

    std::uint32_t key_columns() const { return key_columns_; }
    /// Cells of the widest row that was not dropped.
    std::uint32_t max_columns() const { return max_columns_; }

    /// Visits the groups in the order of their keys.
    void ForEachGroup(const std::function<void(const group_view&)>& visit);

private:
    struct group {
        std::vector<std::string> key_cells;
        std::vector<std::int64_t> sums;
    };
    std::uint32_t key_columns_;
    std::uint32_t max_columns_ = 0;
    std::map<std::string, group> groups_;
};

}  // namespace tallycsv

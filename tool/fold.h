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
    /// `key_columns` is at least 1.
    explicit CFold(std::uint32_t key_columns);

    /// Adds each row to its group. A row of fewer cells than the key is dropped without a trace.
    void AddRows(const Orlo::csv_rows_view& rows);

    std::uint32_t GetKeyColumns() const { return m_key_columns; }
    /// Cells of the widest row that was not dropped.
    std::uint32_t GetMaxColumns() const { return m_max_columns; }

    /// Visits the groups in the order of their keys.
    void ForEachGroup(const std::function<void(const group_view&)>& visit) const;

private:
    std::span<merge_key> _MakeKeys(const Orlo::csv_rows_view& rows, std::size_t begin, std::size_t end);

    std::uint32_t m_key_columns;
    std::uint32_t m_max_columns = 0;
    CMergeTable m_table;

    // rows that are looked up together
    std::vector<merge_key> m_keys;
    std::vector<char> m_key_bytes;
};

}  // namespace tallycsv

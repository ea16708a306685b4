// Folding rows while they are read.
//
// What comes out is defined over all rows of a group at once: the key cells of its first row, and for each
// further column the sum of its cells over the rows that have it, wrapping at 64 bits, in rows padded with
// "0" to the widest row of the run. Nothing of that needs the rows themselves:
//
//   - the first row's key cells are kept when the group is made, and rows come in order;
//   - wrapping addition is addition modulo 2^64, so the sum does not depend on when or in which order its
//   terms
//     are added; a cell's value (saturated by itself) depends on nothing but the cell;
//   - a column that no row of the group reaches adds nothing to "0", and the width of the widest row matters
//   only
//     when rows are written, after all were read.
//
// So a row is added up when it is read and let go. A run's memory is one record a group.
//
// Rows are taken some dozens at a time: all their keys are made, then all are looked up (see
// `CMergeTable::Find`), then all numbers are added, in the order in which the rows came.

#include "fold.h"

#include <algorithm>
#include <cstring>

#include "number_cells.h"

namespace tallycsv {
namespace {

constexpr std::size_t MOST_TOGETHER = 64;

/// Characters that are copied at once, needed or not, where a cell is not longer.
constexpr std::size_t SHORT_CELL = Orlo::csv_rows_view::readable_behind;
static_assert(SHORT_CELL >= merge_key::readable_behind);

/// Appends `cell` and a blank at `to`, where there is room for `SHORT_CELL` bytes more. Returns the end.
[[gnu::always_inline]] inline char* append_cell(char* to, std::string_view cell) {
    cell.size() <= SHORT_CELL ? std::memcpy(to, cell.data(), SHORT_CELL)
                              : std::memcpy(to, cell.data(), cell.size());
    to += cell.size();
    *to = ' ';
    return to + 1;
}

}  // namespace

CFold::CFold(std::uint32_t key_columns)
    : key_columns_(key_columns), table_(key_columns), keys_(MOST_TOGETHER) {}

void CFold::AddRows(const Orlo::csv_rows_view& rows) {
    // each cell of a key has a delimiter or line end of its own behind it, but for the last of the input
    key_bytes_.resize(std::max(key_bytes_.size(), rows.bytes() + 1 + SHORT_CELL));
    for (std::size_t begin = 0; begin < rows.size(); begin += MOST_TOGETHER) {
        const std::span<merge_key> keys =
            _MakeKeys(rows, begin, std::min(begin + MOST_TOGETHER, rows.size()));
        table_.Find(keys);
        for (merge_key& key : keys) {
            if (key.group == nullptr) key.group = table_.FindOrInsert(key);
            if (key.group->columns < key.columns) table_.Widen(key.group, key.columns);
        }
        AddNumbers(keys, rows.base(), key_columns_);
    }
}

/// The keys of the rows from number `begin` to `end` that have one, made of the cells with a blank behind
/// each.
std::span<merge_key> CFold::_MakeKeys(const Orlo::csv_rows_view& rows, std::size_t begin, std::size_t end) {
    const std::size_t key_columns = key_columns_;
    std::size_t most_cells = max_columns_;
    char* to = key_bytes_.data();
    merge_key* key = keys_.data();
    for (std::size_t i = begin; i < end; ++i) {
        const Orlo::csv_row_view row = rows[i];
        if (row.size() < key_columns) continue;
        most_cells = std::max(most_cells, row.size());
        const char* const bytes = to;
        for (std::size_t cell = 0; cell < key_columns; ++cell)
            to = append_cell(to, row[cell]);
        *key++ = {bytes, static_cast<std::uint32_t>(to - bytes),
                  static_cast<std::uint32_t>(row.size() - key_columns), row.cells().data(), nullptr};
    }
    max_columns_ = static_cast<std::uint32_t>(most_cells);
    return {keys_.data(), key};
}

void CFold::ForEachGroup(const std::function<void(const group_view&)>& visit) const {
    std::vector<std::string_view> cells(std::min(key_columns_, max_columns_));
    table_.ForEach([&](const merge_group& group) {
        const char* at = group.key_bytes(key_columns_);
        const char* const end = at + group.key_size;
        for (std::size_t i = 0; i + 1 < key_columns_; ++i) {
            cells[i] = {at, group.cell_sizes()[i]};
            at += group.cell_sizes()[i] + 1;
        }
        cells.back() = {at, static_cast<std::size_t>(end - at - 1)};
        visit({cells, {group.sums, group.columns}});
    });
}

}  // namespace tallycsv

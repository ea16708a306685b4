// Folding rows while they are read.
//
// What comes out is defined over all rows of a group at once: the key cells of its first row, and for each
// further column the sum of its cells over the rows that have it, wrapping at 64 bits, in rows padded with
// "0" to the widest row of the run. None of that needs the rows themselves:
//
//   - the first row's key cells are kept when the group is made, and rows come in order;
//   - wrapping addition is addition modulo 2^64, so the sum does not depend on when or in which order its
//     terms are added, and a cell's value (saturated by itself) depends on nothing but the cell;
//   - a column that no row of the group reaches adds nothing to "0", and the width of the widest row matters
//     only when rows are written, after all were read.
//
// So a row is added up when it is read and let go. A run's memory is one record for each group.
//
// Rows are taken some dozens at a time: first all their keys are made, then all are looked up (see
// `CMergeTable::Find`), then all numbers are added, in the order in which the rows came.

#include "fold.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "number_cells.h"

namespace tallycsv {
namespace {

constexpr std::size_t MOST_TOGETHER = 64;

/// Bytes that are copied at once, however short a cell is: that many may be read from its begin. So after the
/// last key there are as many bytes that may be read, and mean nothing, as after a cell.
constexpr std::size_t SHORT_CELL = Orlo::csv_rows_view::readable_after;

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
    : m_key_columns(key_columns), m_table(key_columns), m_keys(MOST_TOGETHER) {
    assert(key_columns >= 1);
}

void CFold::AddRows(const Orlo::csv_rows_view& rows) {
    // each cell of a key is followed by a delimiter or line end of its own, but for the last of the input
    m_key_bytes.resize(std::max(m_key_bytes.size(), rows.bytes() + 1 + SHORT_CELL));
    for (std::size_t begin = 0; begin < rows.size(); begin += MOST_TOGETHER) {
        const std::span<merge_key> keys =
            _MakeKeys(rows, begin, std::min(begin + MOST_TOGETHER, rows.size()));
        m_table.Find(keys);
        for (merge_key& key : keys) {
            if (key.group == nullptr) key.group = m_table.FindOrInsert(key);
            if (key.group->sum_count < key.sum_cells) m_table.Widen(key.group, key.sum_cells);
        }
        add_numbers(keys, rows.base(), m_key_columns);
    }
}

/// The keys of the rows from number `begin` to `end` that have one, made of the cells with a blank after each.
std::span<merge_key> CFold::_MakeKeys(const Orlo::csv_rows_view& rows, std::size_t begin, std::size_t end) {
    const std::size_t key_columns = m_key_columns;
    std::size_t most_cells = m_max_columns;
    char* to = m_key_bytes.data();
    merge_key* key = m_keys.data();
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
    m_max_columns = static_cast<std::uint32_t>(most_cells);
    return {m_keys.data(), key};
}

void CFold::ForEachGroup(const std::function<void(const group_view&)>& visit) const {
    std::vector<std::string_view> cells(std::min(m_key_columns, m_max_columns));
    m_table.ForEach([&](const merge_group& group) {
        const char* cell = group.key_bytes(m_key_columns);
        const char* const end = cell + group.key_size;
        for (std::size_t i = 0; i + 1 < m_key_columns; ++i) {
            cells[i] = {cell, group.cell_sizes()[i]};
            cell += group.cell_sizes()[i] + 1;
        }
        cells.back() = {cell, static_cast<std::size_t>(end - cell - 1)};
        visit({cells, {group.sums, group.sum_count}});
    });
}

}  // namespace tallycsv

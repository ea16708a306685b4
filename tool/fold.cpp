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
// Rows wait until some dozens are together and are looked up at once (see `CMergeTable::Find`). They leave in
// the order in which they came.

#include "fold.h"

#include <cstring>

#include "number_cells.h"

namespace tallycsv {
namespace {

constexpr std::size_t MOST_WAITING_ROWS = 64;
constexpr std::size_t MOST_WAITING_NUMBERS = 4096;
constexpr std::size_t MOST_WAITING_KEY_BYTES = 16384;

/// Characters that are copied at once, needed or not, where a cell is not longer.
constexpr std::size_t SHORT_CELL = Orlo::csv_row_view::readable_behind;

}  // namespace

void CFold::AddRow(const Orlo::csv_row_view& row) {
    const std::size_t cells = row.size();
    if (cells < key_columns_) return;
    max_columns_ = std::max(max_columns_, static_cast<std::uint32_t>(cells));

    const std::size_t key_begin = key_end_;
    for (std::size_t i = 0; i < key_columns_; ++i)
        _AppendKeyCell(row[i]);

    const std::size_t columns = cells - key_columns_;
    const std::size_t room = numbers_end_ + columns + Orlo::csv_row_view::spare_cells;
    if (numbers_.size() < room) numbers_.resize(2 * room);
    NumbersOfCells(row, key_columns_, numbers_.data() + numbers_end_);
    numbers_end_ += columns;

    waiting_.push_back(
        {key_begin, static_cast<std::uint32_t>(key_end_ - key_begin), static_cast<std::uint32_t>(columns)});
    if (waiting_.size() == MOST_WAITING_ROWS || numbers_end_ > MOST_WAITING_NUMBERS ||
        key_end_ > MOST_WAITING_KEY_BYTES) {
        _AddWaiting();
    }
}

/// The key is made of the cells with a blank behind each.
void CFold::_AppendKeyCell(std::string_view cell) {
    const std::size_t needed = key_end_ + cell.size() + 1 + SHORT_CELL;
    if (key_bytes_.size() < needed) key_bytes_.resize(2 * needed);
    char* const to = key_bytes_.data() + key_end_;
    if (cell.size() <= SHORT_CELL) {
        std::memcpy(to, cell.data(), SHORT_CELL);
    } else {
        std::memcpy(to, cell.data(), cell.size());
    }
    to[cell.size()] = ' ';
    key_end_ += cell.size() + 1;
    cell_sizes_.push_back(static_cast<std::uint32_t>(cell.size()));
}

void CFold::_AddWaiting() {
    keys_.clear();
    for (std::size_t i = 0; i < waiting_.size(); ++i) {
        keys_.push_back({key_bytes_.data() + waiting_[i].key_begin, waiting_[i].key_size,
                         cell_sizes_.data() + i * key_columns_});
    }
    found_.resize(keys_.size());
    table_.Find(keys_, found_.data());

    const std::int64_t* numbers = numbers_.data();
    for (std::size_t i = 0; i < waiting_.size(); ++i) {
        const std::uint32_t columns = waiting_[i].columns;
        merge_group* const group = found_[i] != nullptr ? found_[i] : table_.FindOrInsert(keys_[i], columns);
        if (group->columns < columns) table_.Widen(group, columns);
        for (std::uint32_t j = 0; j < columns; ++j) {
            group->sums[j] = static_cast<std::int64_t>(static_cast<std::uint64_t>(group->sums[j]) +
                                                       static_cast<std::uint64_t>(numbers[j]));
        }
        numbers += columns;
    }
    waiting_.clear();
    cell_sizes_.clear();
    numbers_end_ = 0;
    key_end_ = 0;
}

void CFold::ForEachGroup(const std::function<void(const group_view&)>& visit) {
    _AddWaiting();
    std::vector<std::string_view> cells(key_columns_);
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

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

#include <emmintrin.h>

#include <cstring>

#include "number_cells.h"

namespace tallycsv {
namespace {

constexpr std::size_t MOST_WAITING = 64;
constexpr std::size_t USUAL_KEY_BYTES = 8192;
constexpr std::size_t USUAL_NUMBERS = 4096;

/// Characters that are copied at once, needed or not, where a cell is not longer.
constexpr std::size_t SHORT_CELL = Orlo::csv_row_view::readable_behind;
static_assert(SHORT_CELL >= merge_key::readable_behind);

/// To each of `sums` its number. Pairs, which the compiler does not form by itself at this level.
void add_up(std::int64_t* sums, const std::int64_t* numbers, std::size_t count) {
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const auto at = reinterpret_cast<__m128i*>(sums + i);
        const __m128i two = _mm_loadu_si128(reinterpret_cast<const __m128i*>(numbers + i));
        _mm_storeu_si128(at, _mm_add_epi64(_mm_loadu_si128(at), two));
    }
    if (i < count) {
        sums[i] = static_cast<std::int64_t>(static_cast<std::uint64_t>(sums[i]) +
                                            static_cast<std::uint64_t>(numbers[i]));
    }
}

}  // namespace

CFold::CFold(std::uint32_t key_columns)
    : key_columns_(key_columns), table_(key_columns), keys_(MOST_WAITING) {}

void CFold::AddRow(const Orlo::csv_row_view& row) {
    if (row.size() < key_columns_) return;
    max_columns_ = std::max(max_columns_, static_cast<std::uint32_t>(row.size()));

    // the key is made of the cells with a blank behind each
    const Orlo::csv_cell* const cells = row.cells();
    std::size_t key_size = key_columns_;
    for (std::size_t i = 0; i < key_columns_; ++i)
        key_size += cells[i].length;
    const std::size_t columns = row.size() - key_columns_;
    if (key_end_ + key_size + SHORT_CELL > key_bytes_.size() ||
        numbers_end_ + columns + Orlo::csv_row_view::spare_cells > numbers_.size()) {
        _MakeRoom(key_size, columns);
    }

    char* to = key_bytes_.data() + key_end_;
    std::uint32_t* const sizes = cell_sizes_.data() + waiting_ * key_columns_;
    keys_[waiting_] = {to, static_cast<std::uint32_t>(key_size), static_cast<std::uint32_t>(columns), sizes,
                       nullptr};
    for (std::size_t i = 0; i < key_columns_; ++i) {
        const std::size_t length = cells[i].length;
        const char* const from = row.base() + cells[i].begin;
        length <= SHORT_CELL ? std::memcpy(to, from, SHORT_CELL) : std::memcpy(to, from, length);
        to[length] = ' ';
        to += length + 1;
        sizes[i] = static_cast<std::uint32_t>(length);
    }
    key_end_ += key_size;
    NumbersOfCells(row, key_columns_, numbers_.data() + numbers_end_);
    numbers_end_ += columns;
    if (++waiting_ == MOST_WAITING) _AddWaiting();
}

/// Room for one row more. What waits is pointed to, so it is added up before its storage may move.
void CFold::_MakeRoom(std::size_t key_size, std::size_t columns) {
    _AddWaiting();
    key_bytes_.resize(std::max({key_bytes_.size(), USUAL_KEY_BYTES, key_size + SHORT_CELL}));
    numbers_.resize(std::max({numbers_.size(), USUAL_NUMBERS, columns + Orlo::csv_row_view::spare_cells}));
    cell_sizes_.resize(MOST_WAITING * key_columns_);
}

void CFold::_AddWaiting() {
    const std::span<merge_key> keys(keys_.data(), waiting_);
    table_.Find(keys);
    const std::int64_t* numbers = numbers_.data();
    for (const merge_key& key : keys) {
        merge_group* const group = key.group != nullptr ? key.group : table_.FindOrInsert(key);
        if (group->columns < key.columns) table_.Widen(group, key.columns);
        add_up(group->sums, numbers, key.columns);
        numbers += key.columns;
    }
    waiting_ = 0;
    key_end_ = 0;
    numbers_end_ = 0;
}

void CFold::ForEachGroup(const std::function<void(const group_view&)>& visit) {
    _AddWaiting();
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

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "orlo/rows/row.h"
#include "rows/csv_index.h"
#include "rows/csv_machine.h"

namespace Orlo::IMPL {

/// Finds the cells of one row in bytes that lie in memory. It neither reads nor copies: it keeps offsets from
/// the row's first byte, so a row may be moved, and more bytes put behind it, between two calls.
///
/// Two scanners do the same work. The plain one takes a character at a time through `csv_step`. The fast one
/// jumps from mark to mark by a `csv_index`; it serves whenever the three marks differ.
class csv_scanner {
public:
    enum class stop {
        used_up,  ///< all bytes were taken; `state` tells where in the row that was
        row,      ///< the row has ended, `position` is behind the first character of its line end
        fail,     ///< a character behind a closing quote; `position` is behind it
    };

    void set_marks(const csv_marks& marks);
    /// Takes the plain scanner whatever the marks are.
    void use_plain() noexcept { fast_ = false; }

    /// Starts on a new row.
    void start_row() noexcept {
        state_ = csv_state::field_start;
        position_ = 0;
        cell_begin_ = 0;
        doubled_ = false;
        count_ = 0;
        doubled_cells_.clear();
    }

    /// Goes on with the row that begins at `row`, up to offset `limit`.
    stop scan(const char* row, std::size_t limit) {
        return fast_ ? scan_fast(row, limit) : scan_plain(row, limit);
    }

    /// To be called when bytes that were scanned are no longer where they were.
    void forget_bytes() noexcept { indexed_begin_ = indexed_end_ = nullptr; }

    csv_state state() const noexcept { return state_; }
    std::size_t position() const noexcept { return position_; }
    /// The cells that have ended. Room for `csv_row_view::spare_cells` more lies behind them.
    std::span<csv_cell> cells() noexcept { return {cells_.data(), count_}; }
    /// Indices of those whose text still holds each quote character twice, as it was read.
    std::span<const std::size_t> doubled_cells() const noexcept { return doubled_cells_; }

    /// The cell that is being read, as if it ended at `position`, or at the closing quote if one was seen.
    csv_cell open_cell() const noexcept {
        return {cell_begin_, (state_ == csv_state::quote_seen ? quote_at_ : position_) - cell_begin_};
    }
    /// True if that cell holds doubled quotes.
    bool open_cell_doubled() const noexcept { return doubled_; }
    /// Ends the cell that is being read.
    void push_open_cell() {
        if (doubled_) doubled_cells_.push_back(count_);
        push(open_cell());
    }
    void push_empty_cell() { push({position_, 0}); }

private:
    stop scan_plain(const char* row, std::size_t limit);
    stop scan_fast(const char* row, std::size_t limit);
    stop scan_unquoted(const char* row, std::size_t limit);
    bool find_closing_quote(const char* row, std::size_t limit);
    void index_from(const char* at, const char* end);

    void push(csv_cell cell) {
        make_room(1);
        cells_[count_++] = cell;
    }
    void make_room(std::size_t more) {
        const std::size_t needed = count_ + more + csv_row_view::spare_cells;
        if (cells_.size() < needed) cells_.resize(2 * needed);
    }

    csv_marks marks_;
    std::array<std::uint8_t, 256> classes_{};
    bool fast_ = true;

    csv_state state_ = csv_state::field_start;
    bool doubled_ = false;  ///< the cell being read holds a doubled quote
    std::size_t position_ = 0;
    std::size_t cell_begin_ = 0;   ///< first character of the text, behind an opening quote
    std::size_t quote_at_ = 0;     ///< the last quote inside a quoted cell
    std::vector<csv_cell> cells_;  ///< `count_` of them count
    std::size_t count_ = 0;
    std::vector<std::size_t> doubled_cells_;

    csv_index index_;
    const char* indexed_begin_ = nullptr;
    const char* indexed_end_ = nullptr;
};

}  // namespace Orlo::IMPL

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

/// Finds rows and their cells in bytes that lie in memory. It neither reads nor copies: it keeps offsets into
/// the text, goes on where it stopped when more bytes stand behind it, and is told when the bytes move.
///
/// One call finds the rows of some stretch of text; they wait here and are taken one by one. Behind them may
/// be an open row, of which some cells were found. The table of rows:
///
///     text:   a,b\r\nc,d,e\r\nf,g...        rows_[0] = {cell 0, byte 0}
///     cells:  a b - - - c d e - - - f       rows_[1] = {cell 5, byte 5}
///                                           rows_[2] = {cell 11, byte 12}, the open row: found_ is 2
///
/// where "-" is one of the `csv_row_view::spare_cells` empty cells behind each row.
///
/// Two scanners do the same work. The plain one takes a character at a time through `csv_step`. The fast one
/// jumps from mark to mark by a `csv_index`; it serves whenever the three marks differ.
class csv_scanner {
public:
    enum class stop {
        rows,     ///< there are rows to take
        used_up,  ///< all bytes were taken, and the row is open
        fail,     ///< the open row has a character behind a closing quote; `position` is behind it
    };

    /// What rows are made of; `line_end_rest` characters behind each line end's first are skipped unseen.
    void set_marks(const csv_marks& marks, std::size_t line_end_rest);
    /// Takes the plain scanner whatever the marks are.
    void use_plain() noexcept { fast_ = false; }

    /// Forgets what was found behind the rows that were taken.
    void scan_again() noexcept;

    /// Finds rows of `text` up to offset `limit`, or more of the open one. All found before were taken.
    /// What happens in the open row comes to light when there are no rows to take in front of it.
    stop scan(const char* text, std::size_t limit);

    /// Goes to the next row found; false if there is none.
    bool take_row() noexcept {
        if (taken_ == found_) return false;
        ++taken_;
        return true;
    }
    /// Goes to the open row as it is. There are no rows in front of it.
    void take_open_row();

    /// The row that was taken last: its first byte, and where the next one begins. The latter may lie behind
    /// the text, if the line end does.
    std::size_t row_begin() const noexcept { return rows_[taken_ - 1].byte; }
    std::size_t row_end() const noexcept { return rows_[taken_].byte; }
    /// Its cells, and the number of the first.
    std::span<csv_cell> cells() noexcept {
        const std::size_t begin = first_cell();
        return {cells_.data() + begin, rows_[taken_].cell - csv_row_view::spare_cells - begin};
    }
    std::size_t first_cell() const noexcept { return rows_[taken_ - 1].cell; }
    /// Numbers of those whose text still holds each quote character twice, as it was read.
    std::span<const std::size_t> doubled_cells() noexcept;
    /// False if there is none in any row found.
    bool any_doubled() const noexcept { return !doubled_cells_.empty(); }

    std::size_t open_row_begin() const noexcept { return rows_[found_].byte; }
    /// The open row begins at `at`; nothing of it was scanned.
    void open_row_at(std::size_t at) noexcept;
    /// The text's first `size` bytes are gone, and the rest has moved to its front. The row taken last and
    /// the open one live on as far as they lie in that rest.
    void forget_front(std::size_t size) noexcept;

    csv_state state() const noexcept { return state_; }
    std::size_t position() const noexcept { return position_; }

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
    /// Where a row begins.
    struct row_start {
        std::size_t cell;
        std::size_t byte;
    };

    stop scan_plain(const char* text, std::size_t limit);
    stop scan_fast(const char* text, std::size_t limit);
    void scan_unquoted_any(const char* text);
    void scan_unquoted(const char* text);
    void scan_unquoted_bmi(const char* text);  ///< with instructions that find and clear the lowest bit
    /// Where a quoted cell's closing quote is, and the class of what stands behind it: `csv_text` if it was
    /// not found, or if that is no mark.
    struct quoted_end {
        std::size_t at;
        csv_class behind;
        bool doubled;
    };
    quoted_end end_of_quoted(const char* text, std::size_t from) const;
    void find_closing_quote(const char* text);
    void index_from_position(const char* text, std::size_t limit);
    void keep_open_row_only();
    void end_row(std::size_t next_begin);

    void push(csv_cell cell) {
        make_room(1);
        cells_[count_++] = cell;
    }
    void make_room(std::size_t more) {
        const std::size_t needed = count_ + more + csv_row_view::spare_cells;
        if (cells_.size() < needed) cells_.resize(needed + needed / 2);
    }

    csv_marks marks_;
    std::size_t line_end_rest_ = 0;
    std::array<std::uint8_t, 256> classes_{};
    bool fast_ = true;

    csv_state state_ = csv_state::field_start;
    bool doubled_ = false;  ///< the cell being read holds a doubled quote
    bool failed_ = false;
    std::size_t position_ = 0;
    std::size_t cell_begin_ = 0;  ///< first character of the text, behind an opening quote
    std::size_t quote_at_ = 0;    ///< the last quote inside a quoted cell

    std::vector<csv_cell> cells_;  ///< `count_` of them count
    std::size_t count_ = 0;
    std::vector<std::size_t> doubled_cells_;
    std::size_t doubled_taken_ = 0;  ///< so many of them belong to rows in front of the one taken last
    std::array<row_start, csv_index::span + 2> rows_{};  ///< a row takes a byte at least
    std::size_t found_ = 0;
    std::size_t taken_ = 0;

    csv_index index_;
    std::size_t indexed_begin_ = 0;
    std::size_t indexed_end_ = 0;
};

}  // namespace Orlo::IMPL

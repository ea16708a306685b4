#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "orlo/rows/row.h"
#include "rows/csv_end_cells.h"
#include "rows/csv_ends.h"
#include "rows/csv_index.h"
#include "rows/csv_machine.h"

namespace Orlo::IMPL {

/// Finds rows and their cells in bytes that lie in memory. It neither reads nor copies: it keeps offsets into
/// the text, goes on where it stopped when more bytes follow, and is told when the bytes move.
///
/// One call finds the rows of some stretch of text; they wait here until they are taken. An open row may
/// follow, of which some cells were found. The table of rows:
///
///     text:   a,b\r\nc,d,e\r\nf,g...        rows_[0] = {cell 0, byte 0}
///     cells:  a b c d e f                   rows_[1] = {cell 2, byte 5}
///                                           rows_[2] = {cell 5, byte 12}, the open row: found_ is 2
///
/// Two scanners do the same work. The plain one takes a character at a time through `csv_step`. The fast one
/// takes 64 at a time from a `csv_index` and leaves those that are out of the ordinary to the plain one.
class csv_scanner {
public:
    enum class stop {
        rows,     ///< there are rows to take
        used_up,  ///< all bytes were taken, and the row is open
        fail,     ///< the open row has a wrong character after a closing quote; `position` is past it
    };

    /// A cell whose text still holds each quote character twice, as it was read.
    struct doubled_cell {
        std::size_t cell;
        std::size_t byte;  ///< the first quote that is one too many
        bool more;         ///< others follow
    };

    /// What rows are made of; `line_end_rest` characters after each line end's first are skipped unseen.
    void set_marks(const csv_marks& marks, std::size_t line_end_rest);
    /// Uses the plain scanner whatever the marks are, or the fast one with less than the machine has.
    void use_plain() noexcept { fast_ = false; }
    void use(instructions with) noexcept { with_ = with; }

    /// Forgets what was found after the rows that were taken: it is scanned anew.
    void forget_untaken_rows() noexcept;

    /// Finds rows of `text` up to offset `limit`, or more of the open one. All found before were taken.
    /// The end of the bytes, or a failure, is told when there are no rows to take before the open one.
    [[nodiscard]] stop scan(const char* text, std::size_t limit);

    [[nodiscard]] bool has_rows() const noexcept { return taken_ != found_; }
    /// Takes the next row.
    void take_row() noexcept {
        assert(has_rows());
        first_taken_ = taken_++;
    }
    /// Takes all rows that end with their line ends up to offset `limit`, or one if none does.
    void take_rows(std::size_t limit) noexcept {
        assert(has_rows());
        first_taken_ = taken_;
        taken_ = found_;
        if (rows_[taken_].byte > limit && taken_ - first_taken_ > 1) --taken_;
    }
    /// Takes the open row as it is. There are no rows to take before it.
    void take_open_row();
    /// Ends the open row where the scanner stands.
    void end_open_row();

    /// The rows that were taken last: where each begins, and where the next one will. That may lie past the
    /// text, if the line end does.
    std::span<const csv_row_start> rows() const noexcept {
        return {&rows_[first_taken_], taken_ - first_taken_ + 1};
    }
    std::size_t first_byte() const noexcept { return rows_[first_taken_].byte; }
    std::size_t end_byte() const noexcept { return rows_[taken_].byte; }
    /// The cells of all rows found, by number, and those of the rows that were taken last.
    csv_cell* all_cells() noexcept { return cells_.data(); }
    std::span<csv_cell> cells() noexcept {
        return {cells_.data() + rows_[first_taken_].cell, cells_.data() + rows_[taken_].cell};
    }
    /// Those among the latter whose quotes are doubled.
    std::span<const doubled_cell> doubled_cells() noexcept;
    /// False if there is none in any row found.
    bool any_doubled() const noexcept { return !doubled_cells_.empty(); }

    std::size_t open_row_begin() const noexcept { return rows_[found_].byte; }
    /// The open row begins at `at`; nothing of it was scanned.
    void open_row_at(std::size_t at) noexcept;
    /// The text from offset `from` on has moved to offset `to`, and what was before it is gone. The rows
    /// taken last and the open one live on as far as they lie in that rest.
    void text_moved(std::size_t from, std::size_t to) noexcept;

    csv_state state() const noexcept { return state_; }
    std::size_t position() const noexcept { return position_; }

    /// The cell that is being read, as if it ended at `position`, or at the closing quote if one was seen.
    csv_cell open_cell() const noexcept {
        return {cell_begin_, state_ == csv_state::quote_seen ? quote_at_ : position_};
    }
    /// True if that cell holds doubled quotes.
    bool open_cell_doubled() const noexcept {
        return !doubled_cells_.empty() && doubled_cells_.back().byte >= cell_begin_;
    }
    /// Ends the cell that is being read.
    void push_open_cell() { push(open_cell()); }
    void push_empty_cell() { push({position_, position_}); }

private:
    stop scan_plain(const char* text, std::size_t limit);
    stop scan_fast(const char* text, std::size_t limit);
    std::size_t scan_words(std::size_t begin, std::size_t size, std::size_t word);
    void end_rows_any(std::size_t at, const csv_ends* words, std::size_t count);
    void end_rows(std::size_t at, const csv_ends* words, std::size_t count);
    void end_rows_popcnt(std::size_t at, const csv_ends* words, std::size_t count);
    std::size_t open_cell_begin() const noexcept;
    void stop_at(std::size_t at, std::size_t cell_begin, bool in_quotes, bool after_quote) noexcept;

    void keep_open_row_only();
    void end_row(std::size_t next_begin) { rows_[++found_] = {count_, next_begin}; }
    void note_doubled(std::size_t cell, std::size_t byte);
    void push(csv_cell cell) {
        make_room(1);
        cells_[count_++] = cell;
    }
    void make_room(std::size_t more) {
        const std::size_t needed = count_ + more + csv_rows_view::spare_cells;
        if (cells_.size() < needed) cells_.resize(needed + needed / 2);
    }

    csv_marks marks_;
    std::size_t line_end_rest_ = 0;
    std::array<std::uint8_t, 256> classes_{};
    bool fast_ = true;
    instructions with_ = best_instructions();

    csv_state state_ = csv_state::field_start;
    bool failed_ = false;
    std::size_t position_ = 0;
    std::size_t cell_begin_ = 0;  ///< first character of the text, after an opening quote
    std::size_t quote_at_ = 0;    ///< the last quote inside a quoted cell

    std::vector<csv_cell> cells_;  ///< `count_` of them count
    std::size_t count_ = 0;
    std::vector<doubled_cell> doubled_cells_;
    std::size_t doubled_taken_ = 0;  ///< so many of them belong to rows before those taken last
    std::array<csv_row_start, csv_index::span + 2> rows_{};  ///< a row takes a byte at least
    std::size_t found_ = 0;
    std::size_t first_taken_ = 0;  ///< those taken last begin here
    std::size_t taken_ = 0;        ///< and end here

    csv_index index_;
    std::array<csv_ends, csv_index::words> ends_;
};

}  // namespace Orlo::IMPL

// The two scanners of rows.
//
// The plain one is the grammar itself: one `csv_step` a character. The fast one looks at marks only. Outside
// of quotes it walks the set bits of the index: in  north,12,"a, ""b""",7\r  those of , , " and so on; a
// delimiter or line end closes the cell that began behind the mark before, and a quote counts only as a
// cell's first character. A quoted cell is ended at once by the bits of its quotes (passing by line ends) if
// it is indexed to behind its closing quote; one that is cut, or closed badly, goes on quote by quote, with
// one plain step behind each. Text between marks costs nothing but its share of the index.
//
// The fast one goes on past line ends until the bytes that are indexed are used up, so its set-up and all
// questions about room and limits are paid once for some dozens of rows.
//
// Both stop at `limit` in any state and go on from there, so where blocks meet makes no difference.

#include "rows/csv_scanner.h"

#include <bit>

namespace Orlo::IMPL {

void csv_scanner::set_marks(const csv_marks& marks, std::size_t line_end_rest) {
    marks_ = marks;
    line_end_rest_ = line_end_rest;
    fast_ = marks.distinct();
    classes_.fill(csv_text);
    classes_[static_cast<unsigned char>(marks.quote)] |= csv_quote;
    classes_[static_cast<unsigned char>(marks.delimiter)] |= csv_delimiter;
    classes_[static_cast<unsigned char>(marks.line_end)] |= csv_line_end;
    rows_[0] = {0, 0};
    taken_ = found_ = 0;
    scan_again();
}

void csv_scanner::scan_again() noexcept {
    found_ = taken_;
    count_ = rows_[found_].cell;
    while (!doubled_cells_.empty() && doubled_cells_.back() >= count_)
        doubled_cells_.pop_back();
    doubled_taken_ = 0;
    failed_ = false;
    open_row_at(rows_[found_].byte);
    indexed_begin_ = indexed_end_ = 0;
}

void csv_scanner::open_row_at(std::size_t at) noexcept {
    rows_[found_].byte = at;
    position_ = cell_begin_ = at;
    doubled_ = false;
    state_ = csv_state::field_start;
}

void csv_scanner::forget_front(std::size_t size) noexcept {
    for (csv_cell& cell : std::span(cells_).first(count_))
        if (cell.begin >= size) cell.begin -= size;  // a spare one stays 0
    for (std::size_t row = taken_ == 0 ? 0 : taken_ - 1; row <= found_; ++row)
        rows_[row].byte -= size;
    position_ -= size;
    cell_begin_ -= size;
    quote_at_ -= size;
    indexed_begin_ = indexed_end_ = 0;
}

/// Moves what was found of the open row to the front.
void csv_scanner::keep_open_row_only() {
    const row_start open = rows_[found_];
    std::copy(cells_.data() + open.cell, cells_.data() + count_, cells_.data());
    count_ -= open.cell;
    std::erase_if(doubled_cells_, [&](std::size_t cell) { return cell < open.cell; });
    for (std::size_t& cell : doubled_cells_)
        cell -= open.cell;
    doubled_taken_ = 0;
    rows_[0] = {0, open.byte};
    found_ = taken_ = 0;
}

/// The open row was the last cell pushed; a new one begins at `next_begin`.
void csv_scanner::end_row(std::size_t next_begin) {
    make_room(csv_row_view::spare_cells);
    std::fill_n(cells_.data() + count_, csv_row_view::spare_cells, csv_cell{0, 0});
    count_ += csv_row_view::spare_cells;
    rows_[++found_] = {count_, next_begin};
}

void csv_scanner::take_open_row() {
    end_row(position_);
    taken_ = found_;
}

std::span<const std::size_t> csv_scanner::doubled_cells() noexcept {
    const std::size_t size = doubled_cells_.size();
    while (doubled_taken_ < size && doubled_cells_[doubled_taken_] < rows_[taken_ - 1].cell)
        ++doubled_taken_;
    std::size_t end = doubled_taken_;
    while (end < size && doubled_cells_[end] < rows_[taken_].cell)
        ++end;
    return std::span(doubled_cells_).subspan(doubled_taken_, end - doubled_taken_);
}

csv_scanner::stop csv_scanner::scan(const char* text, std::size_t limit) {
    keep_open_row_only();
    if (failed_) return stop::fail;
    const stop stopped = fast_ ? scan_fast(text, limit) : scan_plain(text, limit);
    failed_ = stopped == stop::fail;
    return found_ != 0 ? stop::rows : stopped;
}

/// Takes one row at most.
csv_scanner::stop csv_scanner::scan_plain(const char* text, std::size_t limit) {
    while (position_ < limit) {
        if (state_ == csv_state::field_start) {
            cell_begin_ = position_;
            doubled_ = false;
        }
        const csv_transition step = csv_step(state_, classes_[static_cast<unsigned char>(text[position_])]);
        switch (step.action) {
            case csv_action::skip:
                if (state_ == csv_state::field_start) cell_begin_ = position_ + 1;
                quote_at_ = position_;
                break;
            case csv_action::take:
                doubled_ |= state_ == csv_state::quote_seen;
                break;
            case csv_action::cell:
                push_open_cell();
                break;
            case csv_action::row:
                push_open_cell();
                end_row(position_ + 1 + line_end_rest_);
                open_row_at(open_row_begin());
                return stop::rows;
            case csv_action::fail:
                push_open_cell();
                ++position_;
                return stop::fail;
        }
        state_ = step.next;
        ++position_;
    }
    return stop::used_up;
}

namespace {

bool has_bmi() {
    static const bool has = __builtin_cpu_supports("bmi") != 0;
    return has;
}

/// Where the lowest bit is, as an offset: unsigned, which saves the compiler an extension of the sign.
[[gnu::always_inline]] inline std::size_t lowest(std::uint64_t bits) {
    return static_cast<unsigned>(std::countr_zero(bits));
}

}  // namespace

csv_scanner::stop csv_scanner::scan_fast(const char* text, std::size_t limit) {
    while (position_ < limit) {
        if (position_ >= indexed_end_ || indexed_end_ > limit) {
            if (found_ != 0) return stop::rows;
            index_from_position(text, limit);
        }
        if (state_ == csv_state::quoted) {
            find_closing_quote(text);
        } else if (state_ == csv_state::quote_seen) {
            // one step settles what the quote was
            if (scan_plain(text, position_ + 1) == stop::fail) return stop::fail;
        } else {
            has_bmi() ? scan_unquoted_bmi(text) : scan_unquoted(text);
        }
    }
    return stop::used_up;
}

/// Covers bytes from `position_` on, as far as the index reaches, and makes room for all that they may hold:
/// each byte is the end of a row at worst.
void csv_scanner::index_from_position(const char* text, std::size_t limit) {
    const std::size_t size = std::min(limit - position_, csv_index::span);
    index_.build(text + position_, size, marks_);
    indexed_begin_ = position_;
    indexed_end_ = position_ + size;
    make_room(size * (1 + csv_row_view::spare_cells));
}

/// The end of the quoted cell whose text begins at `from`, if both its closing quote and the mark behind that
/// are indexed.
csv_scanner::quoted_end csv_scanner::end_of_quoted(const char* text, std::size_t from) const {
    quoted_end found{0, csv_text, false};
    for (std::size_t word = (from - indexed_begin_) / 64; indexed_begin_ + word * 64 < indexed_end_; ++word) {
        std::uint64_t bits = index_.stops()[word];
        const std::size_t word_at = indexed_begin_ + word * 64;
        if (from > word_at) bits &= from - word_at < 64 ? ~std::uint64_t{0} << (from - word_at) : 0;
        for (; bits != 0; bits &= bits - 1) {
            const std::size_t mark = word_at + lowest(bits);
            if (mark < from || text[mark] != marks_.quote) continue;
            if (mark + 1 >= indexed_end_) return found;
            const char behind = text[mark + 1];
            if (behind == marks_.quote) {
                found.doubled = true;
                from = mark + 2;
                continue;
            }
            found.at = mark;
            if (behind == marks_.delimiter) found.behind = csv_delimiter;
            if (behind == marks_.line_end) found.behind = csv_line_end;
            return found;
        }
    }
    return found;
}

/// Ends cells and rows until the index is used up or ends a quoted cell too early (`state_` tells).
[[gnu::always_inline]] inline void csv_scanner::scan_unquoted_any(const char* text) {
    const std::size_t begin = indexed_begin_;
    const std::size_t end = indexed_end_;
    const std::size_t behind_line_end = 1 + line_end_rest_;
    const char quote = marks_.quote;
    csv_cell* const cells = cells_.data();
    csv_cell* out = cells + count_;
    row_start* row = &rows_[found_];
    std::size_t at = position_;
    std::size_t cell_begin = state_ == csv_state::field_start ? position_ : cell_begin_;
    doubled_ = false;
    state_ = csv_state::plain;

    while (at < end) {
        const std::size_t word = (at - begin) / 64;
        const std::size_t word_at = begin + word * 64;
        const std::uint64_t wanted = ~std::uint64_t{0} << ((at - begin) % 64);
        std::uint64_t delimiters = index_.delimiters()[word] & wanted;
        std::uint64_t stops = index_.stops()[word] & wanted;
        at = word_at + 64;
        for (;;) {
            // those in front of the next quote or line end, or all of the word's if there is none
            const std::uint64_t front = stops ^ (stops - 1);
            for (std::uint64_t left = delimiters & front; left != 0; left &= left - 1) {
                const std::size_t mark = word_at + lowest(left);
                *out++ = {cell_begin, mark - cell_begin};
                cell_begin = mark + 1;
            }
            if (stops == 0) break;
            const std::size_t mark = word_at + lowest(stops);
            if (text[mark] != quote) {
                *out++ = {cell_begin, mark - cell_begin};
                out = std::fill_n(out, csv_row_view::spare_cells, csv_cell{0, 0});
                at = cell_begin = mark + behind_line_end;
                *++row = {static_cast<std::size_t>(out - cells), at};
                break;
            }
            if (mark == cell_begin) {
                const quoted_end closed = end_of_quoted(text, mark + 1);
                if (closed.behind == csv_text) {
                    // cut off, or followed by what does not belong there: the slow road
                    state_ = csv_state::quoted;
                    at = end;
                    cell_begin = mark + 1;
                    break;
                }
                if (closed.doubled) doubled_cells_.push_back(static_cast<std::size_t>(out - cells));
                *out++ = {mark + 1, closed.at - mark - 1};
                at = cell_begin = closed.at + 2;
                if (closed.behind == csv_line_end) {
                    out = std::fill_n(out, csv_row_view::spare_cells, csv_cell{0, 0});
                    at = cell_begin = closed.at + 1 + behind_line_end;
                    *++row = {static_cast<std::size_t>(out - cells), at};
                }
                break;
            }
            // a quote inside a cell is text
            delimiters &= ~front;
            stops &= stops - 1;
        }
    }
    count_ = static_cast<std::size_t>(out - cells);
    found_ = static_cast<std::size_t>(row - rows_.data());
    cell_begin_ = cell_begin;
    if (state_ == csv_state::quoted) {
        position_ = cell_begin;
    } else {
        position_ = std::max(cell_begin, end);
        if (cell_begin >= end) state_ = csv_state::field_start;
    }
}

void csv_scanner::scan_unquoted(const char* text) {
    scan_unquoted_any(text);
}

[[gnu::target("bmi")]] void csv_scanner::scan_unquoted_bmi(const char* text) {
    scan_unquoted_any(text);
}

/// Goes behind the next quote inside a quoted cell, or to the end of the index.
void csv_scanner::find_closing_quote(const char* text) {
    while (position_ < indexed_end_) {
        const std::size_t offset = position_ - indexed_begin_;
        const std::uint64_t bits = index_.stops()[offset / 64] & (~std::uint64_t{0} << (offset % 64));
        if (bits == 0) {
            position_ = std::min(indexed_begin_ + (offset / 64 + 1) * 64, indexed_end_);
            continue;
        }
        const std::size_t mark = indexed_begin_ + offset / 64 * 64 + lowest(bits);
        position_ = mark + 1;
        if (text[mark] == marks_.quote) {
            quote_at_ = mark;
            state_ = csv_state::quote_seen;
            return;
        }
    }
}

}  // namespace Orlo::IMPL

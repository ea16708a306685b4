// The two scanners of a row.
//
// The plain one is the grammar itself: one `csv_step` a character. The fast one looks at marks only. Outside
// of quotes it walks the set bits of the index: in  north,12,"a, ""b""",7\r  those of , , " and so on; a
// delimiter or line end closes the cell that began behind the mark before, and a quote counts only as a
// cell's first character. Inside of quotes it walks the quotes' bits (and passes by line ends); what follows
// a quote is one plain step. Text between marks costs nothing but its share of the index.
//
// Both stop at `limit` in any state and go on from there, so where blocks meet makes no difference.

#include "rows/csv_scanner.h"

#include <bit>

namespace Orlo::IMPL {

void csv_scanner::set_marks(const csv_marks& marks) {
    marks_ = marks;
    fast_ = marks.distinct();
    classes_.fill(csv_text);
    classes_[static_cast<unsigned char>(marks.quote)] |= csv_quote;
    classes_[static_cast<unsigned char>(marks.delimiter)] |= csv_delimiter;
    classes_[static_cast<unsigned char>(marks.line_end)] |= csv_line_end;
    forget_bytes();
    start_row();
}

csv_scanner::stop csv_scanner::scan_plain(const char* row, std::size_t limit) {
    while (position_ < limit) {
        if (state_ == csv_state::field_start) {
            cell_begin_ = position_;
            doubled_ = false;
        }
        const csv_transition step = csv_step(state_, classes_[static_cast<unsigned char>(row[position_])]);
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
            case csv_action::fail:
                push_open_cell();
                ++position_;
                return step.action == csv_action::row ? stop::row : stop::fail;
        }
        state_ = step.next;
        ++position_;
    }
    return stop::used_up;
}

csv_scanner::stop csv_scanner::scan_fast(const char* row, std::size_t limit) {
    while (position_ < limit) {
        if (state_ == csv_state::quoted) {
            if (!find_closing_quote(row, limit)) return stop::used_up;
        } else if (state_ == csv_state::quote_seen) {
            // one step settles what the quote was
            const stop stopped = scan_plain(row, position_ + 1);
            if (stopped != stop::used_up) return stopped;
        } else {
            const stop stopped = scan_unquoted(row, limit);
            if (stopped == stop::row) return stopped;
        }
    }
    return stop::used_up;
}

/// Covers bytes from `at` on, as far as the index reaches.
void csv_scanner::index_from(const char* at, const char* end) {
    const std::size_t size = std::min<std::size_t>(static_cast<std::size_t>(end - at), csv_index::span);
    index_.build(at, size, marks_);
    indexed_begin_ = at;
    indexed_end_ = at + size;
}

/// Ends cells until the row ends, a quote opens a cell (`state_` tells), or the bytes are used up.
csv_scanner::stop csv_scanner::scan_unquoted(const char* row, std::size_t limit) {
    const char* const end = row + limit;
    const char* at = row + position_;
    std::size_t cell_begin = state_ == csv_state::field_start ? position_ : cell_begin_;
    doubled_ = false;

    while (at < end) {
        if (at < indexed_begin_ || at >= indexed_end_) index_from(at, end);
        const auto offset = static_cast<std::size_t>(at - indexed_begin_);
        const char* const word = indexed_begin_ + offset / 64 * 64;
        std::uint64_t wanted = ~std::uint64_t{0} << (offset % 64);
        if (end - word < 64) wanted &= (std::uint64_t{1} << (end - word)) - 1;
        std::uint64_t bits = index_.specials()[offset / 64] & wanted;
        std::uint64_t stops = index_.stops()[offset / 64] & wanted;
        const auto word_at = static_cast<std::size_t>(word - row);
        make_room(64);
        csv_cell* out = cells_.data() + count_;
        for (;;) {
            // delimiters in front of the next quote or line end, or all of the word's if there is none
            for (std::uint64_t delimiters = bits & ((stops & (0 - stops)) - 1); delimiters != 0;
                 delimiters &= delimiters - 1) {
                const std::size_t mark = word_at + static_cast<std::size_t>(std::countr_zero(delimiters));
                *out++ = {cell_begin, mark - cell_begin};
                cell_begin = mark + 1;
            }
            if (stops == 0) break;
            const std::size_t mark = word_at + static_cast<std::size_t>(std::countr_zero(stops));
            if (row[mark] != marks_.quote) {
                *out++ = {cell_begin, mark - cell_begin};
                position_ = mark + 1;
                count_ = static_cast<std::size_t>(out - cells_.data());
                return stop::row;
            }
            if (mark == cell_begin) {
                state_ = csv_state::quoted;
                position_ = cell_begin_ = mark + 1;
                count_ = static_cast<std::size_t>(out - cells_.data());
                return stop::used_up;
            }
            // a quote inside a cell is text
            bits &= ~(stops ^ (stops - 1));
            stops &= stops - 1;
        }
        count_ = static_cast<std::size_t>(out - cells_.data());
        at = std::min(word + 64, indexed_end_);
    }
    state_ = cell_begin == limit ? csv_state::field_start : csv_state::plain;
    position_ = limit;
    cell_begin_ = cell_begin;
    return stop::used_up;
}

/// Goes behind the next quote inside a quoted cell; false if there is none before `limit`.
bool csv_scanner::find_closing_quote(const char* row, std::size_t limit) {
    const char* const end = row + limit;
    const char* at = row + position_;
    while (at < end) {
        if (at < indexed_begin_ || at >= indexed_end_) index_from(at, end);
        const auto offset = static_cast<std::size_t>(at - indexed_begin_);
        const std::uint64_t bits = index_.stops()[offset / 64] & (~std::uint64_t{0} << (offset % 64));
        if (bits == 0) {
            at = std::min(indexed_begin_ + (offset / 64 + 1) * 64, indexed_end_);
            continue;
        }
        const char* const quote = indexed_begin_ + offset / 64 * 64 + std::countr_zero(bits);
        if (quote >= end) break;
        if (*quote != marks_.quote) {
            at = quote + 1;
            continue;
        }
        quote_at_ = static_cast<std::size_t>(quote - row);
        position_ = quote_at_ + 1;
        state_ = csv_state::quote_seen;
        return true;
    }
    position_ = limit;
    return false;
}

}  // namespace Orlo::IMPL

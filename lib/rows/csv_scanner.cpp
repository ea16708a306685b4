// The two scanners of rows.
//
// The plain one is the grammar itself: one `csv_step` a character. The fast one takes a stretch of text in
// four steps: where the marks are (`csv_index`), which of them end cells and rows (`find_ends`), the cells
// (`end_cells`), and last the rows, and what quotes change in cells. Where 64 characters are out of the
// ordinary, the plain one takes them.
//
// A call goes on until some rows were found, so its set-up and the checks of room and limits are paid once for
// some dozens of rows. Both scanners stop at `limit` in any state and go on from there, so it makes no
// difference where blocks meet.

#include "rows/csv_scanner.h"

#include <algorithm>
#include <bit>

namespace Orlo::IMPL {

void csv_scanner::set_marks(const csv_marks& marks, std::size_t line_end_rest) {
    marks_ = marks;
    line_end_rest_ = line_end_rest;
    fast_ = marks.distinct() && line_end_rest <= 1;
    classes_.fill(csv_text);
    classes_[static_cast<unsigned char>(marks.quote)] |= csv_quote;
    classes_[static_cast<unsigned char>(marks.delimiter)] |= csv_delimiter;
    classes_[static_cast<unsigned char>(marks.line_end)] |= csv_line_end;
    rows_[0] = {0, 0};
    first_taken_ = taken_ = found_ = 0;
    forget_untaken_rows();
}

void csv_scanner::forget_untaken_rows() noexcept {
    found_ = taken_;
    count_ = rows_[found_].cell;
    while (!doubled_cells_.empty() && doubled_cells_.back().cell >= count_)
        doubled_cells_.pop_back();
    doubled_taken_ = 0;
    failed_ = false;
    open_row_at(rows_[found_].byte);
}

void csv_scanner::open_row_at(std::size_t at) noexcept {
    rows_[found_].byte = at;
    position_ = cell_begin_ = at;
    state_ = csv_state::field_start;
}

void csv_scanner::text_moved(std::size_t from, std::size_t to) noexcept {
    // offsets wrap, and those of what is gone are not used any more
    const std::size_t by = to - from;
    for (csv_cell& cell : std::span(cells_).first(count_))
        cell = {cell.begin + by, cell.end + by};
    for (doubled_cell& doubled : doubled_cells_)
        doubled.byte += by;
    for (std::size_t row = first_taken_; row <= found_; ++row)
        rows_[row].byte += by;
    position_ += by;
    cell_begin_ += by;
    quote_at_ += by;
}

/// Moves what was found of the open row to the front.
void csv_scanner::keep_open_row_only() {
    const csv_row_start open = rows_[found_];
    std::copy(cells_.data() + open.cell, cells_.data() + count_, cells_.data());
    count_ -= open.cell;
    std::erase_if(doubled_cells_, [&](const doubled_cell& doubled) { return doubled.cell < open.cell; });
    for (doubled_cell& doubled : doubled_cells_)
        doubled.cell -= open.cell;
    doubled_taken_ = 0;
    rows_[0] = {0, open.byte};
    found_ = first_taken_ = taken_ = 0;
}

void csv_scanner::note_doubled(std::size_t cell, std::size_t byte) {
    if (!doubled_cells_.empty() && doubled_cells_.back().cell == cell) {
        doubled_cells_.back().more = true;
    } else {
        doubled_cells_.push_back({cell, byte, false});
    }
}

void csv_scanner::take_open_row() {
    end_row(position_);
    first_taken_ = taken_;
    taken_ = found_;
}

void csv_scanner::end_open_row() {
    end_row(position_);
    open_row_at(position_);
}

std::span<const csv_scanner::doubled_cell> csv_scanner::doubled_cells() noexcept {
    const std::size_t size = doubled_cells_.size();
    while (doubled_taken_ < size && doubled_cells_[doubled_taken_].cell < rows_[first_taken_].cell)
        ++doubled_taken_;
    std::size_t end = doubled_taken_;
    while (end < size && doubled_cells_[end].cell < rows_[taken_].cell)
        ++end;
    return std::span(doubled_cells_).subspan(doubled_taken_, end - doubled_taken_);
}

csv_scanner::stop csv_scanner::scan(const char* text, std::size_t limit) {
    keep_open_row_only();
    if (failed_) return stop::fail;
    const stop stopped = fast_ ? scan_fast(text, limit) : scan_plain(text, limit);
    failed_ = stopped == stop::fail;
    make_room(0);
    std::fill_n(cells_.data() + count_, csv_rows_view::spare_cells, csv_cell{0, 0});
    return found_ != 0 ? stop::rows : stopped;
}

/// Takes one row at most.
csv_scanner::stop csv_scanner::scan_plain(const char* text, std::size_t limit) {
    while (position_ < limit) {
        if (state_ == csv_state::field_start) cell_begin_ = position_;
        const csv_transition step = csv_step(state_, classes_[static_cast<unsigned char>(text[position_])]);
        switch (step.action) {
            case csv_action::skip:
                if (state_ == csv_state::field_start) cell_begin_ = position_ + 1;
                quote_at_ = position_;
                break;
            case csv_action::take:
                if (state_ == csv_state::quote_seen) note_doubled(count_, position_);
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

csv_scanner::stop csv_scanner::scan_fast(const char* text, std::size_t limit) {
    while (position_ < limit && found_ == 0) {
        const std::size_t begin = position_;
        const std::size_t size = std::min(limit - begin, csv_index::span);
        index_.build(text + begin, size, marks_, with_);
        make_room(size + CELLS_TOO_MANY);
        const std::size_t words = (size + 63) / 64;
        for (std::size_t word = scan_words(begin, size, 0); word < words;
             word = scan_words(begin, size, word)) {
            const std::size_t word_end = begin + std::min(++word * 64, size);
            while (position_ < word_end) {
                if (scan_plain(text, word_end) == stop::fail) return stop::fail;
            }
        }
    }
    return stop::used_up;
}

/// Ends cells and rows of the `size` bytes at `begin`, which are indexed, from word number `word` on. Returns
/// the first word that is out of the ordinary, where the scanner stands then, or how many there are.
std::size_t csv_scanner::scan_words(std::size_t begin, std::size_t size, std::size_t word) {
    const std::size_t at = begin + 64 * word;
    const std::size_t cell_begin = open_cell_begin();
    const std::uint64_t skipped = cell_begin > at ? 1 : 0;
    csv_carry carry{.in_quotes = state_ == csv_state::quoted ? ~std::uint64_t{0} : 0,
                    .after_quote = state_ == csv_state::quote_seen ? std::uint64_t{1} : 0,
                    .cell_begins = state_ == csv_state::field_start ? 1 + skipped : 0,
                    .skipped = skipped};
    const std::size_t end = find_ends(index_, size, word, line_end_rest_, carry, ends_.data());
    const csv_ends* const ends = &ends_[word];
    cells_[count_].begin = cell_begin;
    end_cells(ends, end - word, at, &cells_[count_], with_);
    with_ == instructions::baseline ? end_rows(at, ends, end - word) : end_rows_popcnt(at, ends, end - word);
    stop_at(std::min(begin + 64 * end, begin + size), cells_[count_].begin, carry.in_quotes != 0,
            carry.after_quote != 0);
    return end;
}

namespace {

/// How many of `bits` there are up to the lowest of `some`, inclusive.
[[gnu::always_inline]] inline std::size_t count_up_to(std::uint64_t bits, std::uint64_t some) {
    return static_cast<unsigned>(std::popcount(bits & (some ^ (some - 1))));
}

}  // namespace

/// Counts the cells, which end already, ends rows, and takes the quotes off quoted cells.
[[gnu::always_inline]] inline void csv_scanner::end_rows_any(std::size_t at, const csv_ends* words,
                                                             std::size_t count) {
    csv_cell* cell = cells_.data() + count_;
    csv_row_start* row = &rows_[found_];
    for (const csv_ends* word = words; word != words + count; ++word, at += 64) {
        for (std::uint64_t rows = word->rows; rows != 0; rows &= rows - 1) {
            csv_cell* const next = cell + count_up_to(word->cells, rows);
            next->begin += line_end_rest_;
            *++row = {static_cast<std::size_t>(next - cells_.data()), next->begin};
        }
        for (std::uint64_t quoted = word->quoted_cells; quoted != 0; quoted &= quoted - 1) {
            csv_cell& ended = cell[count_up_to(word->cells, quoted) - 1];
            ++ended.begin;
            --ended.end;
        }
        for (std::uint64_t doubles = word->doubles; doubles != 0; doubles &= doubles - 1) {
            const std::size_t number = count_up_to(word->cells, doubles);
            note_doubled(static_cast<std::size_t>(cell - cells_.data()) + number,
                         at + static_cast<unsigned>(std::countr_zero(doubles)));
        }
        cell += std::popcount(word->cells);
    }
    count_ = static_cast<std::size_t>(cell - cells_.data());
    found_ = static_cast<std::size_t>(row - rows_.data());
}

void csv_scanner::end_rows(std::size_t at, const csv_ends* words, std::size_t count) {
    end_rows_any(at, words, count);
}

[[gnu::target("bmi,bmi2,popcnt")]] void csv_scanner::end_rows_popcnt(std::size_t at, const csv_ends* words,
                                                                     std::size_t count) {
    end_rows_any(at, words, count);
}

/// Where the open cell begins, with its opening quote.
std::size_t csv_scanner::open_cell_begin() const noexcept {
    if (state_ == csv_state::field_start) return position_;
    return state_ == csv_state::plain ? cell_begin_ : cell_begin_ - 1;
}

/// The scanner stands at `at`, in a cell that begins, with its opening quote, at `cell_begin`.
void csv_scanner::stop_at(std::size_t at, std::size_t cell_begin, bool in_quotes, bool after_quote) noexcept {
    position_ = std::max(at, cell_begin);
    cell_begin_ = cell_begin;
    state_ = cell_begin >= at ? csv_state::field_start : csv_state::plain;
    if (in_quotes || after_quote) {
        ++cell_begin_;
        quote_at_ = at - 1;
        state_ = in_quotes ? csv_state::quoted : csv_state::quote_seen;
    }
}

}  // namespace Orlo::IMPL

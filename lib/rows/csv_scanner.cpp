// The two scanners of rows.
//
// The plain one is the grammar itself: one `csv_step` a character. The fast one takes the index's words, one
// bit a character and mark, and asks of 64 characters at once what is a cell and what is text:
//
//     text          a,"b, ""c""",d\r\ne       in quotes: from each opening quote to in front of the closing
//     quotes          1   11 111              one, which is each bit exclusive-ored with all before it.
//     in quotes       11111 11 1              A doubled quote closes and opens again.
//     delimiters     1          1             Those in quotes are text, and so are line ends; what is left
//     line ends                   1           ends cells, and the second of these two ends the row as well.
//
// That holds while each opening quote is a cell's first character or the second of a doubled one, each
// closing one is in front of a delimiter, a line end or its double, and the character behind a line end,
// which is skipped unseen, is none of the marks. Where 64 characters break one of these the plain scanner
// takes them: a quote inside an unquoted cell, a lone quote, a failure.
//
// A call goes on until some rows were found, so its set-up and all questions about room and limits are paid
// once for some dozens of rows. Both scanners stop at `limit` in any state and go on from there, so where
// blocks meet makes no difference.

#include "rows/csv_scanner.h"

#include <algorithm>
#include <bit>

namespace Orlo::IMPL {
namespace {

/// Cells that are written in one go, in a word with as many marks or not.
constexpr std::size_t CELLS_AT_ONCE = 12;

}  // namespace

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
    scan_again();
}

void csv_scanner::scan_again() noexcept {
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

void csv_scanner::forget_front(std::size_t size) noexcept {
    // offsets of what lies in front of the rest wrap, and are not looked at any more
    for (csv_cell& cell : std::span(cells_).first(count_))
        cell = {cell.begin - size, cell.end - size};
    for (doubled_cell& doubled : doubled_cells_)
        doubled.byte -= size;
    for (std::size_t row = first_taken_; row <= found_; ++row)
        rows_[row].byte -= size;
    position_ -= size;
    cell_begin_ -= size;
    quote_at_ -= size;
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
    static const bool bmi =
        __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    while (position_ < limit && found_ == 0) {
        const std::size_t begin = position_;
        const std::size_t size = std::min(limit - begin, csv_index::span);
        index_.build(text + begin, size, marks_);
        make_room(size + CELLS_AT_ONCE);
        const bool quotes =
            index_.has_quotes() || state_ == csv_state::quoted || state_ == csv_state::quote_seen;
        const auto scan_from = [&](std::size_t word) {
            return bmi ? scan_words_bmi(begin, size, word, quotes) : scan_words(begin, size, word, quotes);
        };
        const std::size_t words = (size + 63) / 64;
        for (std::size_t word = scan_from(0); word < words; word = scan_from(word)) {
            const std::size_t word_end = begin + std::min(++word * 64, size);
            while (position_ < word_end) {
                if (scan_plain(text, word_end) == stop::fail) return stop::fail;
            }
        }
    }
    return stop::used_up;
}

namespace {

/// The lowest bit and all below it.
[[gnu::always_inline]] inline std::uint64_t up_to_lowest(std::uint64_t bits) {
    return bits ^ (bits - 1);
}

/// Each bit exclusive-ored with all below it.
[[gnu::always_inline]] inline std::uint64_t parities(std::uint64_t bits) {
    for (unsigned distance = 1; distance < 64; distance *= 2)
        bits ^= bits << distance;
    return bits;
}

[[gnu::always_inline]] inline std::size_t count_of(std::uint64_t bits) {
    return static_cast<unsigned>(std::popcount(bits));
}

/// Ends the cell `out` at the lowest mark, where the next one begins.
[[gnu::always_inline]] inline void end_cell(csv_cell*& out, std::size_t at, std::uint64_t& marks) {
    const std::size_t mark = at + static_cast<unsigned>(std::countr_zero(marks));
    out->end = mark;
    ++out;
    out->begin = mark + 1;
    marks &= marks - 1;
}

[[gnu::always_inline]] inline void end_four_cells(csv_cell*& out, std::size_t at, std::uint64_t& marks) {
    end_cell(out, at, marks);
    end_cell(out, at, marks);
    end_cell(out, at, marks);
    end_cell(out, at, marks);
}

/// Ends `out` and the cells behind it at the marks of the word at `at`. Writes some more than there are
/// marks: what they hold means nothing.
[[gnu::always_inline]] inline void end_cells(csv_cell* out, std::size_t at, std::uint64_t marks) {
    do {
        end_four_cells(out, at, marks);
        end_four_cells(out, at, marks);
        end_four_cells(out, at, marks);
    } while (marks != 0);
}

}  // namespace

/// Ends cells and rows of the `size` bytes at `begin`, which are indexed, from word number `word` on. Returns
/// the first word that is out of the ordinary, where the scanner stands then, or how many there are.
template <bool Quotes>
[[gnu::always_inline]] inline std::size_t csv_scanner::scan_words_any(std::size_t begin, std::size_t size,
                                                                      std::size_t word) {
    const std::size_t words = (size + 63) / 64;
    const std::size_t rest = line_end_rest_;
    const std::uint64_t skips = rest != 0 ? ~std::uint64_t{0} : 0;
    csv_cell* const cells = cells_.data();
    csv_cell* out = cells + count_;
    csv_row_start* row = &rows_[found_];
    std::size_t at = begin + 64 * word;
    out->begin = open_cell_begin();

    // what the bits of the word before say of this one's first
    std::uint64_t skipped = out->begin > at ? 1 : 0;
    std::uint64_t first = state_ == csv_state::field_start ? 1 + skipped : 0;
    std::uint64_t inside = state_ == csv_state::quoted ? ~std::uint64_t{0} : 0;
    std::uint64_t closed = state_ == csv_state::quote_seen ? 1 : 0;

    for (; word < words; ++word, at += 64) {
        std::uint64_t delimiters = index_[word].delimiters;
        std::uint64_t line_ends = index_[word].line_ends;
        std::uint64_t behind_quote = 0;
        std::uint64_t opening = 0;
        if constexpr (Quotes) {
            const std::uint64_t quotes = index_[word].quotes;
            const std::uint64_t quoted = parities(quotes) ^ inside;
            delimiters &= ~quoted;
            line_ends &= ~quoted;
            opening = quotes & quoted;
            const std::uint64_t closing = quotes & ~quoted;
            behind_quote = closing << 1 | closed;
            const std::uint64_t firsts = delimiters << 1 | line_ends << 1 << rest | first;
            const std::uint64_t skip = (line_ends << 1 | skipped) & skips;
            const std::uint64_t marks = delimiters | line_ends;
            const std::uint64_t odd = (opening & ~(firsts | behind_quote)) | (skip & (marks | quotes)) |
                                      (behind_quote & ~(marks | opening));
            const std::size_t left = begin + size - at;
            if ((left < 64 ? odd << (64 - left) : odd) != 0) break;
            inside = static_cast<std::uint64_t>(static_cast<std::int64_t>(quoted) >> 63);
            closed = left < 64 ? closing >> (left - 1) & 1 : closing >> 63;
            first = delimiters >> 63 | line_ends >> (63 - rest);
        } else {
            if (((line_ends << 1 | skipped) & skips & (delimiters | line_ends)) != 0) break;
        }
        skipped = line_ends >> 63;

        const std::uint64_t marks = delimiters | line_ends;
        end_cells(out, at, marks);
        for (; line_ends != 0; line_ends &= line_ends - 1) {
            csv_cell* const next = out + count_of(marks & up_to_lowest(line_ends));
            next->begin += rest;
            *++row = {static_cast<std::size_t>(next - cells), next->begin};
        }
        if constexpr (Quotes) {
            for (std::uint64_t ends = marks & behind_quote; ends != 0; ends &= ends - 1) {
                csv_cell& cell = out[count_of(marks & up_to_lowest(ends)) - 1];
                ++cell.begin;
                --cell.end;
            }
            for (std::uint64_t doubles = opening & behind_quote; doubles != 0; doubles &= doubles - 1) {
                const std::size_t before = count_of(marks & up_to_lowest(doubles));
                note_doubled(static_cast<std::size_t>(out - cells) + before,
                             at + static_cast<unsigned>(std::countr_zero(doubles)));
            }
        }
        out += count_of(marks);
    }
    count_ = static_cast<std::size_t>(out - cells);
    found_ = static_cast<std::size_t>(row - rows_.data());
    stop_at(std::min(at, begin + size), out->begin, inside != 0, closed != 0);
    return word;
}

/// Where the open cell begins, with its opening quote.
std::size_t csv_scanner::open_cell_begin() const noexcept {
    if (state_ == csv_state::field_start) return position_;
    return state_ == csv_state::plain ? cell_begin_ : cell_begin_ - 1;
}

/// The scanner stands at `at`, in a cell that begins, with its opening quote, at `cell_begin`.
void csv_scanner::stop_at(std::size_t at, std::size_t cell_begin, bool in_quotes,
                          bool behind_quote) noexcept {
    position_ = std::max(at, cell_begin);
    cell_begin_ = cell_begin;
    state_ = cell_begin >= at ? csv_state::field_start : csv_state::plain;
    if (in_quotes || behind_quote) {
        ++cell_begin_;
        quote_at_ = at - 1;
        state_ = in_quotes ? csv_state::quoted : csv_state::quote_seen;
    }
}

std::size_t csv_scanner::scan_words(std::size_t begin, std::size_t size, std::size_t word, bool quotes) {
    return quotes ? scan_words_any<true>(begin, size, word) : scan_words_any<false>(begin, size, word);
}

[[gnu::target("bmi,bmi2,popcnt")]] std::size_t csv_scanner::scan_words_bmi(std::size_t begin,
                                                                           std::size_t size, std::size_t word,
                                                                           bool quotes) {
    return quotes ? scan_words_any<true>(begin, size, word) : scan_words_any<false>(begin, size, word);
}

}  // namespace Orlo::IMPL

#pragma once

#include <array>
#include <cstdint>

// The grammar of a row, as data.
//
// A row is read by a machine of four states. Each character belongs to some of three classes (quote,
// delimiter, first character of the line end; parameters may coincide, so a character can belong to several),
// and `csv_step` alone says what a state does with it. The plain scanner calls it for each character. The fast
// one does not: it is tested against the plain one.

namespace Orlo::IMPL {

enum class csv_state : std::uint8_t {
    field_start,  ///< before a cell's first character
    plain,        ///< inside an unquoted cell, where a quote is text
    quoted,       ///< after an opening quote
    quote_seen,   ///< after a quote inside a quoted cell: its end, or the first of a doubled one
};

enum class csv_action : std::uint8_t {
    skip,  ///< the character is no part of the text
    take,  ///< it belongs to the cell's text
    cell,  ///< the cell ends before it
    row,   ///< the cell and the row end before it; the rest of the line end is to be skipped
    fail,  ///< the cell has ended, and the character may not follow a closing quote
};

/// Classes of a character, as bits.
enum csv_class : std::uint8_t { csv_text = 0, csv_quote = 1, csv_delimiter = 2, csv_line_end = 4 };

struct csv_transition {
    csv_state next;
    csv_action action;
};

/// The one transition function.
constexpr csv_transition csv_step(csv_state state, std::uint8_t classes) noexcept {
    const bool is_quote = (classes & csv_quote) != 0;
    if (state == csv_state::field_start && is_quote) return {csv_state::quoted, csv_action::skip};
    if (state == csv_state::quoted) {
        return is_quote ? csv_transition{csv_state::quote_seen, csv_action::skip}
                        : csv_transition{csv_state::quoted, csv_action::take};
    }
    if (state == csv_state::quote_seen && is_quote) return {csv_state::quoted, csv_action::take};

    if ((classes & csv_delimiter) != 0) return {csv_state::field_start, csv_action::cell};
    if ((classes & csv_line_end) != 0) return {csv_state::field_start, csv_action::row};
    return state == csv_state::quote_seen ? csv_transition{csv_state::quote_seen, csv_action::fail}
                                          : csv_transition{csv_state::plain, csv_action::take};
}

}  // namespace Orlo::IMPL

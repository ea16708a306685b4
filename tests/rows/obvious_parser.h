#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "rows/csv_machine.h"

namespace Orlo::testing_support {

/// What a parser makes of a whole text: its rows, then how it ended. `failure` is empty at a clean end.
struct parsed_text {
    std::vector<std::vector<std::string>> rows;
    std::string failure;

    bool operator==(const parsed_text&) const = default;
};

struct dialect {
    char quote = '"';
    char delimiter = ',';
    std::string line_end = "\r\n";
    std::uint64_t quota = 0xFFFF;
};

/// The slow obvious parser: one character at a time through the grammar, the field built as it goes.
inline parsed_text parse_obviously(std::string_view text, const dialect& d) {
    using namespace Orlo::IMPL;
    parsed_text result;
    std::size_t at = 0;
    for (;;) {
        std::vector<std::string> row;
        std::string field;
        csv_state state = csv_state::field_start;
        bool after_delimiter = false;
        bool done = false;
        for (std::uint64_t count = 0; !done; ++count) {
            if (at == text.size()) {
                if (state == csv_state::quoted) {
                    result.failure = "unclosed: " + field;
                    return result;
                }
                if (state != csv_state::field_start || after_delimiter) row.push_back(field);
                if (row.empty()) return result;
                break;
            }
            if (count > d.quota) {
                result.failure = "quota";
                return result;
            }
            const char c = text[at++];
            std::uint8_t classes = csv_text;
            if (c == d.quote) classes |= csv_quote;
            if (c == d.delimiter) classes |= csv_delimiter;
            if (c == d.line_end[0]) classes |= csv_line_end;
            after_delimiter = c == d.delimiter;
            if (state == csv_state::field_start) field.clear();
            const csv_transition step = csv_step(state, classes);
            switch (step.action) {
                case csv_action::skip:
                    break;
                case csv_action::take:
                    field.push_back(c);
                    break;
                case csv_action::cell:
                    row.push_back(field);
                    field.clear();
                    break;
                case csv_action::row:
                    row.push_back(field);
                    at = std::min(text.size(), at + d.line_end.size() - 1);
                    done = true;
                    break;
                case csv_action::fail:
                    result.failure = std::string("quoting: ") + c + field;
                    return result;
            }
            state = step.next;
        }
        result.rows.push_back(row);
    }
}

}  // namespace Orlo::testing_support

#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

/// The slow obvious parser: one character at a time, the field built as it goes. It shares nothing with the
/// library's.
inline parsed_text parse_obviously(std::string_view text, const dialect& d) {
    parsed_text result;
    for (std::size_t at = 0;;) {
        const std::size_t begin = at;
        std::vector<std::string> row;
        std::string field;
        enum { start, plain, quoted, quote_seen } state = start;
        for (bool row_ends = false; !row_ends;) {
            if (at == text.size()) {
                if (state == quoted) return {result.rows, "unclosed: " + field};
                if (at == begin) return result;
                row.push_back(field);
                break;
            }
            if (at - begin > d.quota) return {result.rows, "quota"};
            const char c = text[at++];
            if (state == quoted && c != d.quote) {
                field += c;
            } else if (c == d.quote && state != plain) {
                if (state == quote_seen) field += c;
                state = state == quoted ? quote_seen : quoted;
            } else if (c == d.delimiter || c == d.line_end[0]) {
                row.push_back(field);
                field.clear();
                state = start;
                row_ends = c != d.delimiter;
            } else if (state == quote_seen) {
                return {result.rows, std::string("quoting: ") + c + field};
            } else {
                field += c;
                state = plain;
            }
            if (row_ends) at = std::min(text.size(), at + d.line_end.size() - 1);
        }
        result.rows.push_back(row);
    }
}

}  // namespace Orlo::testing_support

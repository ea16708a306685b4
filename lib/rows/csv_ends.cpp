// Which marks mean something, for 64 characters at once:
//
//     text          a,"b, ""c""",d\r\ne       in quotes: from each opening quote to the last character before
//     quotes          1   11 111              the closing one, which is each bit exclusive-ored with all
//     in quotes       11111 11 1              before it. A doubled quote closes and opens again.
//     delimiters     1          1             Those in quotes are text, and so are line ends; the others end
//     line ends                   1           cells, and line ends end the row as well.
//
// That holds while each opening quote is a cell's first character or the second of a doubled one, each closing
// one is followed by a delimiter, a line end or its double, and the character after a line end, which is
// skipped unseen, is none of the marks. A word where it does not hold is out of the ordinary: a quote inside
// an unquoted cell, a lone quote, a failure.
//
// There are no branches, so rows that are quoted now and then cost no wrong guesses.

#include "rows/csv_ends.h"

namespace Orlo::IMPL {
namespace {

/// For words without quotes, before which no quote is open.
std::size_t find_unquoted(const csv_index& index, std::size_t words, std::size_t word,
                          std::size_t line_end_rest, csv_carry& carry, csv_ends* ends) {
    const std::uint64_t skips = line_end_rest != 0 ? ~std::uint64_t{0} : 0;
    std::uint64_t skipped = carry.skipped;
    for (; word < words; ++word) {
        const std::uint64_t rows = index.line_ends(word);
        const std::uint64_t cells = index.delimiters(word) | rows;
        if (((rows << 1 | skipped) & skips & cells) != 0) break;
        skipped = rows >> 63;
        ends[word] = {cells, rows, 0, 0};
    }
    carry = {0, 0, 0, skipped & skips};
    return word;
}

}  // namespace

std::size_t find_ends(const csv_index& index, std::size_t size, std::size_t word, std::size_t line_end_rest,
                      csv_carry& carry, csv_ends* ends) {
    const std::size_t words = (size + 63) / 64;
    if (!index.has_quotes() && carry.in_quotes == 0 && carry.after_quote == 0)
        return find_unquoted(index, words, word, line_end_rest, carry, ends);

    const std::uint64_t skips = line_end_rest != 0 ? ~std::uint64_t{0} : 0;
    csv_carry now = carry;
    for (; word < words; ++word) {
        const std::uint64_t quotes = index.quotes(word);
        const std::uint64_t in_quotes = parities(quotes) ^ now.in_quotes;
        const std::uint64_t opening = quotes & in_quotes;
        const std::uint64_t closing = quotes & ~in_quotes;
        const std::uint64_t delimiters = index.delimiters(word) & ~in_quotes;
        const std::uint64_t rows = index.line_ends(word) & ~in_quotes;
        const std::uint64_t cells = delimiters | rows;
        const std::uint64_t after_quote = closing << 1 | now.after_quote;
        const std::uint64_t begins = delimiters << 1 | rows << 1 << line_end_rest | now.cell_begins;
        const std::uint64_t skipped = (rows << 1 | now.skipped) & skips;

        const std::uint64_t odd = (opening & ~(begins | after_quote)) | (after_quote & ~(cells | opening)) |
                                  (skipped & (cells | quotes));
        const std::size_t last = word + 1 < words ? 63 : (size - 1) % 64;
        if (odd << (63 - last) != 0) break;
        now = {0 - (in_quotes >> 63), closing >> last & 1, delimiters >> 63 | rows >> (63 - line_end_rest),
               rows >> 63 & skips};
        ends[word] = {cells, rows, cells & after_quote, opening & after_quote};
    }
    carry = now;
    return word;
}

}  // namespace Orlo::IMPL

#include "orlo/rows/csv_parser.h"

#include <gtest/gtest.h>

#include <random>

#include "rows/block_source.h"
#include "rows/csv_scanner.h"
#include "rows/obvious_parser.h"
#include "support/expect_throw.h"

namespace Orlo {
namespace {

using testing_support::block_source;
using testing_support::dialect;
using testing_support::parse_obviously;
using testing_support::parsed_text;

/// Reads all rows until the end or a failure, as cells of their own or as views.
parsed_text read_all(std::string_view text, const dialect& d, std::uint32_t block, bool as_views) {
    CCsvParser parser;
    const auto source = shared_ptr<block_source>::make(text);
    parser.Attach(source, d.delimiter, d.quote, stringEx(d.line_end.c_str()), block);
    parser.SetRowQuota(d.quota);
    parsed_text result;
    const auto add = [&result](const auto& row) {
        std::vector<std::string>& cells = result.rows.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i)
            cells.emplace_back(std::string_view(row[i]));
    };
    row_cells row{"left over"_lit, "from before"};
    try {
        for (csv_rows_view views; as_views && parser.GetNextRows(views);) {
            EXPECT_NE(views.size(), 0);
            for (std::size_t i = 0; i < views.size(); ++i)
                add(views[i]);
        }
        while (!as_views && parser.GetNextRow(row))
            add(row);
        EXPECT_TRUE(as_views || row.empty());
        EXPECT_EQ(parser.GetRowCount(), result.rows.size());
    } catch (const csvExp& failure) {
        const std::string_view told = failure.message();
        const std::string content(told.substr(std::min(told.size(), told.rfind("  content = ") + 12)));
        if (failure.code() == csv_code::row_quota) {
            result.failure = "quota";
        } else if (told.find("the last qouted") != told.npos) {
            result.failure = "unclosed: " + content;
        } else {
            result.failure = std::string("quoting: ") + told[told.find("  char    = ") + 12] + content;
        }
    }
    EXPECT_TRUE(source->ordered);
    return result;
}

std::string printable(std::string_view text) {
    std::string shown;
    for (const char c : text)
        shown += c == '\r' ? "\\r" : c == '\n' ? "\\n" : std::string(1, c);
    return shown;
}

/// Reading `text` by each of `blocks`, as cells and as views in turn, gives what the obvious parser makes of
/// it.
void check(std::string_view text, const dialect& d, std::initializer_list<std::uint32_t> blocks) {
    const parsed_text expected = parse_obviously(text, d);
    for (const std::uint32_t block : blocks) {
        ASSERT_EQ(read_all(text, d, block, (text.size() + block) % 2 == 0), expected)
            << printable(text) << " block " << block;
    }
}

/// Calls `visit` with all texts over `alphabet` up to `length`.
template <class Visit>
void for_all_texts(std::string_view alphabet, std::size_t length, Visit&& visit) {
    std::size_t texts = 1, number = 0;
    for (std::string text; text.size() <= length; text += '?', texts *= alphabet.size()) {
        for (std::size_t i = 0; i < texts; ++i) {
            std::size_t rest = i;
            for (char& c : text) {
                c = alphabet[rest % alphabet.size()];
                rest /= alphabet.size();
            }
            visit(text, number++);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(CsvParser, AgreesWithTheObviousParserOnAllShortTextsAtEveryBlockSize) {
    for_all_texts("\",\r\na", 6, [](const std::string& text, std::size_t) {
        check(text, {}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    });
}

// Small quotas, other line ends, and marks that coincide, which only the plain scanner can serve.
TEST(CsvParser, AgreesInEveryDialect) {
    const dialect dialects[] = {
        {.quota = 0},           {.quota = 2},
        {.quota = 3},           {.line_end = "\n"},
        {.line_end = "\r\n\n"}, {.quote = '\'', .delimiter = ';', .line_end = "\n", .quota = 4},
        {.quote = ','},         {.quote = '\r'},
        {.delimiter = '\r'},    {.quote = ',', .delimiter = ',', .line_end = ","},
    };
    for (const dialect& d : dialects) {
        for_all_texts("\",\r\na", 5, [&d](const std::string& text, std::size_t number) {
            const auto block = 1 + static_cast<std::uint32_t>(number % 7);
            check(text, d, {block, block + 1});
        });
    }
}

/// What a scanner tells of `text`, scanned up to `cut` and then to its end: the rows' cells, where it stands
/// when there are no rows to take, and how it stopped.
std::string scan_all(IMPL::csv_scanner& scanner, const std::string& text, std::size_t cut) {
    using stop = IMPL::csv_scanner::stop;
    std::string told;
    for (const std::size_t limit : {cut, text.size()}) {
        stop stopped = stop::rows;
        while (stopped == stop::rows) {
            stopped = scanner.scan(text.data(), limit);
            while (scanner.has_rows()) {
                scanner.take_row();
                for (const csv_cell& cell : scanner.cells())
                    told += std::to_string(cell.begin) + '-' + std::to_string(cell.end) + ' ';
                for (const auto& doubled : scanner.doubled_cells())
                    told += "doubled at " + std::to_string(doubled.byte) + (doubled.more ? " and on " : " ");
                told += "next " + std::to_string(scanner.end_byte()) + '\n';
            }
        }
        told += std::to_string(scanner.position());
        if (stopped == stop::fail) return told + " failed";
        told += " in state " + std::to_string(static_cast<int>(scanner.state())) + '\n';
    }
    return told;
}

/// The fast scanner, with each set of instructions that this machine has, finds what the plain one finds and
/// stops alike.
void expect_scanners_agree(const std::string& text, std::size_t cut, std::size_t line_end_rest) {
    IMPL::csv_scanner plain;
    plain.set_marks({'"', ',', '\r'}, line_end_rest);
    plain.use_plain();
    const std::string expected = scan_all(plain, text, cut);
    for (int with = 0; with <= static_cast<int>(IMPL::best_instructions()); ++with) {
        IMPL::csv_scanner fast;
        fast.set_marks({'"', ',', '\r'}, line_end_rest);
        fast.use(static_cast<IMPL::instructions>(with));
        ASSERT_EQ(scan_all(fast, text, cut), expected) << printable(text) << ' ' << cut << " with " << with;
    }
}

// At the front of a word, and across two.
TEST(CsvScanner, PlainAndFastAgreeAtEveryCut) {
    for_all_texts("\",\ra", 6, [](const std::string& short_text, std::size_t number) {
        const std::string text = std::string(number % 2 == 0 ? 0 : 61, 'x') + short_text;
        for (std::size_t cut = text.size() - short_text.size(); cut <= text.size(); ++cut)
            expect_scanners_agree(text, cut, number % 3);
    });
}

// Texts far longer than a word of the index, a slab of it, and a block, with quotes wherever they may be.
TEST(CsvParser, AgreesOnLongRandomTextsAndSoDoTheScanners) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::string_view pieces[] = {",",
                                       "\r\n",
                                       ",\"\",",
                                       "\r\n\"a\"\"b\",",
                                       ",\"x,\r\n\"\r\n",
                                       ",5\" nail",
                                       "\r,\"",
                                       "long text of a cell",
                                       "\"",
                                       "\"\""};
    for (int round = 0; round < 1000; ++round) {
        std::string text;
        const std::size_t usual = round % 3 == 0 ? std::size(pieces) : round % 3 == 1 ? 5 : 3;
        const std::size_t size = round % 10 == 0 ? 20000 : 3000;
        while (text.size() < size) {
            text += pieces[random() % usual];
            text.append(random() % (round % 4 == 0 ? 2 : 12), 'y');
        }
        expect_scanners_agree(text, random() % text.size(), 1);
        const std::uint32_t block = 1 + random() % 6000;
        check(text, {.quota = round % 4 == 1 ? random() % 3000 : 0xFFFF}, {block, block + 1});
        if (HasFatalFailure()) return;
    }
}

TEST(CsvParser, RowsOfTheQuotaPassAndOneMoreFails) {
    const std::tuple<std::size_t, const char*, bool> rows[] = {
        {65535, "\r\n", true},  // the line end's first character is the last that fits
        {65536, "", true},      // at the end of the input nothing is checked
        {65536, "\r\n", false},
        {65537, "", false},
    };
    for (const auto& [length, after, passes] : rows)
        EXPECT_EQ(read_all(std::string(length, 'x') + after, {}, 8192, true).failure, passes ? "" : "quota");
}

// Rows that wait in the scanner were found under the quota of before.
TEST(CsvParser, ANewQuotaHoldsFromTheNextRowOn) {
    // the second row takes nine bytes with its line end's first
    const std::tuple<std::uint64_t, std::uint64_t, bool> rows[] = {
        {100, 8, true}, {100, 7, false}, {5, 100, true}, {5, 5, false}};
    for (const auto& [before, after, passes] : rows) {
        const auto source = shared_ptr<block_source>::make("\"\"\"\"\r\n\"q\"\"bbb\"\r\ncc\r\n");
        CCsvParser parser;
        parser.Attach(source);
        parser.SetRowQuota(before);
        row_cells cells;
        ASSERT_TRUE(parser.GetNextRow(cells));
        EXPECT_EQ(cells[0], "\"");
        parser.SetRowQuota(after);
        csv_rows_view views;
        if (!passes) {
            EXPECT_THROW(static_cast<void>(parser.GetNextRows(views)), csvExp) << after;
            continue;
        }
        ASSERT_TRUE(parser.GetNextRows(views));
        parser.SetRowQuota(1);
        EXPECT_EQ(views[0][0], "q\"bbb") << "rows live until the next are read";
        EXPECT_EQ(source->reads, 1);
    }
}

// A block is read by the row that needs its bytes, be it only for the rest of its line end.
TEST(CsvParser, ReadsNoBlockBeforeARowNeedsIt) {
    for (const bool as_views : {false, true}) {
        const auto source = shared_ptr<block_source>::make("a\r\nb\r\ncc\r\nd");
        CCsvParser parser;
        parser.Attach(source, ',', '"', "\r\n"_lit, 5);
        row_cells row;
        csv_rows_view rows;
        for (const int reads : {1, 2, 2, 3}) {
            ASSERT_TRUE(as_views ? parser.GetNextRows(rows) : parser.GetNextRow(row));
            EXPECT_EQ(source->reads, reads) << as_views;
        }
    }
}

TEST(CsvParser, FailureTexts) {
    const std::string head = "CCsvParser::GetNextRow - ";
    const std::tuple<std::string, std::int32_t, std::string, std::size_t> rows[] = {
        {"k,\"a \"\"q\"\"\"\xE9", csv_code::quoting,
         head + "delimiter or line end mark not follow by end of qouter\n"
                "  char    = \xE9 (0xffffffe9)\n  expect  = ,\n  content = a \"q\"",
         2},
        {"x,y,\"a\"\"\r\n,", csv_code::quoting,
         head + "the last qouted field is not closed correctly\n  content = a\"\r\n,", 2},
        {"a,b,0123456789", csv_code::row_quota, head + "out of row length quota\n  current quota = 12", 2},
    };
    for (const auto& [text, code, message, cells_left] : rows) {
        byteEx bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
        CCsvParser parser;
        parser.Attach(bytes);
        parser.SetRowQuota(12);
        row_cells cells;
        EXPECT_FAILURE(static_cast<void>(parser.GetNextRow(cells)), csvExp, code, message);
        EXPECT_EQ(cells.size(), cells_left) << message;

        parser.Attach(shared_ptr<block_source>::make("next"));
        EXPECT_TRUE(parser.GetNextRow(cells) && cells == row_cells{"next"});
    }
}

TEST(CsvParser, KeptCellsAreNotTouchedByLaterRows) {
    CCsvParser parser;
    parser.Attach(shared_ptr<block_source>::make("aaaa,b\r\ncc,dddd\r\n,\r\n"));
    row_cells row;
    ASSERT_TRUE(parser.GetNextRow(row));
    const row_cells kept = row;
    ASSERT_TRUE(parser.GetNextRow(row));
    const char* const storage = row[1].data();
    EXPECT_EQ(kept, (row_cells{"aaaa", "b"}));
    ASSERT_TRUE(parser.GetNextRow(row));
    EXPECT_EQ(row[1].data(), storage) << "storage that nobody else holds is used again";
}

}  // namespace
}  // namespace Orlo

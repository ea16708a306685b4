#include "orlo/rows/csv_parser.h"

#include <gtest/gtest.h>

#include <random>

#include "rows/block_source.h"
#include "rows/csv_scanner.h"
#include "rows/obvious_parser.h"

namespace Orlo {
namespace {

using testing_support::block_source;
using testing_support::dialect;
using testing_support::parse_obviously;
using testing_support::parsed_text;

enum class reading { owned_cells, views };

/// Reads all rows until the end or a failure, which is told by its text's last line.
parsed_text read_all(CCsvParser& parser, reading how) {
    parsed_text result;
    row_cells row{"left over"_lit, "from before"};
    csv_rows_view views;
    try {
        if (how == reading::owned_cells) {
            while (parser.GetNextRow(row)) {
                std::vector<std::string>& cells = result.rows.emplace_back();
                for (const stringEx& cell : row)
                    cells.emplace_back(cell.view());
            }
        }
        while (how == reading::views && parser.GetNextRows(views)) {
            EXPECT_NE(views.size(), 0);
            for (std::size_t i = 0; i < views.size(); ++i) {
                std::vector<std::string>& cells = result.rows.emplace_back();
                for (std::size_t cell = 0; cell < views[i].size(); ++cell)
                    cells.emplace_back(views[i][cell]);
            }
        }
        EXPECT_EQ(parser.GetRowCount(), result.rows.size());
        if (how == reading::owned_cells) {
            EXPECT_TRUE(row.empty());
        }
    } catch (const csvExp& failure) {
        const std::string_view text = failure.message();
        const std::string content(text.substr(std::min(text.size(), text.rfind("  content = ") + 12)));
        if (failure.code() == 5) {
            result.failure = "quota";
        } else if (text.find("the last qouted") != text.npos) {
            result.failure = "unclosed: " + content;
        } else {
            result.failure = std::string("quoting: ") + text[text.find("  char    = ") + 12] + content;
            if (how == reading::owned_cells) {
                EXPECT_EQ(row.back().view(), content) << "the cell is in the row";
            }
        }
    }
    return result;
}

parsed_text read_source(std::string_view text, const dialect& d, std::uint32_t block, reading how) {
    CCsvParser parser;
    const auto source = shared_ptr<block_source>::make(text);
    parser.Attach(source, d.delimiter, d.quote, stringEx(d.line_end.c_str()), block);
    parser.SetRowQuota(d.quota);
    parsed_text result = read_all(parser, how);
    EXPECT_TRUE(source->ordered);
    return result;
}

parsed_text read_memory(std::string_view text, const dialect& d, reading how) {
    byteEx bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    CCsvParser parser;
    parser.Attach(bytes, d.delimiter, d.quote, stringEx(d.line_end.c_str()));
    parser.SetRowQuota(d.quota);
    return read_all(parser, how);
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
        const reading how = (text.size() + block) % 2 == 0 ? reading::owned_cells : reading::views;
        ASSERT_EQ(read_source(text, d, block, how), expected) << printable(text) << " block " << block;
    }
}

/// Calls `visit` with all texts over `alphabet` up to `length`.
template <class Visit>
void for_all_texts(std::string_view alphabet, std::size_t length, Visit&& visit) {
    std::string text;
    std::size_t number = 0;
    for (std::size_t size = 0; size <= length; ++size) {
        std::size_t texts = 1;
        for (std::size_t i = 0; i < size; ++i)
            texts *= alphabet.size();
        text.resize(size);
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

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__clang__)
// slower builds, and longer texts meet no new case of where blocks are cut
constexpr std::size_t LONGEST_TEXT = 5;
#else
constexpr std::size_t LONGEST_TEXT = 7;
#endif

TEST(CsvParser, AgreesWithTheObviousParserOnAllShortTextsAtEveryBlockSize) {
    for_all_texts("\",\r\na1", LONGEST_TEXT, [](const std::string& text, std::size_t) {
        check(text, {}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17});
    });
    for_all_texts("\",\r\na1", 5, [](const std::string& text, std::size_t) {
        ASSERT_EQ(read_memory(text, {}, reading::owned_cells), parse_obviously(text, {})) << printable(text);
        ASSERT_EQ(read_memory(text, {}, reading::views), parse_obviously(text, {})) << printable(text);
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
            ASSERT_EQ(read_memory(text, d, reading::views), parse_obviously(text, d)) << printable(text);
        });
    }
}

// Both scanners, side by side, on texts far longer than a word of the index, a slab of it, and a block.
TEST(CsvParser, AgreesOnLongRandomTexts) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        std::string text;
        const std::size_t size = random() % 40000;
        const unsigned marks = 2 + random() % 60;
        while (text.size() < size) {
            switch (random() % marks) {
                case 0:
                    text += ',';
                    break;
                case 1:
                    text += random() % 3 == 0 ? "\r\n" : ",\"a, \"\"b\"\"\r\n\",";
                    break;
                default:
                    text += static_cast<char>('0' + random() % 70);
            }
        }
        const std::uint32_t block = 1 + random() % 10000;
        check(text, {.quota = round % 4 == 0 ? random() % 30000 : 0xFFFF}, {block, block + 1});
        ASSERT_EQ(read_memory(text, {}, reading::views), parse_obviously(text, {}));
    }
}

/// What a scanner tells of `text`, scanned up to each of `limits` in turn: the rows' cells, where it stands
/// when there are no rows to take, and how it stopped.
std::string scan_all(IMPL::csv_scanner& scanner, const std::string& text,
                     std::initializer_list<std::size_t> limits) {
    using stop = IMPL::csv_scanner::stop;
    std::string told;
    for (const std::size_t limit : limits) {
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

// The fast scanner, with each set of instructions that this machine has, finds what the plain one finds and
// stops alike, wherever the bytes are cut, at the front of a word and across two.
TEST(CsvScanner, PlainAndFastAgreeAtEveryCut) {
    using IMPL::instructions;
    for_all_texts("\",\ra", 6, [](const std::string& short_text, std::size_t number) {
        const std::string text = std::string(number % 2 == 0 ? 0 : 61, 'x') + short_text;
        for (std::size_t cut = text.size() - short_text.size(); cut <= text.size(); ++cut) {
            IMPL::csv_scanner plain;
            plain.set_marks({'"', ',', '\r'}, number % 3);
            plain.use_plain();
            const std::string expected = scan_all(plain, text, {cut, text.size()});
            for (const auto with : {instructions::baseline, instructions::avx2, instructions::avx512}) {
                if (with > IMPL::best_instructions()) break;
                IMPL::csv_scanner fast;
                fast.set_marks({'"', ',', '\r'}, number % 3);
                fast.use(with);
                ASSERT_EQ(scan_all(fast, text, {cut, text.size()}), expected)
                    << printable(text) << ' ' << cut << " with " << static_cast<int>(with);
            }
        }
    });
}

// The same on long texts with quotes wherever they may be, up to the row that fails.
TEST(CsvScanner, PlainAndFastAgreeOnLongRandomTexts) {
    using IMPL::instructions;
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
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const std::size_t usual = round % 3 == 0 ? std::size(pieces) : round % 3 == 1 ? 5 : 3;
        while (text.size() < 3000) {
            text += pieces[random() % usual];
            text.append(random() % 12, 'y');
        }
        const std::size_t cut = random() % text.size();
        IMPL::csv_scanner plain;
        plain.set_marks({'"', ',', '\r'}, 1);
        plain.use_plain();
        const std::string expected = scan_all(plain, text, {cut, text.size()});
        for (const auto with : {instructions::baseline, instructions::avx2, instructions::avx512}) {
            if (with > IMPL::best_instructions()) break;
            IMPL::csv_scanner fast;
            fast.set_marks({'"', ',', '\r'}, 1);
            fast.use(with);
            ASSERT_EQ(scan_all(fast, text, {cut, text.size()}), expected) << static_cast<int>(with);
        }
    }
}

TEST(CsvParser, RowsOfTheQuotaPassAndOneMoreFails) {
    struct row {
        std::size_t length;
        const char* behind;
        bool passes;
    };
    const row rows[] = {
        {65535, "\r\n", true},  // the line end's first character is the last that fits
        {65536, "", true},      // at the end of the input nothing is checked
        {65536, "\r\n", false}, {65537, "", false}, {200000, "\r\n", false},
    };
    for (const row& r : rows) {
        const std::string text = std::string(r.length, 'x') + r.behind;
        EXPECT_EQ(read_source(text, {}, 8192, reading::views).failure, r.passes ? "" : "quota") << r.length;
        EXPECT_EQ(read_memory(text, {}, reading::owned_cells).failure, r.passes ? "" : "quota") << r.length;
    }
}

// Rows that wait in the scanner were found under the quota of before.
TEST(CsvParser, ANewQuotaHoldsFromTheNextRowOn) {
    struct row {
        std::uint64_t before, after;
        const char* second;  ///< none if it fails
    };
    // the second row takes nine bytes with its line end's first
    const row rows[] = {{100, 8, "q\"bbb"}, {100, 7, nullptr}, {5, 100, "q\"bbb"}, {5, 5, nullptr}};
    for (const row& r : rows) {
        const auto source = shared_ptr<block_source>::make("\"\"\"\"\r\n\"q\"\"bbb\"\r\ncc\r\n");
        CCsvParser parser;
        parser.Attach(source);
        parser.SetRowQuota(r.before);
        row_cells cells;
        ASSERT_TRUE(parser.GetNextRow(cells));
        EXPECT_EQ(cells[0], "\"");
        parser.SetRowQuota(r.after);
        if (r.second == nullptr) {
            EXPECT_THROW(parser.GetNextRow(cells), csvExp) << r.after;
            continue;
        }
        csv_rows_view views;
        ASSERT_TRUE(parser.GetNextRows(views));
        EXPECT_EQ(views[0][0], r.second);
        parser.SetRowQuota(1);
        EXPECT_EQ(views[0][0], r.second) << "rows live until the next are read";
        if (views.size() == 1) {
            EXPECT_THROW(parser.GetNextRows(views), csvExp);
        }
        EXPECT_EQ(source->reads, 1);
    }
}

// A block is read by the row that needs its bytes, be it only for the rest of its line end.
TEST(CsvParser, ReadsNoBlockBeforeARowNeedsIt) {
    const auto attached = [](CCsvParser& parser) {
        const auto source = shared_ptr<block_source>::make("a\r\nb\r\ncc\r\nd");
        parser.Attach(source, ',', '"', "\r\n"_lit, 5);
        return source;
    };
    CCsvParser one_by_one;
    const auto source = attached(one_by_one);
    row_cells row;
    for (const int reads : {1, 2, 2, 3}) {
        ASSERT_TRUE(one_by_one.GetNextRow(row));
        EXPECT_EQ(source->reads, reads) << row[0];
    }
    // the row whose line end is cut comes alone
    CCsvParser together;
    const auto same = attached(together);
    csv_rows_view rows;
    const std::pair<std::string_view, int> firsts[] = {{"a", 1}, {"b", 2}, {"cc", 2}, {"d", 3}};
    for (const auto& [first, reads] : firsts) {
        ASSERT_TRUE(together.GetNextRows(rows));
        EXPECT_EQ(rows.size(), 1);
        EXPECT_EQ(rows[0][0], first);
        EXPECT_EQ(same->reads, reads) << first;
    }
}

TEST(CsvParser, FailureTexts) {
    struct row {
        std::string_view text;
        std::int32_t code;
        const char* message;
        std::size_t cells_left;
    };
    const row rows[] = {
        {"k,\"a \"\"q\"\"\"b", 1,
         "CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n"
         "  char    = b (0x62)\n  expect  = ,\n  content = a \"q\"",
         2},
        {"\"a\"\xE9", 1,
         "CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n"
         "  char    = \xE9 (0xffffffe9)\n  expect  = ,\n  content = a",
         1},
        {std::string_view("\"a\"\0", 4), 1,
         "CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n"
         "  char    = @ (0)\n  expect  = ,\n  content = a",
         1},
        {"x,y,\"a\"\"\r\n,", 1,
         "CCsvParser::GetNextRow - the last qouted field is not closed correctly\n  content = a\"\r\n,", 2},
        {"a,b,0123456789", 5, "CCsvParser::GetNextRow - out of row length quota\n  current quota = 8", 2},
    };
    for (const row& r : rows) {
        byteEx bytes(reinterpret_cast<const unsigned char*>(r.text.data()), r.text.size());
        CCsvParser parser;
        parser.Attach(bytes);
        if (r.code == 5) parser.SetRowQuota(8);
        row_cells cells;
        try {
            parser.GetNextRow(cells);
            ADD_FAILURE() << r.message;
        } catch (const csvExp& failure) {
            std::string message(failure.message().view());
            std::replace(message.begin(), message.end(), '\0', '@');
            EXPECT_EQ(message, r.message);
            EXPECT_EQ(failure.code(), r.code);
            EXPECT_EQ(cells.size(), r.cells_left) << r.message;
        }
    }
}

TEST(CsvParser, KeptCellsAreNotTouchedByLaterRows) {
    CCsvParser parser;
    parser.Attach(shared_ptr<block_source>::make("aaaa,b\r\ncc,dddd\r\n,\r\n"));
    row_cells row;
    ASSERT_TRUE(parser.GetNextRow(row));
    const row_cells kept = row;
    ASSERT_TRUE(parser.GetNextRow(row));
    EXPECT_EQ(row, (row_cells{"cc", "dddd"}));
    const char* const storage = row[1].data();
    EXPECT_EQ(kept, (row_cells{"aaaa", "b"}));
    ASSERT_TRUE(parser.GetNextRow(row));
    EXPECT_EQ(row, (row_cells{"", ""}));
    EXPECT_EQ(row[1].data(), storage) << "storage that nobody else holds is used again";
}

}  // namespace
}  // namespace Orlo

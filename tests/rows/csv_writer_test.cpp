#include "orlo/rows/csv_writer.h"

#include <gtest/gtest.h>

#include <random>

#include "orlo/rows/csv_parser.h"
#include "rows/block_source.h"

namespace Orlo {
namespace {

/// Takes what it is given, at most `most` bytes a call, and remembers the calls.
class recording_sink final : public TDataSink {
public:
    bool IsOpen() const override { return true; }
    int GetKind() const override { return 99; }
    std::size_t Write(const void* buffer, std::size_t size) override {
        if (failing) throw ioExp("no more"_lit, 1);
        const std::size_t taken = std::min(size, most);
        writes.emplace_back(static_cast<const char*>(buffer), taken);
        return taken;
    }
    void Flush() override {}

    std::string all() const {
        std::string text;
        for (const std::string& write : writes)
            text += write;
        return text;
    }

    std::vector<std::string> writes;
    std::size_t most = SIZE_MAX;
    bool failing = false;
};

using rows = std::vector<row_cells>;

TEST(CsvWriter, QuotesByMode) {
    struct row {
        rows input;
        const char* by_mode[3];
    };
    const row table[] = {
        {{}, {"", "", ""}},
        {{{"a", "b"}, {"c"}}, {"a,b\r\nc", "a,b\r\nc", "\"a\",\"b\"\r\n\"c\""}},
        {{{"", ""}}, {",", "\"\",\"\"", "\"\",\"\""}},
        {{{""}, {""}}, {"\r\n", "\"\"\r\n\"\"", "\"\"\r\n\"\""}},
        {{{}, {"a"}, {}}, {"\r\na\r\n", "\r\na\r\n", "\r\n\"a\"\r\n"}},
        {{{"a,b", "a\"b", "a\nb", "a\rb"}},
         {"\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\"", "\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\"",
          "\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\""}},
        {{{"a;b c\tд"}}, {"a;b c\tд", "a;b c\tд", "\"a;b c\tд\""}},
    };
    for (const row& r : table) {
        for (std::uint32_t mode = 0; mode < 3; ++mode) {
            const auto sink = shared_ptr<recording_sink>::make();
            byteEx memory;
            {
                CCsvWriter to_sink;
                to_sink.Attach(sink, ',', '"', "\r\n"_lit, 4);
                to_sink.SetQuoting(static_cast<csv_quoting>(mode));
                CCsvWriter to_memory;
                to_memory.Attach(memory);
                to_memory.SetQuoting(static_cast<csv_quoting>(mode));
                for (const row_cells& cells : r.input) {
                    to_sink.WriteRow(cells);
                    to_memory.WriteRow(cells);
                }
                EXPECT_EQ(to_sink.GetRowsWritten(), r.input.size());
            }
            EXPECT_EQ(sink->all(), r.by_mode[mode]);
            EXPECT_EQ(std::string(memory.begin(), memory.end()), r.by_mode[mode]);
        }
    }
}

// When a block is handed over: in front of a line end or an unquoted cell that would fill it, and in the
// middle of a quoted cell.
TEST(CsvWriter, HandsBlocksOverAtTheirSize) {
    struct row {
        rows input;
        std::vector<std::string> writes;
    };
    const row table[] = {
        {{{"123456"}}, {"123456"}},
        {{{"1234567"}}, {"1234567"}},
        {{{"12", "34", "56"}}, {"12,34,", "56"}},
        {{{"12345"}, {"6"}}, {"12345\r\n", "6"}},
        {{{"123456789012", "3"}}, {"123456789012,", "3"}},
        {{{"1", "123456789012"}}, {"1,", "123456789012"}},
        {{{"a,b\"c,d,e"}}, {"\"a,b\"\"c,", "d,e\""}},
        {{{"123,567"}}, {"\"123,567", "\""}},
    };
    for (const row& r : table) {
        const auto sink = shared_ptr<recording_sink>::make();
        {
            CCsvWriter writer;
            writer.Attach(sink, ',', '"', "\r\n"_lit, 8);
            for (const row_cells& cells : r.input)
                writer.WriteRow(cells);
        }
        EXPECT_EQ(sink->writes, r.writes);
    }
}

TEST(CsvWriter, FailuresOfTheSink) {
    const auto sink = shared_ptr<recording_sink>::make();
    CCsvWriter writer;
    writer.Attach(sink);
    writer.WriteRow(row_cells{"abc", "def"});
    sink->failing = true;
    EXPECT_THROW(writer.Flush(), ioExp);
    sink->failing = false;
    sink->most = 3;
    writer.Flush();
    EXPECT_EQ(sink->writes, (std::vector<std::string>{"abc", ",de", "f"}))
        << "short writes go on, nothing is lost";

    writer.WriteRow(row_cells{"x"});
    sink->most = 0;
    try {
        writer.Flush();
        ADD_FAILURE() << "a sink that takes nothing must not hang the writer";
    } catch (const csvExp& failure) {
        EXPECT_EQ(failure.message(), "CCsvWriter::Flush - the sink accepts no more bytes");
        EXPECT_EQ(failure.code(), 6);
    }
    sink->most = SIZE_MAX;

    sink->failing = true;
    const auto destroy = [&sink](bool in_flight) {
        CCsvWriter pending;
        pending.Attach(sink);
        pending.WriteRow(row_cells{"pending"});
        if (in_flight) throw dirExp("first"_lit, 1);
    };
    EXPECT_THROW(destroy(false), ioExp);
    EXPECT_THROW(destroy(true), dirExp);
    sink->failing = false;
}

TEST(CsvWriter, AttachWritesOutWhatWasPending) {
    const auto first = shared_ptr<recording_sink>::make();
    CCsvWriter writer;
    writer.Attach(first);
    writer.WriteRow(row_cells{"a"});
    byteEx memory(reinterpret_cast<const unsigned char*>("old"), 3);
    writer.Attach(memory, ';', '\'', ""_lit);
    EXPECT_EQ(first->all(), "a");
    writer.WriteRow(row_cells{"x", "it's"});
    writer.WriteRow(row_cells{"y\r"});
    EXPECT_EQ(std::string(memory.begin(), memory.end()), "x;'it''s'\ny\r");
}

// Random rows survive writing and reading in every quoting mode, at random block sizes.
TEST(CsvWriter, RoundTripsThroughTheParser) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 600; ++round) {
        rows written(1 + random() % 8);
        for (row_cells& row : written) {
            row.resize(1 + random() % 6);
            for (stringEx& cell : row) {
                for (std::size_t n = random() % 12; n != 0; --n)
                    cell.append("\",\r\nab1 "[random() % 8]);
            }
            // a row of one empty cell at the end leaves no trace without quotes
            if (round % 3 == 0 && row.size() == 1 && row[0].empty()) row[0].append('x');
        }
        const auto sink = shared_ptr<recording_sink>::make();
        {
            CCsvWriter writer;
            writer.Attach(sink, ',', '"', "\r\n"_lit, 1 + random() % 40);
            writer.SetQuoting(static_cast<csv_quoting>(round % 3));
            for (const row_cells& row : written)
                writer.WriteRow(row);
        }
        const std::string text = sink->all();
        CCsvParser parser;
        parser.Attach(shared_ptr<testing_support::block_source>::make(text), ',', '"', "\r\n"_lit,
                      1 + random() % 40);
        rows read;
        row_cells row;
        while (parser.GetNextRow(row))
            read.push_back(row);
        ASSERT_EQ(read, written) << text;
    }
}

}  // namespace
}  // namespace Orlo

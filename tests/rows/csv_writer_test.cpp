#include "orlo/rows/csv_writer.h"

#include <gtest/gtest.h>

#include <array>

#include "support/expect_throw.h"

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

    std::vector<std::string> writes;
    std::size_t most = SIZE_MAX;
    bool failing = false;
};

using rows = std::vector<row_cells>;

std::string written(const byteEx& bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(CsvWriter, QuotesByMode) {
    const std::pair<rows, std::array<const char*, 3>> table[] = {
        {{}, {"", "", ""}},
        {{{"a", "b"}, {"c"}}, {"a,b\r\nc", "a,b\r\nc", "\"a\",\"b\"\r\n\"c\""}},
        {{{""}, {"", ""}}, {"\r\n,", "\"\"\r\n\"\",\"\"", "\"\"\r\n\"\",\"\""}},
        {{{}, {"a"}, {}}, {"\r\na\r\n", "\r\na\r\n", "\r\n\"a\"\r\n"}},
        {{{"a,b", "a\"b", "a\nb", "a\rb"}},
         {"\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\"", "\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\"",
          "\"a,b\",\"a\"\"b\",\"a\nb\",\"a\rb\""}},
    };
    for (const auto& [input, by_mode] : table) {
        for (std::uint32_t mode = 0; mode < 3; ++mode) {
            byteEx memory;
            CCsvWriter writer;
            writer.Attach(memory);
            writer.SetQuoting(static_cast<csv_quoting>(mode));
            for (const row_cells& cells : input)
                writer.WriteRow(cells);
            EXPECT_EQ(writer.GetRowsWritten(), input.size());
            EXPECT_EQ(written(memory), by_mode[mode]);
        }
    }
}

// When a block is handed over: before a line end or an unquoted cell that would fill it, and in the middle of
// a quoted cell.
TEST(CsvWriter, HandsBlocksOverAtTheirSize) {
    const std::pair<rows, std::vector<std::string>> table[] = {
        {{{"12", "34", "56"}}, {"12,34,", "56"}},   {{{"12345"}, {"6"}}, {"12345\r\n", "6"}},
        {{{"123456"}, {"7"}}, {"123456", "\r\n7"}}, {{{"1", "123456789012"}}, {"1,", "123456789012"}},
        {{{"123,567"}}, {"\"123,567", "\""}},
    };
    for (const auto& [input, writes] : table) {
        const auto sink = shared_ptr<recording_sink>::make();
        {
            CCsvWriter writer;
            writer.Attach(sink, ',', '"', "\r\n"_lit, 8);
            for (const row_cells& cells : input)
                writer.WriteRow(cells);
        }
        EXPECT_EQ(sink->writes, writes);
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
    EXPECT_FAILURE(writer.Flush(), csvExp, csv_code::sink_full,
                   "CCsvWriter::Flush - the sink accepts no more bytes");
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
    EXPECT_EQ(first->writes, std::vector<std::string>{"a"});
    writer.WriteRow(row_cells{"x", "it's"});
    writer.WriteRow(row_cells{"y\r"});
    EXPECT_EQ(written(memory), "x;'it''s'\ny\r");
}

}  // namespace
}  // namespace Orlo

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <regex>

#include "isxf/slow_reader.h"
#include "orlo/isxf/reader.h"
#include "orlo/isxf/writer.h"
#include "support/expect_throw.h"
#include "support/project_folder.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace isxf_check;
using writer_to_memory = CISXFWriter<CMemBuffer>;
using write_action = std::function<void(writer_to_memory&)>;

std::string hex(std::string_view bytes) {
    std::string text;
    for (const unsigned char c : bytes) {
        char two[4];
        std::snprintf(two, sizeof two, "%02X ", c);
        text += two;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

std::string written(const write_action& write, std::int64_t bound = ISXF_NO_BOUND) {
    byteEx bytes;
    CMemBuffer cursor(&bytes);
    writer_to_memory writer(cursor, bound);
    write(writer);
    return {bytes.begin(), bytes.end()};
}

/// Writes through `put` and reads what was written through `get`, with just enough bound.
template <class Put, class Get>
auto there_and_back(Put put, Get get) {
    byteEx bytes;
    CMemBuffer out(&bytes), in(&bytes);
    writer_to_memory writer(out, ISXF_NO_BOUND);
    put(writer);
    CISXFReader<CMemBuffer> reader(in, static_cast<std::int64_t>(bytes.size()));
    auto value = get(reader);
    EXPECT_EQ(reader.GetCheckBound(), 0);
    EXPECT_EQ(in.Left(), 0u);
    return value;
}

template <class T>
std::vector<T> values_of() {
    if constexpr (std::is_floating_point_v<T>) {
        using limits = std::numeric_limits<T>;
        return {T{}, T{1}, T{-2.5}, limits::max(), limits::denorm_min(), limits::infinity()};
    } else if constexpr (std::is_integral_v<T>) {
        return {T{}, T{1}, T(0x8081828384858687), std::numeric_limits<T>::max()};
    } else {
        using unit = typename T::value_type;
        return {T{}, T(std::vector<unit>(1, unit('a')).data(), 1),
                T(std::vector<unit>(70000, unit(1)).data(), 70000)};
    }
}

/// Every item comes back as it was put, takes the bytes it should, and is skipped by those.
TEST(Isxf, EveryItemComesBack) {
#define ORLO_ROW(NAME, TAG, TYPE, ...)                                                                   \
    for (const TYPE& value : values_of<TYPE>()) {                                                        \
        const auto put = [&](auto& writer) { writer.Put##NAME(value); };                                 \
        EXPECT_EQ(there_and_back(put, [](auto& reader) { return reader.Get##NAME(); }), value) << #NAME; \
        there_and_back(put, [](auto& reader) { return reader.IgnoreNext(), 0; });                        \
        EXPECT_EQ(written(put).substr(0, 1),                                                             \
                  std::string(1, TAG < 128 && value == values_of<TYPE>().front() ? '\0' : char(TAG)));   \
    }
    ORLO_ISXF_NUMBERS(ORLO_ROW)
    ORLO_ISXF_TEXTS(ORLO_ROW)
    ORLO_ISXF_CODES(ORLO_ROW)
#undef ORLO_ROW
    for (const bool value : {false, true}) {
        EXPECT_EQ(there_and_back([&](auto& w) { w.PutBool(value); }, [](auto& r) { return r.GetBool(); }),
                  value);
    }
    const double nan = -std::nan("0x123");
    const double back =
        there_and_back([&](auto& w) { w.PutDouble(nan); }, [](auto& r) { return r.GetDouble(); });
    EXPECT_EQ(std::memcmp(&back, &nan, sizeof nan), 0);
    EXPECT_FALSE(std::signbit(
        there_and_back([](auto& w) { w.PutDouble(-0.0); }, [](auto& r) { return r.GetDouble(); })));
}

/// The page's examples are what the writer writes, and none of them is missing.
TEST(Isxf, ThePageIsRight) {
    static const unsigned char blob[] = {0xFF, 0x00};
#define ORLO_EXAMPLE(CALL)                          \
    {                                               \
#CALL, [](writer_to_memory & w) { w.CALL; } \
    }
    const std::pair<std::string, write_action> examples[] = {
        ORLO_EXAMPLE(PutVoid()),
        ORLO_EXAMPLE(PutInt8(200)),
        ORLO_EXAMPLE(PutInt16(258)),
        ORLO_EXAMPLE(PutInt32(1)),
        ORLO_EXAMPLE(PutInt32(0)),
        ORLO_EXAMPLE(PutInt64(0x0102030405060708)),
        ORLO_EXAMPLE(PutFloat(-2.5f)),
        ORLO_EXAMPLE(PutDouble(1.0)),
        ORLO_EXAMPLE(PutDouble(-0.0)),
        ORLO_EXAMPLE(PutLongDouble(1.0L)),
        ORLO_EXAMPLE(PutBool(true)),
        ORLO_EXAMPLE(PutBool(false)),
        ORLO_EXAMPLE(PutString("abc")),
        ORLO_EXAMPLE(PutString("")),
        ORLO_EXAMPLE(PutWString(L"A")),
        ORLO_EXAMPLE(PutBlob(blob, 2)),
        ORLO_EXAMPLE(PutCtrlCode(5)),
        ORLO_EXAMPLE(PutSegNumber(258)),
        ORLO_EXAMPLE(PutEnum(3)),
        ORLO_EXAMPLE(PutID(0)),
        ORLO_EXAMPLE(PutSize(4096)),
        ORLO_EXAMPLE(PutBigSize(4096)),
        ORLO_EXAMPLE(PutCommand(7)),
        ORLO_EXAMPLE(PutBigID(7)),
        ORLO_EXAMPLE(PutSmallID(7)),
        ORLO_EXAMPLE(PutTinyID(7)),
        ORLO_EXAMPLE(PutSmallEnum(3)),
        ORLO_EXAMPLE(PutSmallVersion(2)),
        ORLO_EXAMPLE(PutVersion(513)),
        ORLO_EXAMPLE(PutEofSegNumber()),
        ORLO_EXAMPLE(PutBigSegNumber(258)),
        ORLO_EXAMPLE(PutEofBigSegNumber()),
        ORLO_EXAMPLE(PutCompactCommand(7)),
    };
#undef ORLO_EXAMPLE
    std::ifstream page(testing_support::project_folder() / "docs/isxf.md");
    ASSERT_TRUE(page) << "docs/isxf.md is not there";
    std::map<std::string, std::string> told;
    const std::regex row(R"(.*`(Put[^`]*\))` \| `([0-9A-F ]+)` \|.*)");
    for (std::string line; std::getline(page, line);) {
        std::smatch found;
        if (std::regex_match(line, found, row)) told[found[1]] = found[2];
    }
    for (const auto& [call, write] : examples) {
        EXPECT_EQ(told[call], hex(written(write))) << call;
        told.erase(call);
    }
    for (const auto& [call, bytes] : told)
        ADD_FAILURE() << "the page shows " << call << ", which no test writes";
}

std::string bound_text(int size, int rest) {
    return "CISXFBasic::_CheckBound - buffer overflow\n  expected size = " + std::to_string(size) +
           "\n  check bound   = " + std::to_string(rest);
}

/// Nothing is written of an item that passes the bound, and one that just fits is.
TEST(Isxf, WriterKeepsToItsBound) {
    const struct {
        write_action write;
        int size;
    } rows[] = {
        {[](auto& w) { w.PutInt32(7); }, 5},       {[](auto& w) { w.PutInt32(0); }, 1},
        {[](auto& w) { w.PutString("abc"); }, 8},  {[](auto& w) { w.PutWString(L"abc"); }, 17},
        {[](auto& w) { w.PutLongDouble(1); }, 17}, {[](auto& w) { w.PutBool(true); }, 1},
        {[](auto& w) { w.PutEofSegNumber(); }, 1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(written(row.write, row.size).size(), row.size);
        byteEx bytes;
        CMemBuffer cursor(&bytes);
        writer_to_memory writer(cursor, row.size - 1);
        EXPECT_FAILURE(row.write(writer), isxfExp, isxf_code::overflow, bound_text(row.size, -1));
        EXPECT_EQ(writer.GetCheckBound(), 0);
        EXPECT_TRUE(bytes.empty());
    }
}

/// A sink that takes at most `most` bytes a time, and notes the calls.
struct noting_sink final : TDataSink {
    bool IsOpen() const override { return true; }
    int GetKind() const override { return 0; }
    void Flush() override {}
    std::size_t Write(const void* data, std::size_t size) override {
        const std::size_t taken = std::min(size, most);
        content.append(static_cast<const char*>(data), taken);
        calls += "+" + std::to_string(size);
        return taken;
    }
    std::size_t most = 100;
    std::string content, calls;
};

void write_some(auto& writer) {
    writer.PutInt32(0x11223344);
    writer.PutString("tea, green");
    writer.PutWString(L"\u00fc");
    writer.PutVoid();
    writer.PutEofSegNumber();
    writer.PutLongDouble(-1.5L);
}

/// The same bytes through every kind of sink, and past a buffer's end.
TEST(Isxf, SinksGetTheSameBytes) {
    const std::string expected = written([](auto& w) { write_some(w); });
    noting_sink whole, drops;
    CISXFWriter<TDataSink> writer(whole, ISXF_NO_BOUND);
    write_some(writer);
    EXPECT_EQ(hex(whole.content), hex(expected));
    EXPECT_EQ(whole.calls, "+1+4+1+4+10+1+4+4+1+1+1+16") << "tag, length and payload one write each";
    drops.most = 3;
    CISXFWriter<TDataSink> dripping(drops, ISXF_NO_BOUND);
    write_some(dripping);
    EXPECT_EQ(hex(drops.content), hex(expected)) << "short writes go on";
    drops.most = 0;
    EXPECT_FAILURE(dripping.PutVoid(), ioExp, io_code::sink_full,
                   "TDataSink::Write - the sink accepts no more bytes");

    const testing_support::temp_dir dir({{"file", ""}});
    CSysFile file;
    file.Open((dir / "file").c_str(), file_access::read_write);
    {
        CBufferedSeekableSink<CSysFile> sink(file, 16);
        CISXFWriter<CBufferedSeekableSink<CSysFile>> buffered(sink, ISXF_NO_BOUND);
        write_some(buffered);
    }
    EXPECT_EQ(hex(dir.content("file")), hex(expected));
    file.SeekBegin(0);
    CBufferedSeekableSource<CSysFile> source(file, 16);
    CISXFReader<CSysFile> reader(source, ISXF_NO_BOUND);
    const auto ops = operations_of(std::string("\0\3\0\0\012\0\0\013\0\4\0\0\0\032\0\0\010\0\0\3\0", 21));
    EXPECT_EQ(difference(expected, ISXF_NO_BOUND, ops, reader, [&] { return source.GetCurrentPos(); }), "");

    byteEx held(reinterpret_cast<const unsigned char*>("0123456789"), 10);
    held.clear();
    CMemBuffer past(&held, 3);
    CISXFWriter<CMemBuffer>(past, ISXF_NO_BOUND).PutTinyID(1);
    EXPECT_EQ(hex({reinterpret_cast<const char*>(held.data()), held.size()}), "00 00 00 89 01");
}

/// Good streams, cut and with bits flipped, and any bytes, under any sequence of operations and any bound.
TEST(Isxf, AgreesWithTheSlowReader) {
    std::mt19937 random(std::random_device{}());
    const auto seed = random();
    SCOPED_TRACE(seed);
    random.seed(seed);
    const std::string good = written([](auto& w) {
        write_some(w);
#define ORLO_PUT(NAME, TAG, TYPE, ...) w.Put##NAME(values_of<TYPE>()[2]);
        ORLO_ISXF_NUMBERS(ORLO_PUT)
        ORLO_ISXF_CODES(ORLO_PUT)
#undef ORLO_PUT
        w.PutBlob(std::vector<unsigned char>(500, 7).data(), 500);
        w.PutBool(true);
        w.PutEofBigSegNumber();
    });
    const auto agree = [](const std::string& stream, std::int64_t bound, const std::vector<operation>& ops) {
        const std::string wrong = difference(stream, bound, ops);
        EXPECT_EQ(wrong, "") << hex(stream.substr(0, 200));
        return wrong.empty();
    };
    const std::vector<operation> ignore_all(40, {operation::ignore});
    for (std::size_t size = 0; size <= good.size(); ++size) {
        if (!agree(good.substr(0, size), ISXF_NO_BOUND, ignore_all)) return;
        if (!agree(good, static_cast<std::int64_t>(size), ignore_all)) return;
    }
    for (int i = 0; i < 3000; ++i) {
        std::string program(3 * (random() % 30), ' ');
        for (char& c : program)
            c = static_cast<char>(random());
        std::string stream = good.substr(random() % good.size(), random() % good.size());
        if (i % 2 == 0) stream.resize(random() % 60);
        for (char& c : stream) {
            if (random() % (i % 2 == 0 ? 2 : 30) == 0)
                c = static_cast<char>(random() % 150 - (random() % 3 == 0) * 10);
        }
        const std::int64_t bound =
            random() % 3 == 0 ? ISXF_NO_BOUND : static_cast<std::int64_t>(random() % 100);
        if (!agree(stream, bound, operations_of(program))) return;
    }
}

/// Length fields that promise more than there is make no memory by themselves.
TEST(Isxf, LengthFieldsMakeNoMemory) {
    const testing_support::temp_dir dir({{"file", ""}});
    for (const std::uint32_t length : {0u, 1u, 1u << 31, 0xFFFFFFFFu}) {
        for (const char tag : {10, 11, 12}) {
            std::string stream(1, tag);
            stream.append(reinterpret_cast<const char*>(&length), 4).append(15, 'x');
            const std::vector<operation> ops = {{operation::get, static_cast<std::uint8_t>(tag)}};
            EXPECT_EQ(difference(stream, ISXF_NO_BOUND, ops), "") << length;
            EXPECT_EQ(difference(stream, 20, ops), "") << length;
            if (tag != 12 || length < 2) continue;
            dir.write_file("file", stream);
            CSysFile file;
            file.Open((dir / "file").c_str(), file_access::read);
            CBufferedSeekableSource<CSysFile> buffered(file, 8);
            EXPECT_LE(CISXFReader<CSysFile>(buffered, ISXF_NO_BOUND).GetBlob().capacity(), 64u);
            dripping_source dripping(stream);
            EXPECT_LE(CISXFReader<TDataSource>(dripping, ISXF_NO_BOUND).GetBlob().capacity(), 70000u);
        }
    }
    // what does arrive is all delivered, however it is found out how much there is
    std::string stream("\013\0\0\0\1", 5);
    for (int i = 0; i < 300001; ++i)
        stream += static_cast<char>(i ^ i >> 9);
    const std::vector<operation> ops = {{operation::get, 11}, {operation::get, 1}};
    EXPECT_EQ(difference(stream, ISXF_NO_BOUND, ops), "");
}

/// The old raw forms, with their test the wrong way round, and the forms over spans.
TEST(Isxf, RawBuffers) {
    const std::string text = written([](auto& w) { w.PutString("abc"); });
    const std::string wide = written([](auto& w) { w.PutWString(L"ab"); });
    const std::string blob =
        written([](auto& w) { w.PutBlob(reinterpret_cast<const unsigned char*>("abc"), 3); });
    const auto refused = [](const char* name, int requested, int supplied) {
        return "CISXFReader::Get" + std::string(name) +
               " - overflow: buffer too small\n  requested size = " + std::to_string(requested) +
               "\n  user supplied  = " + std::to_string(supplied);
    };
    const auto with = [](const std::string& stream, auto action) {
        dripping_source source(stream);
        CISXFReader<TDataSource> reader(source, ISXF_NO_BOUND);
        action(reader);
    };
    std::string to(100, '?');
    std::wstring wide_to(100, L'?');
    std::vector<unsigned char> blob_to(100, '?');
    with(text, [&](auto& r) {
        EXPECT_FAILURE(r.GetString(to.data(), 100), isxfExp, isxf_code::overflow, refused("String", 3, 100));
    });
    with(text,
         [&](auto& r) { EXPECT_FAILURE(r.GetString(to.data(), 3), isxfExp, 2, refused("String", 3, 3)); });
    with(text, [&](auto& r) { EXPECT_EQ(r.GetString(to.data(), 2), 3u); });
    EXPECT_EQ(to.substr(0, 5), std::string("abc\0?", 5));
    with(wide, [&](auto& r) {
        EXPECT_FAILURE(r.GetWString(wide_to.data(), 2), isxfExp, isxf_code::overflow,
                       refused("WString", 8, 8));
    });
    with(wide, [&](auto& r) { EXPECT_EQ(r.GetWString(wide_to.data(), 1), 2u); });
    EXPECT_EQ(wide_to.substr(0, 4), std::wstring(L"ab\0?", 4));
    with(blob, [&](auto& r) {
        EXPECT_FAILURE(r.GetBlob(blob_to.data(), 3), isxfExp, isxf_code::overflow, refused("Blob", 3, 3));
    });
    with(blob, [&](auto& r) { EXPECT_EQ(r.GetBlob(blob_to.data(), 2), 3u); });
    EXPECT_EQ(blob_to[3], '?');
    with(std::string(2, '\0'), [&](auto& r) {
        to[0] = 'x';
        EXPECT_EQ(r.GetString(to.data(), 0), 0u);
        EXPECT_EQ(to[0], 'x') << "no room for a terminator";
        EXPECT_EQ(r.GetString(to.data(), 1), 0u);
        EXPECT_EQ(to[0], '\0');
    });
}

/// A text that is read into gives up a block that others see, and is emptied by `Void`.
TEST(Isxf, FilledTextsAreTheirOwn) {
    const stringEx kept("a text of others");
    byteEx bytes;
    CMemBuffer out(&bytes), in(&bytes);
    writer_to_memory writer(out, ISXF_NO_BOUND);
    writer.PutString("abc");
    writer.PutVoid();
    CISXFReader<CMemBuffer> reader(in, ISXF_NO_BOUND);
    stringEx text = kept;
    reader.GetString(text);
    EXPECT_EQ(text, "abc");
    EXPECT_STREQ(text.c_str(), "abc");
    EXPECT_EQ(kept, "a text of others");
    reader.GetString(text);
    EXPECT_TRUE(text.empty());
}

}  // namespace
}  // namespace Orlo

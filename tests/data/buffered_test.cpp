#include "orlo/data/buffered.h"

#include <gtest/gtest.h>

#include <random>

#include "orlo/data/mem_source.h"
#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

namespace faults = testing_support::faults;

using source = CBufferedSeekableSource<CSysFile>;
using sink = CBufferedSeekableSink<CSysFile>;

constexpr std::uint64_t BUFFER_SIZES[] = {0, 1, 7, 8192};

byteEx bytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string text_of(const byteEx& content) {
    return {content.begin(), content.end()};
}

template <class From>
std::string read(From& from, std::size_t size) {
    std::string text(size, '?');
    text.resize(from.Read(text.data(), size));
    return text;
}

CSysFile opened(const std::string& path, file_access access) {
    CSysFile file;
    file.Open(path.c_str(), access, O_CREAT);
    return file;
}

/// A write at a position past the end of a buffer, and what is between then.
TEST(ByteIO, FillsTheGap) {
    const auto written_at = [](byteEx& buffer, std::int64_t position) {
        CByteIO io(&buffer);
        io.SeekBegin(position);
        io.Write("Z", 1);
        return text_of(buffer);
    };
    byteEx kept = bytes("0123456789");
    kept.clear();
    EXPECT_EQ(written_at(kept, 4), "0123Z") << "within the block: what it held";
    EXPECT_EQ(written_at(kept, 31), std::string("0123Z") + std::string(26, '\0') + "Z") << "a grown block";
    EXPECT_GE(kept.capacity(), 32u);

    byteEx fresh;
    fresh.reserve_for_write(40);
    EXPECT_EQ(written_at(fresh, 3), std::string("\0\0\0Z", 4)) << "new memory is nobody else's";

    const byteEx original = bytes("0123456789");
    byteEx share = original;
    EXPECT_EQ(written_at(share, 2), "01Z3456789");
    byteEx borrowed = byteEx::borrow(original.view());
    EXPECT_EQ(written_at(borrowed, 12), std::string("0123456789\0\0Z", 13));
    EXPECT_EQ(text_of(original), "0123456789") << "others' bytes are never written";
}

TEST(ByteIO, RefusesPositionsPastAllMemory) {
    byteEx buffer = bytes("abc");
    for (const std::int64_t position : {std::int64_t{-1}, std::int64_t{-4}, INT64_MAX, INT64_MIN}) {
        CByteIO io(&buffer);
        EXPECT_EQ(io.SeekBegin(position), position);
        EXPECT_TRUE(io.IsEof());
        EXPECT_EQ(read(io, 5), "");
        EXPECT_THROW(io.Write("ZZZZ", 4), std::bad_alloc) << position;
        EXPECT_EQ(io.GetCurrentPos(), position);
    }
    EXPECT_EQ(text_of(buffer), "abc");
}

/// Random operations on a buffer against those on a string.
TEST(ByteIO, WorksLikeAFile) {
    std::mt19937 random(std::random_device{}());
    const auto seed = random();
    SCOPED_TRACE(seed);
    random.seed(seed);
    byteEx buffer;
    CGenericSeekableSynth<CByteIO> io{CByteIO(&buffer)};
    TSeekableSource& reader = io;
    std::string model;
    std::size_t position = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::size_t size = random() % 20;
        const std::size_t target = random() % (model.size() + 1);
        switch (random() % 6) {
            case 0: {
                const std::string text(size, static_cast<char>('a' + i % 26));
                ASSERT_EQ(io.Write(text.data(), size), size);
                model.replace(position, size, text);
                position += size;
                break;
            }
            case 1:
                ASSERT_EQ(read(reader, size), model.substr(position, size));
                position = std::min(position + size, model.size());
                break;
            case 2:
                position = target;
                ASSERT_EQ(io.SeekBegin(static_cast<std::int64_t>(position)), position);
                break;
            case 3:
                ASSERT_EQ(io.SeekCurrent(static_cast<std::int64_t>(target - position)), target);
                position = target;
                break;
            case 4:
                ASSERT_EQ(io.SeekEnd(-static_cast<std::int64_t>(target)), model.size() - target);
                position = model.size() - target;
                break;
            default:
                ASSERT_EQ(reader.IsEof(), position >= model.size());
                ASSERT_EQ(io.GetCurrentPos(), position);
                ASSERT_EQ(io.GetSize(), model.size());
                break;
        }
    }
    EXPECT_TRUE(io.IsOpen());
    EXPECT_EQ(text_of(buffer), model);
}

TEST(MemSource, GivesAndSharesItsBytes) {
    struct own_bytes : CMemSource {
        using CMemSource::CMemSource;
        bool fill_itself() { return GetContent(m_bytes); }
    };
    const byteEx original = bytes("0123456789");
    own_bytes memory(original);
    EXPECT_EQ(memory.GetKind(), 6);
    EXPECT_STREQ(memory.GetDesc(), "Generic Seekable Data Source");
    EXPECT_EQ(read(memory, 4), "0123");
    EXPECT_TRUE(memory.fill_itself());
    byteEx content = bytes("dropped");
    EXPECT_TRUE(memory.GetContent(content));
    EXPECT_EQ(content.data(), original.data()) << "a share, not a copy";
    EXPECT_EQ(read(memory, 100), "456789");
    EXPECT_TRUE(memory.IsEof());
}

/// The reader's position by the rules: what is read ahead, and where the file really is.
struct read_ahead {
    std::string_view content;
    std::size_t buffer_size, position = 0, ahead = 0;

    std::string_view take(std::size_t size) {
        const std::string_view got = content.substr(std::min(position, content.size()), size);
        position += got.size();
        if (got.size() <= ahead) {
            ahead -= got.size();
        } else {
            const std::size_t more = size - ahead;
            const std::size_t before = position - (got.size() - ahead);
            ahead = more >= buffer_size ? 0 : std::min(before + buffer_size, content.size()) - position;
        }
        return got;
    }
    void move(std::size_t to) {
        position = to;
        ahead = 0;
    }
};

TEST(BufferedSource, ReadsWhatTheFileHolds) {
    std::mt19937 random(std::random_device{}());
    const auto seed = random();
    SCOPED_TRACE(seed);
    random.seed(seed);
    std::string content(20000, ' ');
    for (char& c : content)
        c = static_cast<char>(random());
    const testing_support::temp_dir dir({{"file", content}});
    for (const std::uint64_t size : BUFFER_SIZES) {
        SCOPED_TRACE(size);
        source reader(opened(dir / "file", file_access::read), size);
        EXPECT_STREQ(reader.GetDesc(), "Buffered Seekable Data Source");
        EXPECT_EQ(reader.GetKind(), 4);
        read_ahead model{content, size};
        for (int i = 0; i < 3000; ++i) {
            const std::size_t many = random() % (i % 10 == 0 ? 10000 : 20);
            const std::size_t target = random() % (content.size() + 10);
            switch (random() % 12) {
                case 0:
                    ASSERT_EQ(reader.SeekBegin(static_cast<std::int64_t>(target)), target);
                    model.move(target);
                    break;
                case 1:
                    reader.SeekEnd(10 - static_cast<std::int64_t>(target));
                    model.move(content.size() + 10 - target);
                    break;
                case 2: {
                    const std::size_t from = model.position + model.ahead;
                    const auto offset = static_cast<std::int64_t>(target - from);
                    ASSERT_EQ(reader.SeekCurrent(offset), offset == 0 ? model.position : target);
                    if (offset != 0) model.move(target);
                    break;
                }
                case 3:
                    ASSERT_EQ(reader.SeekCurrent(0), model.position);
                    ASSERT_EQ(reader.GetCurrentPos(), model.position);
                    ASSERT_EQ(reader.IsEof(), model.position >= content.size());
                    ASSERT_EQ(reader.GetSize(), content.size());
                    break;
                default:
                    ASSERT_EQ(read(reader, many), model.take(many));
                    break;
            }
        }
    }
}

/// A failed read or seek takes nothing, and one read is at most one of the file.
TEST(BufferedSource, LosesNothingInFailures) {
    const faults::clean_slate clean;
    const testing_support::temp_dir dir({{"file", "0123456789abcdef"}});
    source reader(opened(dir / "file", file_access::read), 8);
    faults::reset();
    EXPECT_EQ(read(reader, 6), "012345");
    EXPECT_EQ(faults::calls("read"), 1);
    for (const std::size_t size : {4, 12}) {
        faults::fail_next("read", EIO);
        EXPECT_THROW(read(reader, size), sysfileExp);
        EXPECT_EQ(reader.GetCurrentPos(), 6);
    }
    EXPECT_THROW(reader.SeekBegin(-1), sysfileExp);
    EXPECT_EQ(read(reader, 4), "6789");
    EXPECT_EQ(read(reader, 100), "abcdef");
    EXPECT_EQ(read(reader, 1), "");
}

TEST(BufferedSink, WritesWhatItWasGiven) {
    std::mt19937 random(std::random_device{}());
    const auto seed = random();
    SCOPED_TRACE(seed);
    random.seed(seed);
    for (const std::uint64_t size : BUFFER_SIZES) {
        SCOPED_TRACE(size);
        const testing_support::temp_dir dir;
        std::string model;
        {
            std::size_t position = 0;
            sink writer(opened(dir / "file", file_access::write), size);
            EXPECT_STREQ(writer.GetDesc(), "Buffered Seekable Data Sink");
            for (int i = 0; i < 3000; ++i) {
                std::string text(random() % (i % 10 == 0 ? 10000 : 20), static_cast<char>('a' + i % 26));
                const std::size_t target = random() % (model.size() + 1);
                switch (random() % 12) {
                    case 0:
                        position = target;
                        ASSERT_EQ(writer.SeekBegin(static_cast<std::int64_t>(target)), target);
                        break;
                    case 1:
                        ASSERT_EQ(writer.SeekCurrent(static_cast<std::int64_t>(target - position)), target);
                        position = target;
                        break;
                    case 2:
                        position = model.size();
                        ASSERT_EQ(writer.SeekEnd(0), position);
                        break;
                    case 3:
                        ASSERT_EQ(writer.GetSize(), model.size());
                        break;
                    default:
                        ASSERT_EQ(writer.Write(text.data(), text.size()), text.size());
                        model.replace(position, text.size(), text);
                        position += text.size();
                        ASSERT_EQ(writer.GetCurrentPos(), position);
                        break;
                }
            }
        }
        ASSERT_TRUE(dir.content("file") == model);
    }
}

/// How many system calls a run of writes takes, with a buffer of 8 bytes.
TEST(BufferedSink, KeepsSmallWrites) {
    const faults::clean_slate clean;
    const testing_support::temp_dir dir;
    const struct {
        std::vector<std::size_t> writes;
        int calls;
    } rows[] = {{{7}, 0}, {{8}, 1}, {{4, 3}, 0}, {{4, 4}, 1}, {{7, 7}, 1}, {{3, 8}, 2}, {{0}, 0}};
    for (const auto& row : rows) {
        sink writer(opened(dir / "file", file_access::write), 8);
        faults::reset();
        for (const std::size_t size : row.writes)
            writer.Write("0123456789", size);
        EXPECT_EQ(faults::calls("write"), row.calls) << row.writes.front();
        writer.Flush();
        EXPECT_EQ(faults::calls("fsync"), 1);
    }
}

/// A file that takes three bytes a time, and fails when it is full.
struct small_file {
    std::string* content;
    std::size_t most;
    bool IsOpen() const { return true; }
    std::size_t Write(const void* data, std::size_t size) {
        const std::size_t taken = std::min({size, std::size_t{3}, most - content->size()});
        content->append(static_cast<const char*>(data), taken);
        return taken;
    }
    void Flush() {}
    std::int64_t SeekBegin(std::int64_t) { return 0; }
    std::int64_t SeekCurrent(std::int64_t) { return 0; }
    std::int64_t SeekEnd(std::int64_t) { return 0; }
    std::int64_t GetCurrentPos() const { return 0; }
    std::int64_t GetSize() const { return 0; }
};

TEST(BufferedSink, KeepsWhatTheFileDoesNotTake) {
    const auto full = "TDataSink::Write - the sink accepts no more bytes";
    std::string content;
    {
        CBufferedSeekableSink<small_file> writer({&content, 1000}, 8);
        writer.Write("0123456", 7);
        writer.Write("789abcdefghij", 13);
        EXPECT_EQ(content, "0123456789abcdefghij") << "short writes go on";
    }
    content.clear();
    {
        std::size_t most = 5;
        struct growing : small_file {
            std::size_t* limit;
            std::size_t Write(const void* data, std::size_t size) {
                most = *limit;
                return small_file::Write(data, size);
            }
        };
        CBufferedSeekableSink<growing> writer({{&content, 0}, &most}, 8);
        writer.Write("012345", 6);
        EXPECT_FAILURE(writer.Write("678", 3), ioExp, io_code::sink_full, full);
        EXPECT_EQ(content, "01234");
        EXPECT_FAILURE(writer.FlushBuffer(), ioExp, io_code::sink_full, full);
        most = 100;
        writer.Write("9", 1);
    }
    EXPECT_EQ(content, "0123456789");
    EXPECT_FAILURE(CBufferedSeekableSink<small_file>({&content, 10}, 8).Write("x", 1), ioExp,
                   io_code::sink_full, full)
        << "thrown by the destructor";
    try {
        CBufferedSeekableSink<small_file> writer({&content, 10}, 8);
        writer.Write("x", 1);
        throw 1;  // which the destructor's failure must not join
    } catch (int) {
    }
}

}  // namespace
}  // namespace Orlo

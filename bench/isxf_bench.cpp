// A record of 4 integers, a double, 3 texts of 5 to 40 bytes and a blob of 100, a million times (or as often as
// the argument says): written and read in memory, next to msgpack-c and protobuf, and through a file. Every
// writer writes to memory that it has grown before; every reader reads into one record again and again and adds
// up something of each field. The records of a second are reported.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <msgpack.hpp>
#include <string>
#include <vector>

#include "orlo/isxf/reader.h"
#include "orlo/isxf/writer.h"
#include "record.pb.h"

using namespace Orlo;

namespace {

constexpr std::size_t BUFFER = 8192;
constexpr std::size_t KINDS = 64;  // different records, written in turn

std::string text_of(std::size_t seed, std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += static_cast<char>('a' + (seed + i * i) % 26);
    return text;
}

struct orlo_record {
    std::uint32_t a, b, d;
    std::uint64_t c;
    double price;
    stringEx name, place, note;
    byteEx blob;
};

struct standard_record {
    std::uint32_t a, b, d;
    std::uint64_t c;
    double price;
    std::string name, place, note;
    std::vector<char> blob;
    MSGPACK_DEFINE(a, b, c, d, price, name, place, note, blob)
};

template <class Text>
Text made(std::size_t seed, std::size_t length) {
    const std::string text = text_of(seed, length);
    using unit = typename Text::value_type;
    if constexpr (std::is_same_v<Text, std::vector<char>>) return {text.begin(), text.end()};
    return Text(reinterpret_cast<const unit*>(text.data()), text.size());
}
template <>
std::vector<char> made(std::size_t seed, std::size_t length) {
    const std::string text = text_of(seed, length);
    return {text.begin(), text.end()};
}

template <class Record>
std::vector<Record> records() {
    std::vector<Record> all(KINDS);
    for (std::size_t i = 0; i < KINDS; ++i) {
        Record& r = all[i];
        r.a = static_cast<std::uint32_t>(i * 0x01010101 + 70000);
        r.b = static_cast<std::uint32_t>(i * i + 300);
        r.c = i * 0x0102030405060708 + (std::uint64_t{1} << 40);
        r.d = static_cast<std::uint32_t>(i + 100000);
        r.price = 3.25 * static_cast<double>(i + 1);
        r.name = made<decltype(r.name)>(i, 5 + i % 36);
        r.place = made<decltype(r.place)>(i, 5 + (i * 7) % 36);
        r.note = made<decltype(r.note)>(i, 5 + (i * 13) % 36);
        r.blob = made<decltype(r.blob)>(i, 100);
    }
    return all;
}

template <class Record>
std::uint64_t sum_of(const Record& r) {
    return r.a + r.b + r.c + r.d + static_cast<std::uint64_t>(r.price) + r.name.size() + r.place.size() +
           r.note.size() + static_cast<unsigned char>(r.blob[99]);
}

template <class Writer>
void put(Writer& writer, const orlo_record& r) {
    writer.PutInt32(r.a);
    writer.PutInt32(r.b);
    writer.PutInt64(r.c);
    writer.PutInt32(r.d);
    writer.PutDouble(r.price);
    writer.PutString(r.name);
    writer.PutString(r.place);
    writer.PutString(r.note);
    writer.PutBlob(r.blob);
}

template <class Reader>
void get(Reader& reader, orlo_record& r) {
    r.a = reader.GetInt32();
    r.b = reader.GetInt32();
    r.c = reader.GetInt64();
    r.d = reader.GetInt32();
    r.price = reader.GetDouble();
    reader.GetString(r.name);
    reader.GetString(r.place);
    reader.GetString(r.note);
    reader.GetBlob(r.blob);
}

std::int64_t count_of(benchmark::State& state) {
    return state.range(0);
}
void report(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * count_of(state));
}

template <class Sink>
void put_all(benchmark::State& state, Sink& sink, const std::vector<orlo_record>& all) {
    CISXFWriter<Sink> writer(sink, ISXF_NO_BOUND);
    for (std::int64_t i = 0; i < count_of(state); ++i)
        put(writer, all[static_cast<std::size_t>(i) % KINDS]);
}
template <class Source, class Object>
void get_all(benchmark::State& state, Object& source, std::int64_t bound) {
    CISXFReader<Source> reader(source, bound);
    orlo_record record;
    std::uint64_t sum = 0;
    for (std::int64_t i = 0; i < count_of(state); ++i) {
        get(reader, record);
        sum += sum_of(record);
    }
    benchmark::DoNotOptimize(sum);
}

/// Times `work` after it has run once, so that memory has grown and the file's pages are there.
template <class Work>
void run_warm(benchmark::State& state, Work work) {
    work();
    for (auto _ : state)
        work();
    report(state);
}

// --- in memory -------------------------------------------------------------------------------------------------

void write_isxf(benchmark::State& state) {
    const auto all = records<orlo_record>();
    byteEx bytes;
    run_warm(state, [&] {
        bytes.clear();
        CMemBuffer cursor(&bytes);
        put_all(state, cursor, all);
        benchmark::DoNotOptimize(bytes.data());
    });
}

void read_isxf(benchmark::State& state) {
    byteEx bytes;
    CMemBuffer out(&bytes);
    put_all(state, out, records<orlo_record>());
    for (auto _ : state) {
        CMemBuffer cursor(&bytes);
        get_all<CMemBuffer>(state, cursor, static_cast<std::int64_t>(bytes.size()));
    }
    report(state);
}

void write_msgpack(benchmark::State& state) {
    const auto all = records<standard_record>();
    msgpack::sbuffer bytes;
    run_warm(state, [&] {
        bytes.clear();
        for (std::int64_t i = 0; i < count_of(state); ++i)
            msgpack::pack(bytes, all[static_cast<std::size_t>(i) % KINDS]);
        benchmark::DoNotOptimize(bytes.data());
    });
}

void read_msgpack(benchmark::State& state) {
    const auto all = records<standard_record>();
    msgpack::sbuffer bytes;
    for (std::int64_t i = 0; i < count_of(state); ++i)
        msgpack::pack(bytes, all[static_cast<std::size_t>(i) % KINDS]);
    for (auto _ : state) {
        standard_record record;
        std::uint64_t sum = 0;
        std::size_t at = 0;
        msgpack::zone zone;
        for (std::int64_t i = 0; i < count_of(state); ++i) {
            zone.clear();
            // texts stay where they are until they are copied to the record
            msgpack::unpack(zone, bytes.data(), bytes.size(), at, [](auto, auto, void*) {
                return true;
            }).convert(record);
            sum += sum_of(record);
        }
        benchmark::DoNotOptimize(sum);
    }
    report(state);
}

std::vector<isxf_bench::Record> messages() {
    std::vector<isxf_bench::Record> all;
    for (const standard_record& r : records<standard_record>()) {
        isxf_bench::Record& m = all.emplace_back();
        m.set_a(r.a);
        m.set_b(r.b);
        m.set_c(r.c);
        m.set_d(r.d);
        m.set_price(r.price);
        m.set_name(r.name);
        m.set_place(r.place);
        m.set_note(r.note);
        m.set_blob(r.blob.data(), r.blob.size());
    }
    return all;
}

/// Messages one after the other, each with its length of 4 bytes in front. Returns the bytes used.
std::size_t put_messages(benchmark::State& state, const std::vector<isxf_bench::Record>& all,
                         std::vector<std::uint8_t>& bytes) {
    std::size_t at = 0;
    for (std::int64_t i = 0; i < count_of(state); ++i) {
        const isxf_bench::Record& m = all[static_cast<std::size_t>(i) % KINDS];
        const auto size = static_cast<std::uint32_t>(m.ByteSizeLong());
        if (bytes.size() < at + size + 4) bytes.resize(2 * bytes.size() + size + 4);
        std::memcpy(bytes.data() + at, &size, 4);
        m.SerializeWithCachedSizesToArray(bytes.data() + at + 4);
        at += size + 4;
    }
    return at;
}

void write_protobuf(benchmark::State& state) {
    const auto all = messages();
    std::vector<std::uint8_t> bytes;
    run_warm(state, [&] {
        put_messages(state, all, bytes);
        benchmark::DoNotOptimize(bytes.data());
    });
}

void read_protobuf(benchmark::State& state) {
    std::vector<std::uint8_t> bytes;
    put_messages(state, messages(), bytes);
    for (auto _ : state) {
        isxf_bench::Record m;
        std::uint64_t sum = 0;
        std::size_t at = 0;
        for (std::int64_t i = 0; i < count_of(state); ++i) {
            std::uint32_t size;
            std::memcpy(&size, bytes.data() + at, 4);
            if (!m.ParseFromArray(bytes.data() + at + 4, static_cast<int>(size))) std::abort();
            at += size + 4;
            sum += m.a() + m.b() + m.c() + m.d() + static_cast<std::uint64_t>(m.price()) + m.name().size() +
                   m.place().size() + m.note().size() + static_cast<unsigned char>(m.blob()[99]);
        }
        benchmark::DoNotOptimize(sum);
    }
    report(state);
}

// --- through a file ----------------------------------------------------------------------------------------------

/// A file that is gone from its folder, and from the disk with the object.
CSysFile nameless_file() {
    const char* const folder = std::getenv("TMPDIR");
    const std::string path =
        std::string(folder != nullptr ? folder : "/tmp") + "/orlo_isxf_bench." + std::to_string(getpid());
    CSysFile file;
    file.Open(path.c_str(), file_access::read_write, O_CREAT | O_TRUNC);
    unlink(path.c_str());
    return file;
}

void write_isxf_file(benchmark::State& state) {
    const auto all = records<orlo_record>();
    CSysFile file = nameless_file();
    run_warm(state, [&] {
        file.SeekBegin(0);
        CBufferedSeekableSink<CSysFile> sink(file, BUFFER);
        put_all(state, sink, all);
    });
}

void read_isxf_file(benchmark::State& state) {
    CSysFile file = nameless_file();
    {
        CBufferedSeekableSink<CSysFile> sink(file, BUFFER);
        put_all(state, sink, records<orlo_record>());
    }
    const std::int64_t size = file.GetSize();
    for (auto _ : state) {
        file.SeekBegin(0);
        CBufferedSeekableSource<CSysFile> source(file, BUFFER);
        get_all<CSysFile>(state, source, size);
    }
    report(state);
}

/// What the system takes for the bytes alone, in blocks of the same size.
void read_file_alone(benchmark::State& state) {
    CSysFile file = nameless_file();
    {
        CBufferedSeekableSink<CSysFile> sink(file, BUFFER);
        put_all(state, sink, records<orlo_record>());
    }
    std::vector<char> block(BUFFER);
    for (auto _ : state) {
        file.SeekBegin(0);
        while (file.Read(block.data(), BUFFER) != 0)
            benchmark::DoNotOptimize(block.data());
    }
    report(state);
}

#define ORLO_COUNTS ->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond)
BENCHMARK(write_isxf) ORLO_COUNTS;
BENCHMARK(write_msgpack) ORLO_COUNTS;
BENCHMARK(write_protobuf) ORLO_COUNTS;
BENCHMARK(write_isxf_file) ORLO_COUNTS;
BENCHMARK(read_isxf) ORLO_COUNTS;
BENCHMARK(read_msgpack) ORLO_COUNTS;
BENCHMARK(read_protobuf) ORLO_COUNTS;
BENCHMARK(read_isxf_file) ORLO_COUNTS;
BENCHMARK(read_file_alone) ORLO_COUNTS;

}  // namespace

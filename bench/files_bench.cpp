// Many small writes and reads of one file through a buffer of 8192 bytes, against C stdio with a buffer of the
// same size (with its locks, and without) and with its own. Each case handles 16 MB in pieces of the argument's
// size; the bytes of a second are reported.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "orlo/data/buffered.h"

using namespace Orlo;

namespace {

constexpr std::size_t TOTAL = 16 << 20;
constexpr std::size_t BUFFER = 8192;

/// A file of `TOTAL` bytes that goes with the program.
struct bench_file {
    bench_file() {
        const char* const folder = std::getenv("TMPDIR");
        path = std::string(folder != nullptr ? folder : "/tmp") + "/orlo_files_bench." +
               std::to_string(getpid());
        std::FILE* const file = std::fopen(path.c_str(), "wb");
        const std::vector<char> content(TOTAL, 'x');
        if (file == nullptr || std::fwrite(content.data(), 1, TOTAL, file) != TOTAL) std::abort();
        std::fclose(file);
    }
    ~bench_file() { unlink(path.c_str()); }
    std::string path;
};

const bench_file FILE_OF_ALL;

template <class Step>
void run(benchmark::State& state, Step step) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (std::size_t left = TOTAL; left >= size; left -= size)
        step(size);
}

void count(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(TOTAL));
}

void write_orlo(benchmark::State& state) {
    char piece[4096] = {};
    for (auto _ : state) {
        CSysFile file;
        file.Open(FILE_OF_ALL.path.c_str(), file_access::write);
        CBufferedSeekableSink<CSysFile> sink(std::move(file), BUFFER);
        run(state, [&](std::size_t size) { sink.Write(piece, size); });
    }
    count(state);
}

void read_orlo(benchmark::State& state) {
    char piece[4096];
    for (auto _ : state) {
        CSysFile file;
        file.Open(FILE_OF_ALL.path.c_str(), file_access::read);
        CBufferedSeekableSource<CSysFile> source(std::move(file), BUFFER);
        run(state, [&](std::size_t size) {
            if (source.Read(piece, size) == 0) std::abort();
            benchmark::DoNotOptimize(piece);
        });
    }
    count(state);
}

template <class Step>
void run_stdio(benchmark::State& state, const char* mode, std::size_t buffer_size, Step step) {
    std::vector<char> buffer(buffer_size);
    for (auto _ : state) {
        std::FILE* const file = std::fopen(FILE_OF_ALL.path.c_str(), mode);
        if (buffer_size != 0) std::setvbuf(file, buffer.data(), _IOFBF, buffer_size);
        run(state, [&](std::size_t size) { step(file, size); });
        std::fclose(file);
    }
    count(state);
}

using transfer = std::size_t (*)(void*, std::size_t, std::size_t, std::FILE*);

void write_stdio(benchmark::State& state, decltype(&std::fwrite) call, std::size_t buffer_size) {
    char piece[4096] = {};
    run_stdio(state, "r+b", buffer_size,
              [&](std::FILE* file, std::size_t size) { call(piece, 1, size, file); });
}

void read_stdio(benchmark::State& state, transfer call, std::size_t buffer_size) {
    char piece[4096];
    run_stdio(state, "rb", buffer_size, [&](std::FILE* file, std::size_t size) {
        if (call(piece, 1, size, file) == 0) std::abort();
        benchmark::DoNotOptimize(piece);
    });
}

#define ORLO_SIZES ->Arg(1)->Arg(8)->Arg(37)->Arg(512)->Arg(4096)->Unit(benchmark::kMillisecond)
BENCHMARK(write_orlo) ORLO_SIZES;
BENCHMARK_CAPTURE(write_stdio, 8192, &std::fwrite, BUFFER) ORLO_SIZES;
BENCHMARK_CAPTURE(write_stdio, 8192_unlocked, &fwrite_unlocked, BUFFER) ORLO_SIZES;
BENCHMARK_CAPTURE(write_stdio, default, &std::fwrite, 0) ORLO_SIZES;
BENCHMARK(read_orlo) ORLO_SIZES;
BENCHMARK_CAPTURE(read_stdio, 8192, &std::fread, BUFFER) ORLO_SIZES;
BENCHMARK_CAPTURE(read_stdio, 8192_unlocked, &fread_unlocked, BUFFER) ORLO_SIZES;
BENCHMARK_CAPTURE(read_stdio, default, &std::fread, 0) ORLO_SIZES;

}  // namespace

// Merging 100,000 files of about 100 bytes, by tallycsv and by mawk, which reads the paths from a list. What counts
// is what one more file costs. The files are made in a temporary folder (TMPDIR says where).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "run_program.h"

namespace {

namespace fs = std::filesystem;

constexpr int FILES = 100'000;

/// A folder "in" of small files, and the list of their paths beside it.
class small_files {
public:
    small_files() {
        std::string name = (fs::temp_directory_path() / "small_files.XXXXXX").string();
        root_ = ::mkdtemp(name.data());
        fs::create_directory(root_ / "in");
        std::mt19937 random(1);
        std::ofstream list(root_ / "list");
        for (int i = 0; i < FILES; ++i) {
            std::string rows;
            while (rows.size() < 85)
                rows += "k" + std::to_string(random() % 50) + ",g" + std::to_string(random() % 9) + "," +
                        std::to_string(random() % 100'000) + "," + std::to_string(random() % 1'000) + "\r\n";
            const fs::path path = root_ / "in" / ("file_" + std::to_string(i) + ".csv");
            std::ofstream(path) << rows;
            list << path.string() << "\n";
        }
    }
    small_files(const small_files&) = delete;
    small_files& operator=(const small_files&) = delete;
    ~small_files() { fs::remove_all(root_); }

    std::string operator/(const char* name) const { return (root_ / name).string(); }

private:
    fs::path root_;
};

const small_files& files() {
    static const small_files made;
    return made;
}

void tallycsv(benchmark::State& state) {
    const std::string pattern = files() / "in/*.csv", output = "-o:" + (files() / "out.csv");
    for (auto _ : state)
        if (!run_program({TALLYCSV_BINARY, pattern, output})) state.SkipWithError("tallycsv failed");
}

void mawk(benchmark::State& state) {
    const std::string program = "BEGIN { FS = \",\"; while ((getline path < \"" + (files() / "list") +
                                "\") > 0) ARGV[ARGC++] = path } { k = $1 \",\" $2; a[k] += $3; b[k] += $4 } "
                                "END { for (k in a) printf \"%s,%.0f,%.0f\\n\", k, a[k], b[k] }";
    for (auto _ : state)
        if (!run_program({"mawk", program})) state.SkipWithError("mawk failed");
}

BENCHMARK(tallycsv)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(mawk)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

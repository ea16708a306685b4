// Listing 20,000 files in 421 folders, by `CDir::GetAllFiles` and by `find`, which is started anew each time; an
// empty folder shows what the start alone costs. The tree is made in a temporary folder.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "orlo/files/dir.h"
#include "run_program.h"

namespace {

namespace fs = std::filesystem;

constexpr int FILES = 20'000;
constexpr int FOLDERS = 20;

/// A folder with 20 folders of 20 each, over which the files are spread, and an empty one.
class tree {
public:
    tree() {
        std::string name = (fs::temp_directory_path() / "dir_list.XXXXXX").string();
        root_ = ::mkdtemp(name.data());
        std::vector<fs::path> folders{full()};
        for (int i = 0; i < FOLDERS; ++i) {
            const fs::path folder = full() / ("folder_" + std::to_string(i));
            folders.push_back(folder);
            for (int j = 0; j < FOLDERS; ++j)
                folders.push_back(folder / ("below_" + std::to_string(j)));
        }
        for (const fs::path& folder : folders)
            fs::create_directories(folder);
        for (std::size_t i = 0; i < FILES; ++i)
            std::ofstream(folders[i % folders.size()] / ("file_" + std::to_string(i) + ".csv"));
        fs::create_directory(root_ / "empty");
    }
    tree(const tree&) = delete;
    tree& operator=(const tree&) = delete;
    ~tree() { fs::remove_all(root_); }

    fs::path full() const { return root_ / "full"; }
    fs::path path(bool empty) const { return empty ? root_ / "empty" : full(); }

private:
    fs::path root_;
};

const tree& the_tree() {
    static const tree made;
    return made;
}

void list(benchmark::State& state, const char* mask, bool empty) {
    const std::string pattern = (the_tree().path(empty) / mask).string();
    Orlo::CDir here;
    here.Open(Orlo::stringEx("."));
    std::size_t count = 0;
    for (auto _ : state) {
        std::vector<Orlo::stringEx> files;
        count = here.GetAllFiles(files, Orlo::stringEx(pattern), true, true);
    }
    if (!empty && count != FILES && count != 0) state.SkipWithError("files were missed");
}

void find(benchmark::State& state, const char* mask, bool empty) {
    const std::string folder = the_tree().path(empty).string();
    for (auto _ : state)
        if (!run_program({"find", folder, "-type", "f", "-name", mask})) state.SkipWithError("find failed");
}

#define LISTING(FUNCTION)                                                                                  \
    BENCHMARK_CAPTURE(FUNCTION, all_match, "*.csv", false)->Unit(benchmark::kMillisecond)->UseRealTime();  \
    BENCHMARK_CAPTURE(FUNCTION, none_match, "*.txt", false)->Unit(benchmark::kMillisecond)->UseRealTime(); \
    BENCHMARK_CAPTURE(FUNCTION, empty_folder, "*", true)->Unit(benchmark::kMillisecond)->UseRealTime()
LISTING(list);
LISTING(find);

}  // namespace

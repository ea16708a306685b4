// Copies, trees and pipes next to the system's own: a file of 256 MB against `cp`, trees of 100,000 files in 1,010
// folders against `cp -a` and `rm -r`, each started anew, and a pipe between two processes against bare `read` and
// `write`. Works in a folder of its own in the one for temporary files (TMPDIR), which decides the file system.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "orlo/files/dir.h"
#include "orlo/files/pipe.h"

namespace Orlo {
namespace {

namespace fs = std::filesystem;

constexpr int FOLDERS = 10, SUB_FOLDERS = 100, FILES_EACH = 100;
constexpr std::size_t BIG_SIZE = 256 << 20;

/// The folder that the bench works in, with the tree and the file that are copied.
class workplace {
public:
    workplace() {
        std::string name = (fs::temp_directory_path() / "dir_ops.XXXXXX").string();
        root_ = ::mkdtemp(name.data());
        std::ofstream(path("big")) << std::string(BIG_SIZE, 'b');
        for (int i = 0; i < FOLDERS; ++i) {
            for (int j = 0; j < SUB_FOLDERS; ++j) {
                const fs::path folder = fs::path(path("tree")) / std::to_string(i) / std::to_string(j);
                fs::create_directories(folder);
                for (int k = 0; k < FILES_EACH; ++k)
                    std::ofstream(folder / ("file_" + std::to_string(k)))
                        << "a file of a few words, number " << k;
            }
        }
    }
    workplace(const workplace&) = delete;
    workplace& operator=(const workplace&) = delete;
    ~workplace() { fs::remove_all(root_); }

    std::string path(const char* name) const { return (root_ / name).string(); }

private:
    fs::path root_;
};

const workplace& place() {
    static const workplace made;
    return made;
}

stringEx at(const char* name) {
    return stringEx(place().path(name).c_str());
}

/// Runs a program of the system to its end.
void run(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t id = 0;
    int status = 1;
    if (::posix_spawnp(&id, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0 ||
        ::waitpid(id, &status, 0) != id || status != 0)
        std::abort();
}

/// Measures `action` alone; `before` and `after` are not counted.
template <class Before, class Action>
void measure(benchmark::State& state, Before&& before, Action&& action) {
    place();
    for (auto _ : state) {
        before();
        const auto start = std::chrono::steady_clock::now();
        action();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    fs::remove_all(place().path("copy"));
}

const auto no_copy = [] { fs::remove_all(place().path("copy")); };
const auto tree_copy = [] { CDir::DuplicateDir(at("tree"), at("copy")); };

void copy_file_orlo(benchmark::State& state) {
    measure(state, no_copy, [] { CDir::DuplicateFile(at("big"), at("copy")); });
}
void copy_file_cp(benchmark::State& state) {
    measure(state, no_copy, [] { run({"cp", place().path("big"), place().path("copy")}); });
}
void copy_tree_orlo(benchmark::State& state) {
    measure(state, no_copy, tree_copy);
}
void copy_tree_cp(benchmark::State& state) {
    measure(state, no_copy, [] { run({"cp", "-a", place().path("tree"), place().path("copy")}); });
}
void remove_tree_orlo(benchmark::State& state) {
    measure(state, tree_copy, [] { CDir::RemoveDir(at("copy"), true, true); });
}
void remove_tree_rm(benchmark::State& state) {
    measure(state, tree_copy, [] { run({"rm", "-r", place().path("copy")}); });
}

// --- pipes: blocks of the size that is the argument, a quarter of a gigabyte in all

/// Runs `write` in a child and `read` here.
template <class Write, class Read>
void between_processes(Write&& write, Read&& read) {
    const pid_t id = ::fork();
    if (id == 0) {
        write();
        ::_exit(0);
    }
    read();
    ::waitpid(id, nullptr, 0);
}

void pipe_orlo(benchmark::State& state) {
    std::vector<char> block(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        CPipe reader, writer;
        CPipe::CreatePair(&reader, &writer);
        between_processes(
            [&] {
                for (std::size_t done = 0; done < BIG_SIZE;)
                    done += writer.Write(block.data(), block.size());
            },
            [&] {
                writer.Close();
                while (reader.Read(block.data(), block.size()) > 0) {
                }
            });
    }
}
void pipe_bare(benchmark::State& state) {
    std::vector<char> block(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
        between_processes(
            [&] {
                for (std::size_t done = 0; done < BIG_SIZE;)
                    done += static_cast<std::size_t>(::write(ends[1], block.data(), block.size()));
            },
            [&] {
                ::close(ends[1]);
                while (::read(ends[0], block.data(), block.size()) > 0) {
                }
            });
        ::close(ends[0]);
    }
}

#define MEASURED(name) BENCHMARK(name)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1)
MEASURED(copy_file_orlo);
MEASURED(copy_file_cp);
MEASURED(copy_tree_orlo);
MEASURED(copy_tree_cp);
MEASURED(remove_tree_orlo);
MEASURED(remove_tree_rm);
BENCHMARK(pipe_orlo)
    ->Arg(512)
    ->Arg(4096)
    ->Arg(65536)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(pipe_bare)
    ->Arg(512)
    ->Arg(4096)
    ->Arg(65536)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace
}  // namespace Orlo

// Runs a fuzz target over stored inputs without a fuzzer: every argument is a file or a folder of files.
// Prints how many inputs were run; no input at all is a failure, so that a lost corpus does not pass.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> inputs_below(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool run(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<char> text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& path : inputs_below(argv[i])) {
            if (!run(path)) {
                return 1;
            }
            ++count;
        }
    }
    std::printf("%zu inputs run\n", count);
    return count == 0 ? 1 : 0;
}

#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace testing_support {

namespace fs = std::filesystem;

temp_dir::temp_dir(std::initializer_list<test_file> files) {
    const fs::path parent = fs::path(TALLYCSV_BINARY).parent_path() / "tmp";
    fs::create_directories(parent);
    path_ = (fs::canonical(parent) / "XXXXXX").string();
    EXPECT_TRUE(::mkdtemp(path_.data())) << path_;
    for (const auto& [name, content] : files)
        write_file(name, content);
}

temp_dir::~temp_dir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void temp_dir::write_file(std::string_view name, std::string_view content) const {
    const fs::path full = *this / name;
    fs::create_directories(full.parent_path());
    EXPECT_TRUE(std::ofstream(full, std::ios::binary) << content << std::flush) << full;
}

std::string temp_dir::content(std::string_view name) const {
    std::ifstream file(*this / name, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
}

std::string temp_dir::make_dir(std::string_view name) const {
    fs::create_directories(*this / name);
    return *this / name;
}

void temp_dir::make_link(std::string_view name, std::string_view target) const {
    fs::create_symlink(target, *this / name);
}

memory_dir::memory_dir() : path("/dev/shm/orlo_test_XXXXXX") {
    EXPECT_TRUE(::mkdtemp(path.data())) << path;
}

memory_dir::~memory_dir() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

}  // namespace testing_support

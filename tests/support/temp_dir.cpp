#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace testing_support {

namespace fs = std::filesystem;

temp_dir::temp_dir(const std::string& above) {
    const fs::path parent = above.empty() ? fs::path(TALLYCSV_BINARY).parent_path() / "tmp" : fs::path(above);
    fs::create_directories(parent);
    path_ = (fs::canonical(parent) / "XXXXXX").string();
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory " + path_);
}

temp_dir::~temp_dir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string temp_dir::write_file(std::string_view name, std::string_view content) const {
    const std::string full = *this / name;
    fs::create_directories(fs::path(full).parent_path());
    std::ofstream file(full, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + full);
    return full;
}

std::string temp_dir::read_file(std::string_view name) const {
    std::ifstream file(*this / name, std::ios::binary);
    EXPECT_TRUE(file) << "no file " << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string temp_dir::make_dir(std::string_view name) const {
    fs::create_directories(*this / name);
    return *this / name;
}

void temp_dir::make_link(std::string_view name, std::string_view target) const {
    fs::create_symlink(target, *this / name);
}

}  // namespace testing_support

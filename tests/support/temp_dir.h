#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace testing_support {

/// A file that a test needs: a name, which may begin with folders, and what is in it.
struct test_file {
    std::string name;
    std::string content = {};
};

/// A fresh directory in the build tree that goes away, with all in it, when the object does.
class temp_dir {
public:
    temp_dir(std::initializer_list<test_file> files = {});
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;
    ~temp_dir();

    /// The directory, without a final "/".
    const std::string& path() const noexcept { return path_; }
    /// The full path of a name in it.
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Makes or replaces a file, and the directories above it.
    void write_file(std::string_view name, std::string_view content = {}) const;
    /// The whole of a file; "(none)" if it is not there.
    std::string content(std::string_view name) const;
    /// Makes a directory, and those above it. Returns its full path.
    std::string make_dir(std::string_view name) const;
    /// Makes a symbolic link `name` to `target`.
    void make_link(std::string_view name, std::string_view target) const;

private:
    std::string path_;
};

/// A fresh directory on another file system, in memory, that goes away with the object.
struct memory_dir {
    memory_dir();
    memory_dir(const memory_dir&) = delete;
    memory_dir& operator=(const memory_dir&) = delete;
    ~memory_dir();

    std::string path;
};

/// Changes into a directory, and back when it goes.
class working_dir {
public:
    explicit working_dir(const std::string& path) { std::filesystem::current_path(path); }
    working_dir(const working_dir&) = delete;
    working_dir& operator=(const working_dir&) = delete;
    ~working_dir() { std::filesystem::current_path(before_); }

private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

}  // namespace testing_support

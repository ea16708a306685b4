#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "files/path_call.h"
#include "files/sys_file_open.h"
#include "orlo/files/dir.h"

namespace Orlo {

/// A name in an open folder, or without one a path.
struct folder_entry {
    int folder;
    stringEx name;

    explicit folder_entry(const stringEx& path) : folder(AT_FDCWD), name(path) {}
    folder_entry(int in, const std::string& called) : folder(in), name(std::string_view(called)) {}

    /// Calls `call(folder, name)`, which answers -1 on failure.
    template <class Call>
    int with(Call&& call) const {
        return call_with_path(name, [&](const char* text) { return call(folder, text); });
    }
    /// The status of the entry itself, no link followed.
    int status(struct stat& out) const {
        return with([&](int in, const char* text) { return ::fstatat(in, text, &out, AT_SYMLINK_NOFOLLOW); });
    }
    int remove(int flags = 0) const {
        return with([&](int in, const char* text) { return ::unlinkat(in, text, flags); });
    }
};

/// Which folder or file it is, under whatever name.
struct file_identity {
    std::uint64_t device = 0, number = 0;

    file_identity() = default;
    explicit file_identity(const struct stat& of) : device(of.st_dev), number(of.st_ino) {}
    friend bool operator==(const file_identity&, const file_identity&) = default;
};

/// The folders from a root down to where a walk stands, all open or within reach.
///
/// At most `most_open` of them are open: going down closes the highest one, and coming back up opens it again
/// by "..", which must lead to the same folder. So a chain may be longer than a path can be, and than the
/// process has descriptors. Links are never entered.
class folder_chain {
public:
    static constexpr std::size_t most_open = 12;

    folder_chain() = default;
    folder_chain(const folder_chain&) = delete;
    folder_chain& operator=(const folder_chain&) = delete;
    ~folder_chain();

    /// Opens the root, to which a link may lead. False with `errno` on failure.
    bool begin(const stringEx& path);
    /// Goes into a sub folder. False with `errno` on failure, and still where it was.
    bool enter(const std::string& name);
    /// Goes back up. False with `errno` if the folder above is not where it was.
    bool leave();

    /// How many folders it has; the root alone is 1.
    std::size_t depth() const noexcept { return levels_.size(); }
    int descriptor() const noexcept { return levels_.back().descriptor; }
    const std::string& name() const noexcept { return levels_.back().name; }
    const file_identity& identity() const noexcept { return levels_.back().identity; }
    const file_identity& root() const noexcept { return levels_.front().identity; }
    bool is_mount_point() const noexcept { return levels_.back().is_mount_point; }
    folder_entry entry(const std::string& called) const { return {descriptor(), called}; }

    /// The sub folders that the walk has still to enter.
    std::vector<std::string>& pending() noexcept { return levels_.back().pending; }
    /// True if a folder above this one is the same.
    bool has_met_itself() const noexcept;
    /// The path of an entry of the current folder, for a root that is called `root`.
    stringEx path_of(const stringEx& root, const std::string& called = {}) const;

private:
    struct level {
        std::string name;
        int descriptor;
        file_identity identity{};
        bool is_mount_point = false;
        std::vector<std::string> pending{};
    };

    bool push(const std::string& name, int descriptor);

    std::vector<level> levels_;
};

/// An open directory stream, closed in the end.
class folder_stream {
public:
    /// Reads the folder of an open descriptor, which stays the caller's.
    explicit folder_stream(int folder);
    folder_stream(const folder_stream&) = delete;
    folder_stream& operator=(const folder_stream&) = delete;
    ~folder_stream() { ::closedir(stream_); }

    /// The next entry but "." and "..", null at the end.
    const dirent* next();

private:
    DIR* stream_;
};

/// True if the entry of the folder is a folder itself and no link to one.
bool is_folder(int folder, const dirent& entry);

/// Gives each entry of an open folder but "." and ".." to `take(name, is_folder)`; no link is a folder. Throws
/// what `PosixReadDir` throws.
template <class Take>
void for_each_entry(int folder, Take&& take) {
    folder_stream stream(folder);
    while (const dirent* const entry = stream.next())
        take(std::string(entry->d_name), is_folder(folder, *entry));
}

}  // namespace Orlo

#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <string_view>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// What an entry of a folder is, links followed; unknown if that cannot be told.
enum class entry_kind { unknown, file, folder };

/// The kind of what `path` names, by its status.
entry_kind kind_by_status(const stringEx& path);

/// A folder that is read once, from beginning to end.
///
/// What most entries are is known from the folder itself; only links, and entries of file systems that keep no
/// types in folders, cost a status.
class dir_entries {
public:
    /// Opens the folder `path`, which ends in "/".
    explicit dir_entries(const stringEx& path);
    dir_entries(const dir_entries&) = delete;
    dir_entries& operator=(const dir_entries&) = delete;
    ~dir_entries();

    bool is_open() const noexcept { return stream_ != nullptr; }

    /// Goes to the next entry; false at the end. Throws `dirExp` 18.
    bool next();

    /// The entry's name, valid until the next step.
    std::string_view name() const noexcept { return entry_->d_name; }

    /// True for "." and "..".
    bool is_dots() const noexcept { return name() == "." || name() == ".."; }

    /// What the entry is.
    entry_kind kind();

    /// False if the entry is surely no symbolic link.
    bool may_be_link() const noexcept;

    /// The entry's full path.
    stringEx full_path() const;

    /// The status of the folder itself; all zeros if it may not be searched.
    const struct stat& status();

private:
    /// Whether entries can be reached at all: without the right to search a folder none has a status.
    bool searchable() { return status().st_mode != 0; }

    const stringEx path_;
    DIR* stream_ = nullptr;
    const dirent* entry_ = nullptr;
    struct stat status_ {};
    bool asked_ = false;
};

}  // namespace Orlo

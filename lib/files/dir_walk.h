#pragma once

#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "files/dir_entries.h"
#include "orlo/files/dir.h"

namespace Orlo {

/// What a walk looks for, and where it puts what it finds.
struct walk_request {
    const stringEx& mask;
    std::vector<stringEx>* files = nullptr;    ///< the matching files, each folder's before its sub folders'
    std::vector<stringEx>* folders = nullptr;  ///< the matching sub folders, in pre-order
    bool recursive = false;
    bool hidden = false;
    bool dots = false;
    bool ignore_errors = false;
    /// How many entries may be read again through links, besides 64 times what was read once.
    std::uint64_t repeats = 1'000'000;
};

/// One walk through a folder and those below it; see the head of the source.
class dir_walk {
public:
    explicit dir_walk(const walk_request& request);
    ~dir_walk();

    /// Walks from the folder `base`, a path that ends in "/", down. Throws `dirExp`: what went wrong, wrapped by
    /// each level above it in the failure of `CDir::GetAllSubDirs`. What was found before stays where it was
    /// put.
    void run(const stringEx& base);

private:
    struct sub_folder;
    struct level;

    void read(dir_entries& entries, std::uint64_t& count);
    void take(level& current, dir_entries& entries, bool& any_file) const;
    void descend(const sub_folder& entry);
    bool is_ignored() const;
    [[noreturn]] void raise_through(const rootExp& failure) const;

    const walk_request request_;
    std::vector<level> levels_;
    std::set<std::pair<dev_t, ino_t>> linked_{};  ///< the folders that were reached by links
    std::uint64_t read_once_ = 0;                 ///< entries of folders that were walked for the first time
    std::uint64_t read_again_ = 0;
};

}  // namespace Orlo

// The walk through a folder and those below it.
//
// Folders are walked in pre-order with a stack of levels instead of recursion, and a level is read to its end
// before its first sub folder is descended into, so that however deep the tree one folder is open at a time.
// /a with b and c, where b holds d:
//
//   levels [/a: b c]            deliver b, go down
//   levels [/a: c] [/a/b: d]    deliver d, go down, find nothing, come back up twice
//   levels [/a: c]              deliver c
//
// Files are delivered while their folder is read. A failure while a level is read is kept until the folders
// before it are done, as if they had been walked while reading. What leaves the walk is wrapped once by each
// level above the failure.
//
// Links. The system follows some 40 links in one path, so a folder with one link to itself is walked 41 times
// and the walk ends. With two such links there would be 2^41 paths. So a walk that has passed a link remembers
// the folders it has been in, and what it reads again is bounded by what it has read once: beyond that, the
// status of a folder that was walked before fails as it does when too many links follow each other.
//
// Costs no system call for an entry that is a plain file, and one status for a link; a folder is opened, asked
// for its own status and read.

#include "files/dir_walk.h"

#include <optional>

#include "files/path_call.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> SUB_DIRS_FAILED{{
    .code = dir_code::all_sub_dirs,
    .head = "CDir::GetAllSubDirs - failed find subdirs\n",
    .keys = {"  base dir = "},
}};

/// How often each entry may be read again, on average: more than the system follows links in one path.
constexpr std::uint64_t MOST_ROUNDS = 64;

/// The path of a folder, made as `CDir::Open` does. Throws what that throws.
stringEx opened_path(const stringEx& path) {
    CDir dir;
    dir.Open(path);
    return dir.GetPath();
}

}  // namespace

struct dir_walk::sub_folder {
    stringEx path;
    bool matches;
    bool dots;
    bool linked;  ///< there is a link on the way to it
};

/// One folder on the way down: its sub folders, how many of them are done, and what stopped the reading.
struct dir_walk::level {
    stringEx path;
    bool linked = false;
    std::vector<sub_folder> below{};
    std::size_t done = 0;
    std::optional<rootExp> failed{};
};

dir_walk::dir_walk(const walk_request& request) : request_(request) {}
dir_walk::~dir_walk() = default;

void dir_walk::run(const stringEx& base) {
    levels_.push_back({base});
    if (dir_entries entries(base); entries.is_open()) read(entries, read_once_);
    while (!levels_.empty()) {
        level& current = levels_.back();
        if (current.done < current.below.size()) {
            const sub_folder entry = std::move(current.below[current.done++]);
            if (request_.folders != nullptr && entry.matches) request_.folders->push_back(entry.path);
            if (request_.recursive && !entry.dots) descend(entry);
            continue;
        }
        if (current.failed && !is_ignored()) raise_through(*current.failed);
        levels_.pop_back();
    }
}

/// Reads the last level and counts its entries.
void dir_walk::read(dir_entries& entries, std::uint64_t& count) {
    level& current = levels_.back();
    bool any_file = false;
    try {
        for (; entries.next(); ++count)
            take(current, entries, any_file);
    } catch (const rootExp& failure) {
        current.failed = failure;
    }
    if (!current.failed || request_.files == nullptr || (request_.recursive && !is_ignored())) return;
    // a folder that fails before its first file counts as empty
    if (any_file) throw *current.failed;
    current.failed.reset();
}

void dir_walk::take(level& current, dir_entries& entries, bool& any_file) const {
    const std::string_view name = entries.name();
    const bool dots = entries.is_dots();
    if (dots ? !request_.dots : !request_.hidden && name.starts_with('.')) return;
    const bool matches = stringEx::borrow(name).wildcard_match(request_.mask.view());
    const bool wants_folders = request_.recursive || request_.folders != nullptr;
    if (!matches && !wants_folders && any_file) return;  // whatever it is
    switch (entries.kind()) {
        case entry_kind::unknown:
            break;
        case entry_kind::file:
            any_file = true;
            if (matches && request_.files != nullptr) request_.files->push_back(entries.full_path());
            break;
        case entry_kind::folder:
            if (!wants_folders) break;
            current.below.push_back(
                {entries.full_path(), matches, dots, current.linked || entries.may_be_link()});
            break;
    }
}

/// Adds a level for a sub folder, unless an error in it is passed over.
void dir_walk::descend(const sub_folder& entry) {
    stringEx path = entry.path;
    path.append('/');
    try {
        // a backslash in a name is taken for a separator when the folder is opened
        if (path.find(CDir::backslash) != stringEx::npos) path = opened_path(entry.path);
        dir_entries entries(path);
        if (!entries.is_open()) {
            opened_path(entry.path);  // a folder that may not be read has no entries, one that is gone fails
            return;
        }
        const bool again =
            entry.linked && !linked_.emplace(entries.status().st_dev, entries.status().st_ino).second;
        if (again && read_again_ > MOST_ROUNDS * read_once_ + request_.repeats) {
            if (request_.ignore_errors) return;
            raise_stat_failure(entry.path, ELOOP);
        }
        levels_.push_back({path, entry.linked});
        read(entries, again ? read_again_ : read_once_);
    } catch (const rootExp& failure) {
        if (!request_.ignore_errors) raise_through(failure);
        if (request_.files != nullptr) throw;  // its files cannot be listed
    }
}

/// True if what goes wrong in the last level is passed over.
bool dir_walk::is_ignored() const {
    return request_.ignore_errors && levels_.size() > 1;
}

void dir_walk::raise_through(const rootExp& failure) const {
    dirExp outer(failure.message(), failure.code());
    for (auto at = levels_.rbegin(); at != levels_.rend(); ++at)
        outer = dirExp(SUB_DIRS_FAILED.text({at->path, wrapped{outer}}), SUB_DIRS_FAILED.code);
    throw outer;
}

}  // namespace Orlo

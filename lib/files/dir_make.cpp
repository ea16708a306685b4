// Making directories. The missing levels are found from the path upwards and made from the top downwards:
// for /a/b/c with only /a there, c and b are noted, then b and c are made. Costs a status a level; the length
// limit of paths bounds the levels.

#include <climits>

#include "files/path_call.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> MAKE_NOTHING{{.code = dir_code::empty, .head = "CDir::MakeDir - nothing to make"}};
constexpr errno_sentence MAKE_SENTENCES[] = {
    {ENOENT, "a component of the dir prefix specified by path does not name an existing directory"},
    {EACCES, "permission denied"},
    {ENOTDIR, "a component of the path prefix is not a directory"},
    {ENOSPC, "the file system does not contain enough space to hold the new directory"},
    {EROFS, "the parent directory resides on a read-only file system"},
    {EMLINK, "The link count of the parent directory would exceed"},
    {ENAMETOOLONG, "the length of the dir path is too long"},
    {ELOOP, "a loop exists in symbolic links, or links level too deep"},
};
constexpr failure<dirExp> MAKE_FAILED{{
    .code = dir_code::make_dir,
    .head = "CDir::MakeDir - failed making directory\n",
    .keys = {"  dir to create = ", "  is recursive  = ", "  error code    = ", "  error desc    = "},
    .sentences = MAKE_SENTENCES,
}};

constexpr mode_t PERMISSIONS = 0777;

stringEx without_final_separator(const stringEx& path) {
    return path.ends_with(CDir::separator) ? path.substr(0, path.size() - 1) : path;
}

/// What lies above `path`; empty for a lone name and for a child of the root.
stringEx parent_of(const stringEx& path) {
    const std::size_t last = path.find_last(CDir::separator);
    return last == stringEx::npos ? stringEx() : path.substr(0, last);
}

}  // namespace

void CDir::MakeDir(const stringEx& path, bool recursive) {
    if (path.empty()) MAKE_NOTHING.raise();
    if (IsDir(path)) return;
    if (path.size() >= PATH_MAX) MAKE_FAILED.raise({path, recursive, system_error{ENAMETOOLONG}});

    std::vector<stringEx> missing{without_final_separator(CleanPath(path))};
    while (recursive) {
        const stringEx parent = parent_of(missing.back());
        if (parent.empty() || IsDir(parent)) break;
        missing.push_back(without_final_separator(parent));
    }
    for (; !missing.empty(); missing.pop_back()) {
        const stringEx& level = missing.back();
        const int made = call_with_path(level, [](const char* text) { return ::mkdir(text, PERMISSIONS); });
        if (made == 0) continue;
        const int error = errno;
        // another process may have made it meanwhile
        if (error != EEXIST || !IsDir(level)) MAKE_FAILED.raise({level, recursive, system_error{error}});
    }
}

}  // namespace Orlo

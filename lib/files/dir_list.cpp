// Enumeration.
//
// Sub directories are walked in pre-order with a stack of levels instead of recursion, and a level is read to
// its end before its first entry is descended into, so that however deep the tree one directory is open at a
// time. /a with b and c, where b holds d:
//
//   levels [/a: b c]            deliver b, go down
//   levels [/a: c] [/a/b: d]    deliver d, go down, find nothing, come back up twice
//   levels [/a: c]              deliver c
//
// A failure while a level is read is kept until the entries before it are done, as if they had been walked
// while reading. What leaves the walk is wrapped once by each level above the failure.
//
// Costs one status an entry that is not hidden, and one more a directory. The pattern is split into directory
// and mask once; the mask is never taken for a path again, so that it does not matter whether the working
// directory holds a directory of that name.

#include <optional>

#include "files/path_call.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> FILES_FAILED{{
    .code = 19,
    .head = "CDir::GetAllFiles - failed find files\n",
    .keys = {"  base dir = "},
}};
constexpr failure<dirExp> SUB_DIRS_FAILED{{
    .code = 20,
    .head = "CDir::GetAllSubDirs - failed find subdirs\n",
    .keys = {"  base dir = "},
}};

bool is_dots(std::string_view name) {
    return name == "." || name == "..";
}

bool name_matches(const stringEx& path, const stringEx& mask) {
    return path.wildcard_match(mask.view(), path.find_last(CDir::separator) + 1);
}

}  // namespace

// --- the cursor
// ----------------------------------------------------------------------------------------------

CDirCursor::CDirCursor(const CDirCursor& other) noexcept : stream_(other.stream_), owners_(other.owners_) {
    owners_.share();
}

CDirCursor::CDirCursor(CDirCursor&& other) noexcept
    : stream_(std::exchange(other.stream_, nullptr)), owners_(std::exchange(other.owners_, {})) {}

CDirCursor& CDirCursor::operator=(CDirCursor other) noexcept {
    std::swap(stream_, other.stream_);
    std::swap(owners_, other.owners_);
    return *this;
}

void CDirCursor::Close() noexcept {
    DIR* const stream = std::exchange(stream_, nullptr);
    if (owners_.release()) ::closedir(stream);
}

// --- one directory
// -------------------------------------------------------------------------------------------

bool CDir::_OpenCursor(CDirCursor& cursor) const {
    shared_count owners = shared_count::create();
    const int failed = call_with_path(path_, [&](const char* path) {
        cursor.stream_ = ::opendir(path);
        return cursor.stream_ != nullptr ? 0 : -1;
    });
    if (failed != 0) {
        owners.release();
        return false;
    }
    cursor.owners_ = owners;
    return true;
}

bool CDir::_NextEntry(CDirCursor& cursor, stringEx& out, bool wantDirs, bool includeHidden,
                      bool includeDots) const {
    out.clear();
    if (!cursor.IsOpen() && !_OpenCursor(cursor)) return false;
    while (const dirent* const entry = PosixReadDir(cursor.stream_)) {
        const std::string_view name = entry->d_name;
        const bool wanted = is_dots(name) ? wantDirs && includeDots : includeHidden || !name.starts_with('.');
        if (!wanted) continue;
        out.append(path_).append(name);
        struct stat status;
        if (stat_path(out, status) == 0 && S_ISDIR(status.st_mode) == wantDirs) return true;
        out.clear();
    }
    cursor.Close();
    return false;
}

bool CDir::NextFile(CDirCursor& cursor, stringEx& out, bool includeHidden) const {
    return _NextEntry(cursor, out, false, includeHidden, false);
}

bool CDir::NextSubDir(CDirCursor& cursor, stringEx& out, bool includeHidden, bool includeDots) const {
    return _NextEntry(cursor, out, true, includeHidden, includeDots);
}

// --- patterns
// ------------------------------------------------------------------------------------------------

/// A pattern taken apart: where to look, and for which names.
struct CDir::target {
    CDir dir;
    stringEx mask;
};

CDir::target CDir::_SplitPattern(const stringEx& pattern) const {
    const stringEx whole = pattern.empty() ? "*"_lit : pattern;
    stringEx dir = whole;
    GetPathDir(dir);
    if (dir == "./") return {*this, whole};

    target split{*this, whole};
    GetPathFilename(split.mask);
    if (split.mask.empty()) split.mask = "*"_lit;
    if (dir.starts_with(separator)) {
        split.dir.Open(dir);
    } else {
        split.dir.ChangeDir(dir);
    }
    return split;
}

// --- files
// ---------------------------------------------------------------------------------------------------

void CDir::_ListFiles(std::vector<stringEx>& files, const stringEx& mask, bool includeHidden) const {
    CDirCursor cursor;
    stringEx file;
    bool more = false;
    try {
        more = NextFile(cursor, file, includeHidden);
    } catch (const rootExp&) {
        return;  // a directory that cannot even be begun counts as empty
    }
    for (; more; more = NextFile(cursor, file, includeHidden)) {
        if (name_matches(file, mask)) files.push_back(std::move(file));
    }
}

std::size_t CDir::GetAllFiles(std::vector<stringEx>& files, const stringEx& pattern, bool recursive,
                              bool includeHidden, bool ignoreErrors) const {
    const auto [base, mask] = _SplitPattern(pattern);
    try {
        std::vector<stringEx> dirs;
        const bool keeps_separator = base.path_.size() < 2;  // the root is its separator
        dirs.push_back(base.path_.substr(0, base.path_.size() - (keeps_separator ? 0 : 1)));
        if (recursive) base._WalkSubDirs(dirs, "*"_lit, true, includeHidden, false, ignoreErrors);
        for (const stringEx& dir : dirs) {
            CDir visited;
            visited.Open(dir);
            visited._ListFiles(files, mask, includeHidden);
        }
    } catch (const rootExp& inner) {
        FILES_FAILED.raise({base.path_, wrapped{inner}});
    }
    return files.size();
}

// --- sub directories
// -----------------------------------------------------------------------------------------

/// One directory on the way down: its sub directories, how many of them are done, and what stopped the
/// reading.
struct CDir::level {
    CDir dir;
    std::vector<stringEx> entries{};
    std::size_t done = 0;
    std::optional<rootExp> failed{};

    level(CDir listed, bool includeHidden, bool includeDots) : dir(std::move(listed)) {
        CDirCursor cursor;
        stringEx entry;
        try {
            while (dir.NextSubDir(cursor, entry, includeHidden, includeDots))
                entries.push_back(std::move(entry));
        } catch (const rootExp& failure) {
            failed = failure;
        }
    }

    [[noreturn]] static void raise_through(const std::vector<level>& levels, const rootExp& failure) {
        dirExp outer(failure.message(), failure.code());
        for (auto at = levels.rbegin(); at != levels.rend(); ++at)
            outer = dirExp(SUB_DIRS_FAILED.text({at->dir.path_, wrapped{outer}}), SUB_DIRS_FAILED.code);
        throw outer;
    }
};

void CDir::_WalkSubDirs(std::vector<stringEx>& dirs, const stringEx& mask, bool recursive, bool includeHidden,
                        bool includeDots, bool ignoreErrors) const {
    std::vector<level> levels;
    levels.emplace_back(*this, includeHidden, includeDots);
    while (!levels.empty()) {
        level& current = levels.back();
        if (current.done == current.entries.size()) {
            const bool swallowed = ignoreErrors && levels.size() > 1;
            if (current.failed && !swallowed) level::raise_through(levels, *current.failed);
            levels.pop_back();
            continue;
        }
        const stringEx entry = std::move(current.entries[current.done++]);
        if (name_matches(entry, mask)) dirs.push_back(entry);
        if (!recursive || is_dots(entry.view().substr(entry.find_last(separator) + 1))) continue;
        CDir below;
        try {
            below.Open(entry);
        } catch (const rootExp& failure) {
            if (!ignoreErrors) level::raise_through(levels, failure);
            continue;
        }
        levels.emplace_back(std::move(below), includeHidden, includeDots);
    }
}

std::size_t CDir::GetAllSubDirs(std::vector<stringEx>& dirs, const stringEx& pattern, bool recursive,
                                bool includeHidden, bool includeDots, bool ignoreErrors) const {
    const auto [base, mask] = _SplitPattern(pattern);
    base._WalkSubDirs(dirs, mask, recursive, includeHidden, includeDots, ignoreErrors);
    return dirs.size();
}

}  // namespace Orlo

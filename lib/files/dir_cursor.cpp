// Enumeration entry by entry: the cursor, and the steps that it makes.

#include "files/dir_entries.h"
#include "files/path_call.h"
#include "orlo/files/dir.h"

namespace Orlo {

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
    const entry_kind wanted_kind = wantDirs ? entry_kind::folder : entry_kind::file;
    out.clear();
    if (!cursor.IsOpen() && !_OpenCursor(cursor)) return false;
    while (const dirent* const entry = PosixReadDir(cursor.stream_)) {
        const std::string_view name = entry->d_name;
        const bool is_dots = name == "." || name == "..";
        const bool wanted = is_dots ? wantDirs && includeDots : includeHidden || !name.starts_with('.');
        if (!wanted) continue;
        out.append(path_).append(name);
        if (kind_by_status(out) == wanted_kind) return true;
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

}  // namespace Orlo

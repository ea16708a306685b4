// Enumeration entry by entry: the cursor, and the steps that it makes.

#include "files/dir_entries.h"
#include "files/path_call.h"
#include "orlo/files/dir.h"

namespace Orlo {

CDirCursor::CDirCursor(const CDirCursor& other) noexcept
    : m_stream(other.m_stream), m_owners(other.m_owners) {
    m_owners.share();
}

CDirCursor::CDirCursor(CDirCursor&& other) noexcept
    : m_stream(std::exchange(other.m_stream, nullptr)), m_owners(std::exchange(other.m_owners, {})) {}

CDirCursor& CDirCursor::operator=(CDirCursor other) noexcept {
    std::swap(m_stream, other.m_stream);
    std::swap(m_owners, other.m_owners);
    return *this;
}

void CDirCursor::Close() noexcept {
    DIR* const stream = std::exchange(m_stream, nullptr);
    if (m_owners.release()) ::closedir(stream);
}

bool CDir::_OpenCursor(CDirCursor& cursor) const {
    shared_count owners = shared_count::create();
    const int failed = call_with_path(m_path, [&](const char* path) {
        cursor.m_stream = ::opendir(path);
        return cursor.m_stream != nullptr ? 0 : -1;
    });
    if (failed != 0) {
        owners.release();
        return false;
    }
    cursor.m_owners = owners;
    return true;
}

bool CDir::_NextEntry(CDirCursor& cursor, stringEx& out, bool wantDirs, bool includeHidden,
                      bool includeDots) const {
    const entry_kind wanted_kind = wantDirs ? entry_kind::folder : entry_kind::file;
    out.clear();
    if (!cursor.IsOpen() && !_OpenCursor(cursor)) return false;
    while (const dirent* const entry = PosixReadDir(cursor.m_stream)) {
        const std::string_view name = entry->d_name;
        const bool is_dots = name == "." || name == "..";
        const bool wanted = is_dots ? wantDirs && includeDots : includeHidden || !name.starts_with('.');
        if (!wanted) continue;
        out.append(m_path).append(name);
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

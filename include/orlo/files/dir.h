#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"

// Directories and paths. All failures are `dirExp`; its codes, and all that can raise them:
//
// | code | failure                                                                    |
// |------|----------------------------------------------------------------------------|
// | 2    | an empty path, or no home directory for a path that begins with "~/"       |
// | 3    | `CDir::Open`: no such directory                                            |
// | 4    | `CDir::MakeDir`: a directory cannot be made                                |
// | 12   | `CDir::GetPwd`: the working directory cannot be told                       |
// | 18   | `PosixReadDir`: a directory cannot be read                                 |
// | 19   | `CDir::GetAllFiles`: wraps what went wrong on the way                      |
// | 20   | `CDir::GetAllSubDirs`: wraps what went wrong on the way                    |
// | 21   | `PosixStat`: the status of a path cannot be told                           |
//
// A path is bytes, whatever they encode. It is separated by "/", and a backslash in a path that comes in is
// taken for "/". A path with a zero byte inside names nothing (`EINVAL`).

namespace Orlo {

/// The codes of `dirExp`.
namespace dir_code {
enum : std::int32_t {
    empty = 2,
    missing = 3,
    make_dir = 4,
    remove_dir = 5,
    remove_file = 6,
    transfer_file = 7,
    transfer_dir = 8,
    duplicate_file = 9,
    duplicate_dir = 10,
    symbolic_link = 11,
    working_dir = 12,
    hard_link = 13,
    temp_name = 14,
    space = 15,
    topology = 16,
    read_dir = 18,
    all_files = 19,
    all_sub_dirs = 20,
    status = 21,
};
}  // namespace dir_code

/// The next entry of an open directory, null at the end. The entry is valid until the next call on `stream`.
/// Throws `dirExp` 18 when the directory cannot be read.
ORLO_API dirent* PosixReadDir(DIR* stream);

/// The status of what `path` names, links followed. Throws `dirExp` 21.
ORLO_API void PosixStat(const stringEx& path, struct stat& out);

/// Where an enumeration stands: an open directory, shared by all copies of the cursor; the last one closes
/// it.
///
/// An empty cursor begins with the first entry. Threads: one cursor, and all copies of it, belong to one
/// thread at a time.
class ORLO_API CDirCursor {
public:
    CDirCursor() noexcept = default;
    CDirCursor(const CDirCursor& other) noexcept;
    CDirCursor(CDirCursor&& other) noexcept;
    CDirCursor& operator=(CDirCursor other) noexcept;
    ~CDirCursor() { Close(); }

    /// True when a directory is open.
    bool IsOpen() const noexcept { return m_stream != nullptr; }

    /// Gives up this share of the directory; the cursor is then empty.
    void Close() noexcept;

private:
    friend class CDir;

    DIR* m_stream = nullptr;
    shared_count m_owners;
};

/// A directory: nothing more than its path, which is absolute, normalised and ends in "/". Empty until `Open`
/// succeeded. Nothing is held open, so the directory may go away at any time.
///
/// ```cpp
/// CDir logs;
/// logs.Open("~/logs"_lit, true);  // made if it is missing
/// std::vector<stringEx> files;
/// logs.GetAllFiles(files, "*.log"_lit, true);
/// CDirCursor cursor;
/// for (stringEx file; logs.NextFile(cursor, file);)
///     files.push_back(file);
/// ```
///
/// Threads: no lock; different objects may be used from different threads. Whatever makes a relative path
/// absolute depends on the working directory of the moment, which is the whole process's.
class ORLO_API CDir {
public:
    /// The separator of paths, its doubled form, all that is taken for one, and the one that is turned into
    /// it.
    static constexpr std::string_view separator = "/";
    static constexpr std::string_view doubled_separator = "//";
    static constexpr std::string_view all_separators = "\\/";
    static constexpr std::string_view backslash = "\\";

    // --- paths -------------------------------------------------------------------------------------------

    /// A copy of `path` with "/" for each backslash and a final "//" reduced to "/".
    static stringEx CleanPath(const stringEx& path);

    /// True if `path` names a directory, links followed. Every failure to find out gives false; never throws.
    static bool IsDir(const stringEx& path) noexcept;

    /// Makes `path` absolute and normal: relative paths begin in the working directory, "~/" in the home
    /// directory (`HOME`, else the user's entry in the password database); "." and empty segments go, ".."
    /// takes the segment before it and is ignored at the root; a final "/" stays. "a/../../b" in /x/y/ gives
    /// "/x/b". Throws `dirExp` 2 and what `GetPwd` throws.
    static void ConvToFullPath(stringEx& path);

    /// Replaces `path` with its directory part, which ends in "/": the whole of it if it ends in "/" or names
    /// a directory, and "./" if it has no separator. Throws `dirExp` 2 for an empty path.
    static void GetPathDir(stringEx& path);

    /// Replaces `path` with its name part: empty if it ends in "/" or names a directory, else what
    /// follows the last "/". Throws `dirExp` 2 for an empty path.
    static void GetPathFilename(stringEx& path);

    /// Sets `out` to the working directory, with a final "/". Throws `dirExp` 12.
    static void GetPwd(stringEx& out);

    // --- the object --------------------------------------------------------------------------------------

    /// Points the object at `path`, made absolute. Unless `noCheck` is set the directory must exist, or is
    /// made with all missing levels above it if `create` is set. On failure the object is empty. Throws
    /// `dirExp` 2 for an empty path, 3 for a missing directory, and what `ConvToFullPath` and `MakeDir`
    /// throw.
    void Open(const stringEx& path, bool create = false, bool noCheck = false);

    /// Steps into `path`, which is relative to this object unless it begins with "/". Otherwise as `Open`; on
    /// failure the object stays as it was.
    void ChangeDir(const stringEx& path, bool create = false);

    /// Makes `path` absolute as seen from this object: unless it begins with "/" this object's path is put in
    /// front and the whole converted as `ConvToFullPath` does. An empty path stays empty.
    void ResolvePath(stringEx& path) const;

    /// The object's path; empty if it is not open.
    const stringEx& GetPath() const noexcept { return m_path; }

    // --- enumeration -------------------------------------------------------------------------------------
    //
    // Links are followed: a link to a directory is one. An entry whose status cannot be told is passed over,
    // such as a dangling link or the end of a link loop. A name that begins with "." is hidden, and delivered
    // only with `includeHidden`. Entries come in the order in which the system delivers them.
    //
    // A folder that holds a link to itself is walked once for each link that the system follows in one path (41
    // times). Where links branch, the number of paths grows beyond all use: a walk that reads the same folders
    // again and again, more than 64 times on average and a million entries on top, fails with the sentence for too
    // many links (or passes over the rest with `ignoreErrors`, when every folder was walked at least once).
    //
    // `pattern` is a path whose name part is a mask ("*" any run, "?" any one character, by case; the dot is
    // not special; see `basic_buffer::wildcard_match`); an empty one is "*". Its directory part is relative
    // to this object and must exist (`dirExp` 3). A pattern that names a directory means all in it. A pattern
    // whose directory part is just "./" has none and is taken as the mask as it stands, so that it matches
    // nothing.

    /// Appends the full paths of the matching files, that is of everything that is no directory, to `files`;
    /// with `recursive` also of those in the directories below, each directory before its sub directories.
    /// Returns how many `files` then holds. A directory that cannot be opened has no files. With
    /// `ignoreErrors` the search for sub directories goes on after one that fails. Throws `dirExp` 19, and `files`
    /// is as it was then.
    std::size_t GetAllFiles(std::vector<stringEx>& files, const stringEx& pattern, bool recursive = false,
                            bool includeHidden = false, bool ignoreErrors = false) const;

    /// The same for sub directories, which are appended to `dirs` without a final "/". With `recursive` each
    /// is followed by those below it, whether it matched itself or not; with `includeDots` "." and ".." are
    /// entries, but not descended into. Throws `dirExp` 20, where each level of the descent adds its line.
    std::size_t GetAllSubDirs(std::vector<stringEx>& dirs, const stringEx& pattern, bool recursive = false,
                              bool includeHidden = false, bool includeDots = false,
                              bool ignoreErrors = false) const;

    /// Sets `out` to the full path of the next file; false at the end or if the directory cannot be opened,
    /// when the cursor is empty and `out` too. Throws `dirExp` 18.
    bool NextFile(CDirCursor& cursor, stringEx& out, bool includeHidden = false) const;

    /// The same for the next sub directory.
    bool NextSubDir(CDirCursor& cursor, stringEx& out, bool includeHidden = false,
                    bool includeDots = false) const;

    // --- changing the file system ------------------------------------------------------------------------

    /// Makes the directory `path`, and with `recursive` all missing levels above it, with permissions 0777
    /// less the process's mask. A directory that is there already is no failure. Throws `dirExp` 2 for an
    /// empty path and 4.
    static void MakeDir(const stringEx& path, bool recursive = false);

private:
    struct target;

    target _SplitPattern(const stringEx& pattern) const;
    bool _OpenCursor(CDirCursor& cursor) const;
    bool _NextEntry(CDirCursor& cursor, stringEx& out, bool wantDirs, bool includeHidden,
                    bool includeDots) const;

    stringEx m_path;
};

}  // namespace Orlo

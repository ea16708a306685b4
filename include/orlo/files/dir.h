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
// | 5    | `CDir::RemoveDir`                                                          |
// | 6    | `CDir::RemoveFile`, `DeleteFile`                                           |
// | 7    | `CDir::TransferFile`                                                       |
// | 8    | `CDir::TransferDir`                                                        |
// | 9    | `CDir::DuplicateFile`                                                      |
// | 10   | `CDir::DuplicateDir`                                                       |
// | 11   | `CDir::MakeSymbolicLink`                                                   |
// | 12   | `CDir::GetPwd`: the working directory cannot be told                       |
// | 13   | `CDir::MakeHardLink`                                                       |
// | 14   | `CDir::GenTempFileName`, `GenTempFileNameInSysTempDir`                     |
// | 15   | `CDir::GetSpaceInfo`                                                       |
// | 16   | `CDir::GetStorageTopology`                                                 |
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

/// How `CDir::BackupFile` takes a file: by a copy, which leaves it, or by moving it; with or without making
/// sure that the backup is on the device.
enum class backup_mode : std::int32_t { copy = 0, copy_flushed = 1, move = 2, move_flushed = 3 };

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
    static bool IsDir(const wstringEx& path) noexcept;

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
    /// The same by a wide path, in the default encoding. Throws `tconvExp` for a path with a character that the
    /// encoding lacks; the object is then as it was.
    void Open(const wstringEx& path, bool create = false, bool noCheck = false);

    /// Steps into `path`, which is relative to this object unless it begins with "/". Otherwise as `Open`; on
    /// failure the object stays as it was.
    void ChangeDir(const stringEx& path, bool create = false);
    /// The same by a wide path, as `Open`.
    void ChangeDir(const wstringEx& path, bool create = false);

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

    /// As `GetAllFiles` and `GetAllSubDirs` on the object's own directory, for the names in which the regular
    /// expression matches anywhere; `flags` are those of `CRegEx`. Throw `regexExp` as well, for the expression
    /// before anything is listed; then, and after any other failure, the results are as they were.
    std::size_t GetAllFilesRegEx(std::vector<stringEx>& files, const stringEx& expression,
                                 bool recursive = false, bool includeHidden = false,
                                 bool ignoreErrors = false, std::uint32_t flags = 0) const;
    std::size_t GetAllSubDirsRegEx(std::vector<stringEx>& dirs, const stringEx& expression,
                                   bool recursive = false, bool includeHidden = false,
                                   bool includeDots = false, bool ignoreErrors = false,
                                   std::uint32_t flags = 0) const;

    /// Sets `out` to the full path of the next file; false at the end or if the directory cannot be opened,
    /// when the cursor is empty and `out` too. Throws `dirExp` 18.
    bool NextFile(CDirCursor& cursor, stringEx& out, bool includeHidden = false) const;

    /// The same for the next sub directory.
    bool NextSubDir(CDirCursor& cursor, stringEx& out, bool includeHidden = false,
                    bool includeDots = false) const;

    // --- changing the file system ------------------------------------------------------------------------

    // Each operation has a narrow and a wide form; the wide one converts its paths by the default
    // encoding and throws `tconvExp` where that lacks a character of them. They take no lock beyond the sharing modes of the files they open, and change nothing before they are
    // known to be able to begin.

    /// Makes the directory `path`, and with `recursive` all missing levels above it, with permissions 0777
    /// less the process's mask. A directory that is there already is no failure. Throws `dirExp` 2 for an
    /// empty path and 4.
    static void MakeDir(const stringEx& path, bool recursive = false);
    static void MakeDir(const wstringEx& path, bool recursive = false);

    /// Removes the directory `path`, first its files with `removeSubFiles`, and with `removeSubDirs` its sub
    /// directories in the same way. Nothing happens if there is no such directory. Links, pipes and sockets
    /// count as files; a link is removed and never entered. What cannot go in the end, such as a path that is
    /// a link, "/", "x/." or a mount point, fails before anything is removed. Throws `dirExp` 2 and 5.
    static void RemoveDir(const stringEx& path, bool removeSubFiles = false, bool removeSubDirs = false);
    static void RemoveDir(const wstringEx& path, bool removeSubFiles = false, bool removeSubDirs = false);

    /// Removes the file `path`, or the link to one. Nothing happens if it is no regular file. Throws `dirExp`
    /// 6.
    static void RemoveFile(const stringEx& path);
    static void RemoveFile(const wstringEx& path);

    /// The same for a path that is made absolute. With `force`, a file that its directory does not let go gets
    /// one more try while the owner has all rights on the directory. Throws `dirExp` 6.
    static void DeleteFile(const stringEx& path, bool force = false);
    static void DeleteFile(const wstringEx& path, bool force = false);

    /// Moves a file, a link or a pipe; both paths are made absolute. False if something is there already and
    /// `overwrite` is not set. A file moved onto itself stays as it is. The target is a link to the source
    /// where the system can make one, and else, with `allowCopy`, a copy with its mode, times and, if the
    /// process may, its owner. At any moment the target's path has the old file or the whole new one, and the
    /// source is there until it does; a process that is killed may leave a hidden file ".orlo-*.tmp" beside
    /// the target. `reserved` has no effect. Throws `dirExp` 7.
    static bool TransferFile(const stringEx& source, const stringEx& target, bool overwrite = false,
                             bool reserved = false, bool allowCopy = true);
    static bool TransferFile(const wstringEx& source, const wstringEx& target, bool overwrite = false,
                             bool reserved = false, bool allowCopy = true);

    /// Moves a directory with all in it; both paths are made absolute, and missing levels above the target are
    /// made. False if the target exists and `overwrite` is not set; with it, what both have is taken from the
    /// source. Links stay links. Each file moves as `TransferFile` does, and a directory is removed only when
    /// it is empty. Throws `dirExp` 8, and for one of its files 7 or 4.
    static bool TransferDir(const stringEx& source, const stringEx& target, bool overwrite = false,
                            bool allowCopy = true);
    static bool TransferDir(const wstringEx& source, const wstringEx& target, bool overwrite = false,
                            bool allowCopy = true);

    /// Copies the content of a file; both paths are made absolute. False if the target exists and `overwrite`
    /// is not set. A new file has the source's permissions, and is removed again if the copy fails. An old one
    /// keeps its own, and if it was longer than the source it keeps its tail. With `flush` the data are on the
    /// device afterwards. Throws `dirExp` 9, as when others hold one of the two.
    static bool DuplicateFile(const stringEx& source, const stringEx& target, bool overwrite = false,
                              bool flush = false);
    static bool DuplicateFile(const wstringEx& source, const wstringEx& target, bool overwrite = false,
                              bool flush = false);

    /// Copies a directory: its files with `copySubFiles`, as `DuplicateFile` does, and with `recursive` its
    /// sub directories, which keep their permissions. Links are copied as links, pipes are made anew. The
    /// target must not lie in the source. Otherwise as `TransferDir`. Throws `dirExp` 10, and for one of its
    /// files 9 or 4.
    static bool DuplicateDir(const stringEx& source, const stringEx& target, bool overwrite = false,
                             bool copySubFiles = true, bool recursive = true, bool flush = false);
    static bool DuplicateDir(const wstringEx& source, const wstringEx& target, bool overwrite = false,
                             bool copySubFiles = true, bool recursive = true, bool flush = false);

    /// Makes `newPath` a symbolic link to `oldPath`, which is taken as it stands. With any of the last three a
    /// link could not say what is meant, and `newPath` becomes a shell script: it has the `extraLines`, changes
    /// into `workFolder`, and runs `oldPath` with `arguments`, a piece of shell text, and with those that it is
    /// given itself. Whatever is at `newPath` stays. Throws `dirExp` 2 and 11.
    static void MakeSymbolicLink(const stringEx& newPath, const stringEx& oldPath,
                                 const stringEx& arguments = {}, const std::vector<stringEx>& extraLines = {},
                                 const stringEx& workFolder = {});
    static void MakeSymbolicLink(const wstringEx& newPath, const wstringEx& oldPath,
                                 const wstringEx& arguments = {},
                                 const std::vector<wstringEx>& extraLines = {},
                                 const wstringEx& workFolder = {});

    /// Makes `newPath` one more name of the file `oldPath`. Throws `dirExp` 2 and 13.
    static void MakeHardLink(const stringEx& newPath, const stringEx& oldPath);
    static void MakeHardLink(const wstringEx& newPath, const wstringEx& oldPath);

    /// Makes an empty file with a name of its own in `baseDir`, which reserves the name, and returns its path.
    /// Throws `dirExp` 14.
    [[nodiscard]] static stringEx GenTempFileName(const stringEx& baseDir);
    [[nodiscard]] static wstringEx GenTempFileName(const wstringEx& baseDir);
    /// The same in `GetSysTempDir`.
    [[nodiscard]] static stringEx GenTempFileNameInSysTempDir();

    /// Where temporary files go: the environment's TMPDIR as it stands, else "/tmp/" or "/var/tmp/", else
    /// "./tmp/", whether that exists or not.
    [[nodiscard]] static stringEx GetSysTempDir();

    /// Sets `content` to that of a file, which is narrow, wide (4 bytes a character, a last part filled up
    /// with zeros) or bytes. A file that grows meanwhile gives what it had at first; one whose size the system
    /// does not know gives nothing, see `ReadProcFile`. Throws `dirExp` 2, and `sysfileExp`, as for a
    /// directory; `content` is empty then.
    template <class T>
    static void ReadFile(const stringEx& path, basic_buffer<T>& content);
    template <class T>
    static void ReadFile(const wstringEx& path, basic_buffer<T>& content);

    /// Writes a file anew, or with `append` at its end; it is made if it is missing. It is opened exclusively,
    /// so that whoever shares it meanwhile makes this fail before anything is written. With `flush` the data
    /// are on the device afterwards. What stops the process meanwhile leaves a part. Throws `dirExp` 2 and
    /// `sysfileExp`.
    template <class T>
    static void WriteFile(const stringEx& path, const basic_buffer<T>& content, bool flush = false,
                          bool append = false);
    template <class T>
    static void WriteFile(const wstringEx& path, const basic_buffer<T>& content, bool flush = false,
                          bool append = false);

    /// Keeps what `file` is now in `backupDir` under the name "@YYYYMMDD_HHMMSS." and its own, and removes the
    /// oldest backups but `keepCount`; with 0 none is made and all go. A copy is not made twice within a second;
    /// a file that is moved gets the next free second. No backup is ever there in part. A backup that cannot be
    /// removed is told to the log at debug level. Throws `dirExp` 7 and 9, and what `CDir::Open` throws.
    static void BackupFile(const stringEx& backupDir, const stringEx& file, std::uint32_t keepCount,
                           backup_mode mode = backup_mode::copy);
    static void BackupFile(const wstringEx& backupDir, const wstringEx& file, std::uint32_t keepCount,
                           backup_mode mode = backup_mode::copy);

    /// Moves the newest backup of `file` that can be moved to its place. False if there is none; `file` is as it
    /// was then. Each that cannot be moved is told to the log at debug level.
    static bool RestoreBackup(const stringEx& backupDir, const stringEx& file);
    static bool RestoreBackup(const wstringEx& backupDir, const wstringEx& file);

    /// The bytes that the process may still write to the file system of `path`, and all that it has. Throws
    /// `dirExp` 15.
    static void GetSpaceInfo(const stringEx& path, std::uint64_t& available, std::uint64_t& total);
    static void GetSpaceInfo(const wstringEx& path, std::uint64_t& available, std::uint64_t& total);

    /// The sizes of fragments and blocks, in bytes, of the file system of `path`, and whether it may only be
    /// read, unless that is null. Throws `dirExp` 16.
    static void GetStorageTopology(const stringEx& path, std::uint64_t& fragmentSize,
                                   std::uint64_t& blockSize, bool* isReadOnly = nullptr);
    static void GetStorageTopology(const wstringEx& path, std::uint64_t& fragmentSize,
                                   std::uint64_t& blockSize, bool* isReadOnly = nullptr);

    /// Replaces `path` with the mount point that holds it, by the system's list; links in it are not followed.
    /// Throws `dirExp` 2.
    static void GetPathVolume(stringEx& path);
    static void GetPathVolume(wstringEx& path);
    /// True if both paths have the same mount point. Throws `dirExp` 2.
    [[nodiscard]] static bool IsSameVolume(const stringEx& a, const stringEx& b);
    [[nodiscard]] static bool IsSameVolume(const wstringEx& a, const wstringEx& b);

private:
    struct target;

    target _SplitPattern(const stringEx& pattern) const;
    bool _OpenCursor(CDirCursor& cursor) const;
    bool _NextEntry(CDirCursor& cursor, stringEx& out, bool wantDirs, bool includeHidden,
                    bool includeDots) const;

    stringEx m_path;
};

}  // namespace Orlo

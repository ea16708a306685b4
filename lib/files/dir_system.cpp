// What directories and paths ask of the system: the next entry, a path's status, the working directory.

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "files/path_call.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr errno_sentence READ_DIR_SENTENCES[] = {
    {EBADF, "the argument does not refer to an open directory stream"},
    {ENOENT, "the current position of the directory stream is invalid"},
    {EOVERFLOW, "one of the values in the structure to be returned cannot be represented correctly"},
};
constexpr failure<dirExp> READ_DIR_FAILED{{
    .code = dir_code::read_dir,
    .head = "PosixReadDir - error enum entries in the directory\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = READ_DIR_SENTENCES,
}};

constexpr errno_sentence STAT_SENTENCES[] = {
    {ENOENT, "path does not exists"},
    {EIO, "an error occurred while reading from the file system"},
    {EACCES, "search permission is denied for a component of the path prefix"},
    {ENOTDIR, "a component of the path prefix is not a directory"},
    {ENAMETOOLONG, "path name is too long"},
    {ELOOP, "a loop exists in symbolic links, or too many links levels"},
    {EOVERFLOW, "file size out-of-range"},
};
constexpr failure<dirExp> STAT_FAILED{{
    .code = dir_code::status,
    .head = "PosixStat - failed retrive the status of giving path\n",
    .keys = {"  path       = ", "  error code = ", "  error desc = "},
    .sentences = STAT_SENTENCES,
}};

constexpr failure<dirExp> PWD_LENGTH_FAILED{{
    .code = dir_code::working_dir,
    .head = "CDir::GetPwd - error get the path length of current working dir\n",
    .keys = {"  system error no   = ", "  system error desc = "},
}};
constexpr errno_sentence PWD_SENTENCES[] = {
    {ENOMEM, "insufficient memory"},
    {EACCES, "permission denied"},
    {EINVAL, "invalid argument"},
    {ERANGE, "size of buffer is too short"},
};
constexpr failure<dirExp> PWD_FAILED{{
    .code = dir_code::working_dir,
    .head = "CDir::GetPwd - failed getting current working dir\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = PWD_SENTENCES,
}};

constexpr long LONGEST_PWD = 65536;

/// The longest path of a working directory; a system without such a limit answers -1 and leaves `errno`
/// alone.
long pwd_length() {
    const long length = retry_interrupted([] {
        errno = 0;
        return ::pathconf(".", _PC_PATH_MAX);
    });
    if (length == -1 && errno != 0) {
        const int error = errno;
        char scratch[256];
        PWD_LENGTH_FAILED.raise({error, strerror_r(error, scratch, sizeof scratch)});
    }
    return length == -1 ? LONGEST_PWD : std::min(length, LONGEST_PWD);
}

}  // namespace

dirent* PosixReadDir(DIR* stream) {
    dirent* entry = nullptr;
    const int failed = retry_interrupted([&] {
        errno = 0;
        entry = ::readdir(stream);
        return entry == nullptr && errno != 0 ? -1 : 0;
    });
    if (failed != 0) READ_DIR_FAILED.raise({system_error{errno}});
    return entry;
}

void PosixStat(const stringEx& path, struct stat& out) {
    if (stat_path(path, out) != 0) raise_stat_failure(path, errno);
}

void raise_stat_failure(const stringEx& path, int error) {
    STAT_FAILED.raise({path, system_error{error}});
}

bool CDir::IsDir(const stringEx& path) noexcept {
    try {
        struct stat status;
        return !path.empty() && stat_path(path, status) == 0 && S_ISDIR(status.st_mode);
    } catch (...) {
        return false;  // no memory to terminate the path: nothing can be said about it
    }
}

void CDir::GetPwd(stringEx& out) {
    const auto room = static_cast<std::size_t>(pwd_length()) + 1;
    stringEx text;
    text.assign_reserve(room);
    const int failed = retry_interrupted([&] { return ::getcwd(text.mutable_data(), room) ? 0 : -1; });
    if (failed != 0) PWD_FAILED.raise({system_error{errno}});
    text.set_size(std::strlen(text.data()));
    out = CleanPath(text);
    if (!out.ends_with(separator)) out.append('/');
}

}  // namespace Orlo

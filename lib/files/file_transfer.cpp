// Moving and copying single files.
//
// Moving links the source to the target's name and removes the source's. Where something is at the target, the
// link is made under a name beside it, which then takes the target's place in one step; and where no link can
// be made, a copy is. So the target's path has either the old or the whole new file at any moment, and the
// source is there until the target is.

#include "files/file_transfer.h"

#include <unistd.h>

#include "files/path_parts.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

using stage = transfer_outcome::stage;

constexpr errno_sentence TRANSFER_SENTENCES[] = {
    {EACCES, "permission denied"},
    {ENOENT, "source file does not exist"},
    {EEXIST, "the target has been exist"},
    {EXDEV, "the source and destination are on different file systems"},
    {ENOTDIR, "a component of the pathname is not a directory"},
    {ENOSPC, "the directory to contain the link cannot be extended"},
    {EROFS, "the requested link requires writing in a directory on a read-only file system"},
    {EMLINK, "the number of links to the source file would exceed"},
    {ENAMETOOLONG, "pathname is too long"},
    {ELOOP, "a loop exists in symbolic links "},
};
constexpr failure<dirExp> LINK_FAILED{{
    .code = dir_code::transfer_file,
    .head = "CDir::TransferFile - error link file to the target path\n",
    .keys = {"  from                = ", "  to                  = ", "  allow copy & delete = ",
             "  error code          = ", "  error desc          = "},
    .sentences = TRANSFER_SENTENCES,
}};
constexpr failure<dirExp> REMOVE_FAILED{{
    .code = dir_code::transfer_file,
    .head = "CDir::TransferFile - error remove (unlink) the source\n",
    .keys = LINK_FAILED.keys,
    .sentences = TRANSFER_SENTENCES,
}};
constexpr failure<dirExp> COPY_FAILED{{
    .code = dir_code::transfer_file,
    .head = "CDir::TransferFile - error copy file to the target\n",
    .keys = {"  from                = ", "  to                  = ", "  allow copy & delete = "},
}};

transfer_outcome failed(stage at) {
    return {.ended = at, .error = errno};
}

int link_entry(const folder_entry& source, const folder_entry& target) {
    return source.with([&](int from, const char* name) {
        return target.with([&](int to, const char* as) { return ::linkat(from, name, to, as, 0); });
    });
}

int rename_entry(const folder_entry& source, const folder_entry& target, unsigned flags) {
    return source.with([&](int from, const char* name) {
        return target.with([&](int to, const char* as) { return ::renameat2(from, name, to, as, flags); });
    });
}

/// Gives what stands under a temporary name its own; -1 and EEXIST if that is taken and may not be.
int put_in_place(const folder_entry& temp, const folder_entry& target, bool overwrite) {
    if (overwrite) return rename_entry(temp, target, 0);
    const int put = rename_entry(temp, target, RENAME_NOREPLACE);
    if (put == 0 || (errno != EINVAL && errno != ENOSYS)) return put;
    // the file system cannot refuse to replace: a link can
    if (link_entry(temp, target) != 0) return -1;
    temp.remove();
    return 0;
}

bool is_same_entry(const folder_entry& a, const folder_entry& b) {
    struct stat folder_a, folder_b;
    const auto folder_status = [](const folder_entry& entry, struct stat& out) {
        folder_entry folder = entry;
        folder.name = entry.folder == AT_FDCWD ? folder_part(entry.name) : "."_lit;
        return folder.status(out);
    };
    return last_part(a.name.view()) == last_part(b.name.view()) && folder_status(a, folder_a) == 0 &&
           folder_status(b, folder_b) == 0 && file_identity(folder_a) == file_identity(folder_b);
}

/// True if moving the one onto the other would lose the file: both are one entry, or the source is a link that
/// leads to the target.
bool is_onto_itself(const folder_entry& source, const struct stat& from, const folder_entry& target,
                    const struct stat& to) {
    if (file_identity(from) == file_identity(to)) return from.st_nlink == 1 || is_same_entry(source, target);
    struct stat followed;
    return S_ISLNK(from.st_mode) &&
           source.with([&](int folder, const char* name) { return ::fstatat(folder, name, &followed, 0); }) ==
               0 &&
           file_identity(followed) == file_identity(to);
}

bool means_other_file_system(int error) {
    return error == EXDEV || error == EMLINK || error == EPERM;
}

/// Links the source to the target's name, in one step. Leaves the error in `errno`.
int link_in_place(const folder_entry& source, const folder_entry& target, bool replace) {
    if (!replace) return link_entry(source, target);
    const folder_entry temp = temp_entry_beside(target);
    if (link_entry(source, temp) != 0) return -1;
    if (put_in_place(temp, target, true) == 0) return 0;
    const int error = errno;
    temp.remove();
    errno = error;
    return -1;
}

}  // namespace

transfer_outcome place_copy(const folder_entry& source, const struct stat& status, const folder_entry& target,
                            bool overwrite, entry_copier::keeping what, bool flush, entry_copier& copier) {
    const folder_entry temp = temp_entry_beside(target);
    try {
        copier.copy_entry(source, status, temp, what, flush);
    } catch (const rootExp& inner) {
        return {.ended = stage::copy, .inner = inner};
    }
    if (put_in_place(temp, target, overwrite) == 0) return {};
    const int error = errno;
    temp.remove();
    return {.ended = error == EEXIST && !overwrite ? stage::refused : stage::link, .error = error};
}

transfer_outcome transfer_entry(const folder_entry& source, const folder_entry& target, bool overwrite,
                                bool allow_copy, entry_copier& copier) {
    struct stat from, to;
    if (source.status(from) != 0) return failed(stage::link);
    if (S_ISDIR(from.st_mode)) return {.ended = stage::link, .error = EISDIR};
    const bool exists = target.status(to) == 0;
    if (exists && is_onto_itself(source, from, target, to)) return {};
    if (exists && S_ISDIR(to.st_mode)) return {.ended = stage::link, .error = EEXIST};
    if (exists && !overwrite) return {.ended = stage::refused};

    const bool are_one_file = exists && file_identity(from) == file_identity(to);
    if (!are_one_file && link_in_place(source, target, exists) != 0) {
        if (errno == EEXIST) return {.ended = overwrite ? stage::link : stage::refused, .error = EEXIST};
        if (!allow_copy || !means_other_file_system(errno)) return failed(stage::link);
        transfer_outcome copied =
            place_copy(source, from, target, overwrite, entry_copier::keeping::everything, true, copier);
        if (copied.ended != stage::done) return copied;
    }
    return source.remove() == 0 || errno == ENOENT ? transfer_outcome{} : failed(stage::remove);
}

bool check_transfer(const transfer_outcome& outcome, const stringEx& source, const stringEx& target,
                    bool allow_copy) {
    const system_error error{outcome.error};
    switch (outcome.ended) {
        case stage::done:
            return true;
        case stage::refused:
            return false;
        case stage::link:
            LINK_FAILED.raise({source, target, allow_copy, error});
        case stage::remove:
            REMOVE_FAILED.raise({source, target, allow_copy, error});
        case stage::copy:
            COPY_FAILED.raise({source, target, allow_copy, wrapped{*outcome.inner}});
    }
    return false;
}

}  // namespace Orlo

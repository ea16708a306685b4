// Opening and closing descriptors.
//
// An open asks for close-on-exec and, on request, for direct access, and does without what the system calls
// invalid: first without direct access, which is logged; if the flags are still invalid, once more without
// close-on-exec, which is then set by a call of its own. A system that took that way is not asked for
// O_CLOEXEC again.
//
// A file that is to be shared is emptied only once the lock is held: O_TRUNC would empty it for those who hold
// the lock now. A file system that refuses direct access may have created the file first, and O_EXCL would
// refuse that file to the very open that made it.
//
// Invariants: whatever fails after the open closes the descriptor; no descriptor leaves here inheritable.

#include "files/sys_file_open.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>

#include "files/path_call.h"
#include "files/sys_file_sentences.h"
#include "orlo/log/front.h"
#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr errno_sentence OPEN_SENTENCES[] = {
    {ENOENT, "file dose not exists or can't be created"},
    {EIO, "stream io error"},
    {ENXIO,
     "the device associated with this special file does not exist, or fifo opened without reading peer"},
    {EAGAIN, "the pseudo-terminal device is locked"},
    {ENOMEM, "unable to allocate the necessary system resource"},
    {EACCES, "permission denied or confilct flags compination"},
    {EEXIST, "file already exists"},
    {ENOTDIR, "path is not a directory"},
    {EISDIR, "the file is a directory and write permission is specified"},
    {EINVAL, "invalid arguments or synchronized io for this file does not supported"},
    {ENFILE, "the maximum allowable number of files is currently open in the system"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {ETXTBSY, "try to open a pure procedure file that is being executed in writable mode"},
    {ENOSPC, "device or directory not ready file can not be created"},
    {EROFS, "open file in read-only media with write permission"},
    {ENAMETOOLONG, "file or path name is too long"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENOSR, "failed allocate stream handle"},
    {EOVERFLOW, "file too big"},
};
constexpr failure<sysfileExp> OPEN_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile/PosixOpenFile - failed open specified file\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = OPEN_SENTENCES,
}};

constexpr errno_sentence ADVICE_SENTENCES[] = {
    {EINVAL, "unknown advice"},
    {ESPIPE, "the file is associated with a pipe or fifo device"},
    {EBADF, BAD_DESCRIPTOR},
};
constexpr failure_layout ADVICE_REFUSED{
    .head = "CSysFile/PosixOpenFile - failed set access advice\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = ADVICE_SENTENCES,
};

constexpr errno_sentence SHARING_SENTENCES[] = {
    {EWOULDBLOCK, "sharing mode conflict"},
    {ENOLCK, "sharing lock number exceed the system limit"},
};
constexpr failure<sysfileExp> SHARING_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile/SetShareMode - failed set file sharing mode\n",
    .keys = {"  file path    = ", "  sharing mode = ", "  error code   = ", "  error desc   = "},
    .sentences = SHARING_SENTENCES,
}};

constexpr failure<sysfileExp> DESCRIPTOR_OPTION_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile/PosixOpenFile - failed set the fd options\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = DESCRIPTOR_OPTION_SENTENCES,
}};

constexpr errno_sentence CLOSE_SENTENCES[] = {
    {EIO, "io error occurred"},
    {EBADF, BAD_DESCRIPTOR},
};
constexpr failure<sysfileExp> CLOSE_FAILED{{
    .code = sysfile_code::close,
    .head = "CSysFile::__Close - error close file descriptor\n",
    .keys = {"  sys error  = ", "  error desc = "},
    .sentences = CLOSE_SENTENCES,
}};

constexpr const char* LOG_TAG = "util.sysfile";

/// Whether opens ask for O_CLOEXEC. Only ever cleared.
std::atomic<bool> cloexec_at_open{true};

int open_flags(const open_request& request) {
    int flags = static_cast<int>(request.access) | request.creation;
    if (request.options & file_option::direct) flags |= O_DIRECT;
    if (request.options & file_option::synchronised) flags |= O_SYNC;
    if (cloexec_at_open.load(std::memory_order_relaxed)) flags |= O_CLOEXEC;
    return flags;
}

/// Opens with `flags`, or where O_DIRECT is invalid without it, which clears it in `flags`. Negative on
/// failure.
int open_somehow(const open_request& request, int& flags) {
    const auto try_open = [&](int with) {
        return call_with_path(request.path, [&](const char* path) {
            return request.folder == AT_FDCWD ? ::open(path, with, request.permissions)
                                              : ::openat(request.folder, path, with, request.permissions);
        });
    };
    const int descriptor = try_open(flags);
    if (descriptor >= 0 || (flags & O_DIRECT) == 0 || errno != EINVAL) return descriptor;
    const int indirect = flags & ~O_DIRECT;
    int second = try_open(indirect);
    // there was no file before the first try, so it is the one that the first try made
    if (second < 0 && errno == EEXIST) second = try_open(indirect & ~O_EXCL);
    if (second >= 0) flags = indirect;
    return second;
}

/// A refused advice is told to those who debug, and nothing else.
void advise(int descriptor, const open_request& request) {
    int advice = POSIX_FADV_NORMAL;
    if (request.options & file_option::sequential_access) {
        advice = POSIX_FADV_SEQUENTIAL;
    } else if (request.options & file_option::random_access) {
        advice = POSIX_FADV_RANDOM;
    } else {
        return;
    }
    const int error = ::posix_fadvise(descriptor, 0, 0, advice);
    if (error == 0 || !IsLogLevelOn(log_level::debug)) return;
    LogDebugText(stringEx(LOG_TAG), ADVICE_REFUSED.text({request.path, system_error{error}}));
}

void set_sharing(int descriptor, const open_request& request) {
    if (request.sharing == file_sharing::none) return;
    const bool exclusive = request.sharing == file_sharing::exclusive;
    const int operation = (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    if (retry_interrupted([&] { return ::flock(descriptor, operation); }) == 0) return;
    if (errno == EBADF || errno == EINVAL || errno == EOPNOTSUPP) return;  // no locks here: open unshared
    SHARING_FAILED.raise({request.path, exclusive ? "exclusive" : "shared", system_error{errno}});
}

/// Does what O_TRUNC asks for. What has no length, such as a pipe, stays as it is.
void empty_file(int descriptor, const open_request& request) {
    const auto truncate_path = [&] {
        return call_with_path(request.path, [](const char* path) { return ::truncate(path, 0); });
    };
    const int failed = request.access == file_access::read
                           ? truncate_path()
                           : retry_interrupted([&] { return ::ftruncate(descriptor, 0); });
    if (failed != 0 && errno != EINVAL) OPEN_FAILED.raise({request.path, system_error{errno}});
}

void set_cloexec(int descriptor) {
    if (retry_interrupted([&] { return ::fcntl(descriptor, F_SETFD, FD_CLOEXEC); }) == -1 && errno != 0) {
        DESCRIPTOR_OPTION_FAILED.raise({system_error{errno}});
    }
    cloexec_at_open.store(false, std::memory_order_relaxed);
}

}  // namespace

void close_descriptor(int descriptor) {
    if (descriptor < 0) return;
    if (retry_interrupted([&] { return ::close(descriptor); }) == 0) return;
    const system_error error{errno};
    finish_in_destructor([&] { CLOSE_FAILED.raise({error}); });
}

open_descriptor::~open_descriptor() {
    if (descriptor_ >= 0) retry_interrupted([&] { return ::close(descriptor_); });
}

open_descriptor open_file(const open_request& request) {
    int flags = open_flags(request);
    const bool empty_later = (flags & O_TRUNC) != 0 && request.sharing != file_sharing::none;
    if (empty_later) flags &= ~O_TRUNC;
    int number = open_somehow(request, flags);
    if (number < 0 && errno == EINVAL && (flags & O_CLOEXEC) != 0) {
        flags &= ~O_CLOEXEC;
        number = open_somehow(request, flags);
    }
    if (number < 0) OPEN_FAILED.raise({request.path, system_error{errno}});

    open_descriptor opened(number);
    if ((request.options & file_option::direct) != 0 && (flags & O_DIRECT) == 0) {
        LogDebug(LOG_TAG,
                 "CSysFile/PosixOpenFile - failed set direct io (no buffer) access mode\n"
                 "  file path = %s\n",
                 request.path.terminated().c_str());
    }
    advise(opened.get(), request);
    set_sharing(opened.get(), request);
    if (empty_later) empty_file(opened.get(), request);
    if ((flags & O_CLOEXEC) == 0) set_cloexec(opened.get());
    return opened;
}

}  // namespace Orlo

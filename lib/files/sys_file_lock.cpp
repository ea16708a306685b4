// Locks on ranges of bytes, by fcntl. They belong to the process and the file, not to the object.

#include <fcntl.h>

#include "files/sys_file_sentences.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr errno_sentence LOCK_SENTENCES[] = {
    {EBADF, "invalid file descriptor or wrong access mode, or the open mode does not match the lock type"},
    {EINVAL, "invalid arguments or file does not support locking"},
    {EDEADLK, "deadlock detected"},
    {ENOLCK, "lock number exceed the system limit"},
    {EOVERFLOW, "offset out-of-range"},
};
constexpr errno_sentence UNLOCK_SENTENCES[] = {
    {EBADF, BAD_DESCRIPTOR_OR_MODE},
    {EINVAL, "invalid arguments"},
    {ENOLCK, "lock number exceed the system limit"},
    {EOVERFLOW, "offset out-of-range"},
};

/// What the system makes of a range, and what the operation around it adds.
struct lock_failure {
    failure<sysfileExp> inner, outer;
};
constexpr lock_failure lock_failed(std::int32_t code, const char* inner_head, const char* outer_head,
                                   std::span<const errno_sentence> sentences) {
    return {{{.code = code,
              .head = inner_head,
              .keys = {"  from       = ", "  length     = ", "  error code = ", "  error desc = "},
              .sentences = sentences}},
            {{.code = code, .head = outer_head, .keys = {"  file path = "}}}};
}
constexpr const char* LOCK_HEAD = "CSysFile/PosixLockFile - failed lock file\n";
constexpr auto LOCK_FAILED =
    lock_failed(sysfile_code::lock, LOCK_HEAD, "CSysFile::Lock - failed lock file\n", LOCK_SENTENCES);
constexpr auto TRY_LOCK_FAILED =
    lock_failed(sysfile_code::lock, LOCK_HEAD,
                "CSysFile::TryLock - error occured while trying to lock file\n", LOCK_SENTENCES);
constexpr auto UNLOCK_FAILED =
    lock_failed(sysfile_code::unlock, "CSysFile/PosixUnlockFile - failed unlock file\n",
                "CSysFile::Unlock - failed unlock file\n", UNLOCK_SENTENCES);

struct range {
    std::int64_t from, length;
};

/// Sets a range's lock to `type` by the fcntl `command`. The system's error, 0 for none.
int set_lock(int descriptor, int command, int type, range bytes) {
    struct flock lock {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = bytes.from;
    lock.l_len = bytes.length;
    return retry_interrupted([&] { return ::fcntl(descriptor, command, &lock); }) == 0 ? 0 : errno;
}

/// The same for a lock that a caller asks for: F_UNLCK would pass for one.
int set_lock(int descriptor, int command, file_lock type, range bytes) {
    if (type != file_lock::read && type != file_lock::write) return EINVAL;
    return set_lock(descriptor, command, static_cast<int>(type), bytes);
}

void raise_unless_zero(int error, const lock_failure& failed, const stringEx& path, range bytes) {
    if (error == 0) return;
    const sysfileExp inner(failed.inner.text({bytes.from, bytes.length, system_error{error}}),
                           failed.inner.code);
    failed.outer.raise({path, wrapped{inner}});
}

}  // namespace

bool CSysFile::TryLock(std::int64_t from, std::int64_t length, file_lock type) {
    const int error = set_lock(_Number(), F_SETLK, type, {from, length});
    if (error == EAGAIN || error == EACCES) return false;
    raise_unless_zero(error, TRY_LOCK_FAILED, m_path, {from, length});
    return true;
}

void CSysFile::Lock(std::int64_t from, std::int64_t length, file_lock type) {
    raise_unless_zero(set_lock(_Number(), F_SETLKW, type, {from, length}), LOCK_FAILED, m_path,
                      {from, length});
}

void CSysFile::Unlock(std::int64_t from, std::int64_t length) {
    raise_unless_zero(set_lock(_Number(), F_SETLKW, F_UNLCK, {from, length}), UNLOCK_FAILED, m_path,
                      {from, length});
}

}  // namespace Orlo

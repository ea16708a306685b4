// Position and size.

#include <sys/stat.h>
#include <unistd.h>

#include "files/sys_file_sentences.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr errno_sentence SEEK_SENTENCES[] = {
    {EBADF, BAD_DESCRIPTOR},
    {EINVAL, "invalide argument, or the resulting file offset would be negative for the file"},
    {ESPIPE, NO_POSITIONS},
    {EOVERFLOW, OFFSET_TOO_BIG},
};
constexpr failure<sysfileExp> LSEEK_FAILED{{
    .code = sysfile_code::seek,
    .head = "CSysFile/PosixSeekFile - error seek file pointer\n",
    .keys = {"  sys error  = ", "  error desc = "},
    .sentences = SEEK_SENTENCES,
}};
/// What the operations that seek make of it.
constexpr failure<sysfileExp> seeking_failed(std::int32_t code, const char* head) {
    return {{.code = code, .head = head, .keys = {"  file path = "}}};
}
constexpr auto SEEK_BEGIN_FAILED =
    seeking_failed(sysfile_code::seek, "CSysFile::SeekBegin - failed seeking in file\n");
constexpr auto SEEK_CURRENT_FAILED =
    seeking_failed(sysfile_code::seek, "CSysFile::SeekCurrent - failed seeking in file\n");
constexpr auto SEEK_END_FAILED =
    seeking_failed(sysfile_code::seek, "CSysFile::SeekEnd - failed seeking in file\n");
constexpr auto POSITION_FAILED =
    seeking_failed(sysfile_code::position, "CSysFile::GetCurrentPos - failed get current position\n");
constexpr auto SIZE_FAILED =
    seeking_failed(sysfile_code::size, "CSysFile::GetSize - failed retrive file size\n");

constexpr errno_sentence RESIZE_SENTENCES[] = {
    {EIO, "io error to the file system"},
    {EBADF, BAD_DESCRIPTOR},
    {EINVAL, "invalid size or there is no write permission"},
    {EFBIG, "size too big"},
    {EROFS, "the file resides on a read-only file system"},
};
constexpr failure<sysfileExp> RESIZE_FAILED{{
    .code = sysfile_code::resize,
    .head = "CSysFile::ResizeToCurrentPos - failed set the size of shared memory object\n",
    .keys = {"  file path  = ", "  resize to  = ", "  error code = ", "  error desc = "},
    .sentences = RESIZE_SENTENCES,
}};

std::int64_t seek(int descriptor, std::int64_t offset, int whence) {
    const off_t position = retry_interrupted([&] { return ::lseek(descriptor, offset, whence); });
    if (position == -1) LSEEK_FAILED.raise({system_error{errno}});
    return position;
}

/// Runs `action`, which seeks, and wraps what it raises.
template <class Action>
std::int64_t wrap_seek(const failure<sysfileExp>& failed, const stringEx& path, Action&& action) {
    try {
        return action();
    } catch (const sysfileExp& inner) {
        failed.raise({path, wrapped{inner}});
    }
}

}  // namespace

std::int64_t CSysFile::SeekBegin(const std::int64_t& offset) {
    return wrap_seek(SEEK_BEGIN_FAILED, m_path, [&] { return seek(_Number(), offset, SEEK_SET); });
}

std::int64_t CSysFile::SeekCurrent(const std::int64_t& offset) {
    return wrap_seek(SEEK_CURRENT_FAILED, m_path, [&] { return seek(_Number(), offset, SEEK_CUR); });
}

std::int64_t CSysFile::SeekEnd(const std::int64_t& offset) {
    return wrap_seek(SEEK_END_FAILED, m_path, [&] { return seek(_Number(), offset, SEEK_END); });
}

std::int64_t CSysFile::GetCurrentPos() const {
    return wrap_seek(POSITION_FAILED, m_path, [&] { return seek(_Number(), 0, SEEK_CUR); });
}

std::int64_t CSysFile::GetSize() const {
    // a regular file knows its size; but one that claims to have none may be a source without sizes, and only a
    // seek to the end tells
    struct stat status;
    if (::fstat(_Number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        return status.st_size;
    return wrap_seek(SIZE_FAILED, m_path, [&] {
        const std::int64_t position = seek(_Number(), 0, SEEK_CUR);
        const std::int64_t size = seek(_Number(), 0, SEEK_END);
        seek(_Number(), position, SEEK_SET);
        return size;
    });
}

void CSysFile::ResizeToCurrentPos() {
    const std::int64_t size = GetCurrentPos();
    if (retry_interrupted([&] { return ::ftruncate(_Number(), size); }) != 0)
        RESIZE_FAILED.raise({m_path, size, system_error{errno}});
}

}  // namespace Orlo

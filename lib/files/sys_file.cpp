// The file object: ownership of the descriptor, and one system call an operation.

#include "orlo/files/sys_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "files/sys_file_open.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr failure<sysfileExp> PATH_FAILED{{
    .code = 4,
    .head = "CSysFile::Open - failed determine the file path to open\n",
    .keys = {"  file path = "},
}};
constexpr failure<sysfileExp> CONSOLE_FAILED{{
    .code = 4,
    .head = "CSysFile::Open - unknown console type: ",
    .keys = {""},
}};
constexpr failure<sysfileExp> DISCLAIM_FAILED{{
    .code = 37,
    .head = "CSysFile::Disclaim - ownership check failed",
}};

constexpr const char* MULTIPLEXER =
    "the stream is linked (directly or indirectly) downstream from a multiplexer";
constexpr const char* NO_DEVICE =
    "device not exist, or the request was outside the capabilities of the device";
constexpr const char* WOULD_BLOCK = "the thread would be delayed in non block mode";
constexpr const char* NO_MEMORY = "insufficient memory was available to fulfill the request";
constexpr const char* NO_RESOURCES =
    "insufficient resources were available in the system to perform the operation";
constexpr const char* BAD_DESCRIPTOR = "invalid file descriptor";

constexpr errno_sentence READ_SENTENCES[] = {
    {EIO, "physical io error, or background process attempt to read from console terminal"},
    {ENXIO, NO_DEVICE},
    {EBADF, BAD_DESCRIPTOR},
    {EAGAIN, WOULD_BLOCK},
    {ENOMEM, NO_MEMORY},
    {EISDIR, "the file refers to a directory"},
    {EINVAL, MULTIPLEXER},
    {EBADMSG, "reading control message on a stream file"},
    {EOVERFLOW, "offset or length is out-of-range"},
    {ENOBUFS, NO_RESOURCES},
};
constexpr failure<sysfileExp> READ_FAILED{{
    .code = 7,
    .head = "CSysFile::Read - failed reading file\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = READ_SENTENCES,
}};

constexpr errno_sentence WRITE_SENTENCES[] = {
    {EIO, "physical io error, or background process attempt to write to its console terminal"},
    {ENXIO, NO_DEVICE},
    {EBADF, BAD_DESCRIPTOR},
    {EAGAIN, WOULD_BLOCK},
    {ENOMEM, NO_MEMORY},
    {EINVAL, MULTIPLEXER},
    {EFBIG, "no room for write, or offset out-of-range"},
    {ENOSPC, "there was no free space remaining on the device containing the file"},
    {EPIPE, "error writing pipe, pipe has been broken"},
    {ERANGE, "the transfer request size was outside the range supported by the streams file"},
    {ENOBUFS, NO_RESOURCES},
};
constexpr failure_layout WRITE_LAYOUT{
    .code = 9,
    .head = "CSysFile::Write - failed writing file\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = WRITE_SENTENCES,
};
constexpr std::int32_t BROKEN_PIPE_CODE = 34;

constexpr errno_sentence FLUSH_SENTENCES[] = {
    {EIO, "io error occurred to the file system"},
    {EBADF, BAD_DESCRIPTOR},
    {EINVAL, "the file is not support this operation"},
    {EFBIG, "size too big"},
};
constexpr failure<sysfileExp> FLUSH_FAILED{{
    .code = 15,
    .head = "CSysFile::Flush - failed flush the file\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = FLUSH_SENTENCES,
}};

constexpr errno_sentence SEEK_SENTENCES[] = {
    {EBADF, BAD_DESCRIPTOR},
    {EINVAL, "invalide argument, or the resulting file offset would be negative for the file"},
    {ESPIPE, "the fildes argument is associated with a pipe, fifo, or socket"},
    {EOVERFLOW, "the new file offset is too big"},
};
constexpr failure<sysfileExp> LSEEK_FAILED{{
    .code = 13,
    .head = "CSysFile/PosixSeekFile - error seek file pointer\n",
    .keys = {"  sys error  = ", "  error desc = "},
    .sentences = SEEK_SENTENCES,
}};
/// What the operations that seek make of it.
constexpr failure<sysfileExp> seeking_failed(std::int32_t code, const char* head) {
    return {{.code = code, .head = head, .keys = {"  file path = "}}};
}
constexpr auto SEEK_BEGIN_FAILED = seeking_failed(13, "CSysFile::SeekBegin - failed seeking in file\n");
constexpr auto SEEK_CURRENT_FAILED = seeking_failed(13, "CSysFile::SeekCurrent - failed seeking in file\n");
constexpr auto SEEK_END_FAILED = seeking_failed(13, "CSysFile::SeekEnd - failed seeking in file\n");
constexpr auto POSITION_FAILED =
    seeking_failed(14, "CSysFile::GetCurrentPos - failed get current position\n");
constexpr auto SIZE_FAILED = seeking_failed(17, "CSysFile::GetSize - failed retrive file size\n");

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

// --- ownership
// -----------------------------------------------------------------------------------------------

CSysFile::CSysFile(const CSysFile& other) noexcept
    : descriptor_(other.descriptor_), owners_(other.owners_), path_(other.path_) {
    owners_.share();
}

CSysFile::CSysFile(CSysFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, closed)),
      owners_(std::exchange(other.owners_, {})),
      path_(std::move(other.path_)) {}

CSysFile& CSysFile::operator=(const CSysFile& other) {
    return *this = CSysFile(other);
}

CSysFile& CSysFile::operator=(CSysFile&& other) {
    CSysFile taken(std::move(other));
    std::swap(descriptor_, taken.descriptor_);
    std::swap(owners_, taken.owners_);
    std::swap(path_, taken.path_);
    return *this;
}

CSysFile::~CSysFile() noexcept(false) {
    _GiveUp();
}

void CSysFile::_GiveUp() {
    const int number = static_cast<int>(std::exchange(descriptor_, closed));
    if (owners_.release()) close_descriptor(number);
}

void CSysFile::Close() {
    path_.clear();
    _GiveUp();
}

void CSysFile::_Adopt(int descriptor) {
    open_descriptor taken(descriptor);
    Close();
    owners_ = shared_count::create();
    descriptor_ = taken.take();
}

std::int64_t CSysFile::Disclaim() {
    if (!owners_.unique()) DISCLAIM_FAILED.raise();
    owners_.release();
    return descriptor_;
}

// --- opening
// -------------------------------------------------------------------------------------------------

void CSysFile::_OpenPath(const stringEx& path, file_access access, int creation, file_sharing sharing,
                         std::uint32_t permissions, std::uint32_t options) {
    open_descriptor opened = open_file({path, access, creation, sharing, permissions, options});
    owners_ = shared_count::create();
    descriptor_ = opened.take();
    path_ = path;
}

void CSysFile::Open(const stringEx& path, file_access access, int creation, file_sharing sharing,
                    std::uint32_t permissions, std::uint32_t options) {
    stringEx full = path;  // which may be this object's own
    Close();
    try {
        CDir::ConvToFullPath(full);
    } catch (const rootExp& inner) {
        PATH_FAILED.raise({full, wrapped{inner}});
    }
    _OpenPath(full, access, creation, sharing, permissions, options);
}

void CSysFile::OpenExact(const stringEx& path, file_access access, int creation, file_sharing sharing,
                         std::uint32_t permissions, std::uint32_t options) {
    const stringEx exact = path;
    Close();
    _OpenPath(exact, access, creation, sharing, permissions, options);
}

void CSysFile::Open(console which) {
    const auto number = static_cast<std::int32_t>(which);
    const bool known = which == console::input || which == console::output || which == console::error;
    path_.clear();
    if (known && descriptor_ == number) return;  // who owns the number goes on to own it
    _GiveUp();
    if (!known) CONSOLE_FAILED.raise({number});
    descriptor_ = number;
}

// --- reading, writing, seeking
// -------------------------------------------------------------------------------

std::size_t CSysFile::Read(void* buffer, std::size_t size) {
    const ssize_t count = retry_interrupted([&] { return ::read(_Number(), buffer, size); });
    if (count < 0) READ_FAILED.raise({path_, system_error{errno}});
    return static_cast<std::size_t>(count);
}

std::size_t CSysFile::Write(const void* buffer, std::size_t size) {
    const ssize_t count = retry_interrupted([&] { return ::write(_Number(), buffer, size); });
    if (count < 0) {
        const int error = errno;
        throw sysfileExp(WRITE_LAYOUT.text({path_, system_error{error}}),
                         error == EPIPE ? BROKEN_PIPE_CODE : WRITE_LAYOUT.code);
    }
    return static_cast<std::size_t>(count);
}

std::int64_t CSysFile::SeekBegin(const std::int64_t& offset) {
    return wrap_seek(SEEK_BEGIN_FAILED, path_, [&] { return seek(_Number(), offset, SEEK_SET); });
}

std::int64_t CSysFile::SeekCurrent(const std::int64_t& offset) {
    return wrap_seek(SEEK_CURRENT_FAILED, path_, [&] { return seek(_Number(), offset, SEEK_CUR); });
}

std::int64_t CSysFile::SeekEnd(const std::int64_t& offset) {
    return wrap_seek(SEEK_END_FAILED, path_, [&] { return seek(_Number(), offset, SEEK_END); });
}

std::int64_t CSysFile::GetCurrentPos() const {
    return wrap_seek(POSITION_FAILED, path_, [&] { return seek(_Number(), 0, SEEK_CUR); });
}

std::int64_t CSysFile::GetSize() const {
    // a regular file knows its size; but one that claims to have none may be a source without sizes, and only a
    // seek to the end tells
    struct stat status;
    if (::fstat(_Number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        return status.st_size;
    return wrap_seek(SIZE_FAILED, path_, [&] {
        const std::int64_t position = seek(_Number(), 0, SEEK_CUR);
        const std::int64_t size = seek(_Number(), 0, SEEK_END);
        seek(_Number(), position, SEEK_SET);
        return size;
    });
}

void CSysFile::Flush() {
    if (retry_interrupted([&] { return ::fsync(_Number()); }) != 0)
        FLUSH_FAILED.raise({path_, system_error{errno}});
}

}  // namespace Orlo

// Reading and writing: one system call an operation. What the forms with a position say differs from the others in
// a few sentences only; those stand first in their tables.

#include <unistd.h>

#include <array>
#include <cassert>

#include "files/sys_file_sentences.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr const char* MULTIPLEXER =
    "the stream is linked (directly or indirectly) downstream from a multiplexer";
constexpr const char* NO_DEVICE =
    "device not exist, or the request was outside the capabilities of the device";
constexpr const char* WOULD_BLOCK = "the thread would be delayed in non block mode";
constexpr const char* NO_MEMORY = "insufficient memory was available to fulfill the request";
constexpr const char* NO_RESOURCES =
    "insufficient resources were available in the system to perform the operation";

/// What every operation of this source makes of a failed call.
constexpr failure<sysfileExp> io_failed(std::int32_t code, const char* head,
                                        std::span<const errno_sentence> sentences) {
    return {{.code = code,
             .head = head,
             .keys = {"  file path  = ", "  error code = ", "  error desc = "},
             .sentences = sentences}};
}

/// The table `rest` with the rows of `first` before it, which hide those of the same number.
template <std::size_t A, std::size_t B>
constexpr std::array<errno_sentence, A + B> put_before(const errno_sentence (&first)[A],
                                                       const errno_sentence (&rest)[B]) {
    std::array<errno_sentence, A + B> all{};
    for (std::size_t i = 0; i < A + B; ++i)
        all[i] = i < A ? first[i] : rest[i - A];
    return all;
}

constexpr errno_sentence AT_POSITION_SENTENCES[] = {
    {EINVAL,
     "the stream is linked (directly or indirectly) downstream from a multiplexer, or the resulting file "
     "offset "
     "would be negative for the file"},
    {ESPIPE, NO_POSITIONS},
};
constexpr errno_sentence WRITE_AT_POSITION_SENTENCES[] = {
    AT_POSITION_SENTENCES[0], AT_POSITION_SENTENCES[1], {EOVERFLOW, OFFSET_TOO_BIG}};

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
constexpr auto READ_POS_SENTENCES = put_before(AT_POSITION_SENTENCES, READ_SENTENCES);
constexpr auto READ_FAILED =
    io_failed(sysfile_code::read, "CSysFile::Read - failed reading file\n", READ_SENTENCES);
constexpr auto READ_POS_FAILED =
    io_failed(sysfile_code::read, "CSysFile::ReadPos - failed reading file\n", READ_POS_SENTENCES);

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
constexpr auto WRITE_POS_SENTENCES = put_before(WRITE_AT_POSITION_SENTENCES, WRITE_SENTENCES);
constexpr const char* WRITE_HEAD = "CSysFile::Write - failed writing file\n";
constexpr auto WRITE_FAILED = io_failed(sysfile_code::write, WRITE_HEAD, WRITE_SENTENCES);
constexpr auto WRITE_POS_FAILED = io_failed(sysfile_code::write, WRITE_HEAD, WRITE_POS_SENTENCES);

constexpr errno_sentence FLUSH_SENTENCES[] = {
    {EIO, "io error occurred to the file system"},
    {EBADF, BAD_DESCRIPTOR},
    {EINVAL, "the file is not support this operation"},
    {EFBIG, "size too big"},
};
constexpr auto FLUSH_FAILED =
    io_failed(sysfile_code::flush, "CSysFile::Flush - failed flush the file\n", FLUSH_SENTENCES);

/// The bytes that `call` moved.
template <class Call>
std::size_t moved(const stringEx& path, const failure<sysfileExp>& failed, Call&& call) {
    const ssize_t count = retry_interrupted(call);
    if (count >= 0) return static_cast<std::size_t>(count);
    const int error = errno;
    throw sysfileExp(failed.text({path, system_error{error}}),
                     error == EPIPE ? std::int32_t{sysfile_code::broken_pipe} : failed.code, error);
}

}  // namespace

std::size_t CSysFile::Read(void* buffer, std::size_t size) {
    assert(buffer != nullptr || size == 0);
    return moved(m_path, READ_FAILED, [&] { return ::read(_Number(), buffer, size); });
}

std::size_t CSysFile::ReadPos(void* buffer, std::size_t size, std::int64_t offset) const {
    assert(buffer != nullptr || size == 0);
    return moved(m_path, READ_POS_FAILED, [&] { return ::pread(_Number(), buffer, size, offset); });
}

std::size_t CSysFile::Write(const void* buffer, std::size_t size) {
    assert(buffer != nullptr || size == 0);
    return moved(m_path, WRITE_FAILED, [&] { return ::write(_Number(), buffer, size); });
}

std::size_t CSysFile::Write(const void* buffer, std::size_t size, std::int64_t offset) {
    assert(buffer != nullptr || size == 0);
    return moved(m_path, WRITE_POS_FAILED, [&] { return ::pwrite(_Number(), buffer, size, offset); });
}

void CSysFile::Flush() {
    if (retry_interrupted([&] { return ::fsync(_Number()); }) != 0)
        FLUSH_FAILED.raise({m_path, system_error{errno}});
}

}  // namespace Orlo

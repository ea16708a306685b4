// Access and modification times.
//
// The system counts seconds of UTC. What this layer hands out is that count less the local zone, in microseconds,
// and it takes the same back, so that a time that was read here can be written here.

#include <fcntl.h>
#include <sys/stat.h>

#include <limits>

#include "files/path_call.h"
#include "files/sys_file_sentences.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr errno_sentence GET_SENTENCES[] = {
    {EBADF, BAD_DESCRIPTOR},
    {EOVERFLOW, "some fields cannot be represented correctly in the structure"},
    {EIO, "io error occurred while reading from the file system"},
};
constexpr errno_sentence SET_SENTENCES[] = {
    {EPERM, "the calling process does not have the appropriate privileges"},
    {ENOENT, "file not exists"},
    {EACCES, "permission is denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EROFS, "the file system containing the file is read-only"},
    {ENAMETOOLONG, "pathname is too long"},
    {ELOOP, "a loop exists in the symbolic links or links level is too deep"},
};
constexpr failure<sysfileExp> GET_FAILED{{
    .code = sysfile_code::get_time,
    .head = "CSysFile::GetTime - failed retrive the file status\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = GET_SENTENCES,
}};
constexpr failure<sysfileExp> SET_FAILED{{
    .code = sysfile_code::set_time,
    .head = "CSysFile::SetTime - error setting the file time\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
    .sentences = SET_SENTENCES,
}};

/// The local zone in microseconds.
CTimeSpan zone() {
    return CTimeSpan(CTime::GetLocalTimeZone() * std::int64_t{60'000'000});
}

CTime from_system(std::int64_t seconds) {
    return CTime(0) + CTimeSpan(IMPL::wrap_mul(seconds, g_usPerSecond)) - zone();
}

timespec to_system(const CTime* time) {
    if (time == nullptr) return {0, UTIME_OMIT};
    return {(*time + zone()).GetValue() / g_usPerSecond, 0};
}

}  // namespace

void CSysFile::GetTime(CTime* creation, CTime* access, CTime* modification) const {
    struct stat status;
    if (retry_interrupted([&] { return ::fstat(_Number(), &status); }) != 0)
        GET_FAILED.raise({m_path, system_error{errno}});
    if (creation != nullptr) *creation = CTime(std::numeric_limits<std::int64_t>::min());
    if (access != nullptr) *access = from_system(status.st_atim.tv_sec);
    if (modification != nullptr) *modification = from_system(status.st_mtim.tv_sec);
}

void CSysFile::SetTime(const CTime* access, const CTime* modification) {
    if (access == nullptr && modification == nullptr) return;
    const timespec times[] = {to_system(access), to_system(modification)};
    const int failed =
        call_with_path(m_path, [&](const char* path) { return ::utimensat(AT_FDCWD, path, times, 0); });
    if (failed != 0) SET_FAILED.raise({m_path, system_error{errno}});
}

}  // namespace Orlo

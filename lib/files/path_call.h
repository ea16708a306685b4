#pragma once

#include <sys/stat.h>

#include <cerrno>

#include "orlo/strings/buffer.h"
#include "strings/system_call.h"

namespace Orlo {

/// Makes a system call on a path: `call` gets a terminated C string and answers -1 with `errno` set on
/// failure; it is repeated while a signal interrupts it. A path with a zero byte inside fails with EINVAL, as
/// the system would only see its beginning.
template <class Call>
int call_with_path(const stringEx& path, Call&& call) {
    if (path.view().find('\0') != std::string_view::npos) {
        errno = EINVAL;
        return -1;
    }
    const stringEx text = path.terminated();
    return retry_interrupted([&] { return call(text.c_str()); });
}

/// `stat` by a path.
inline int stat_path(const stringEx& path, struct stat& out) {
    return call_with_path(path, [&](const char* text) { return ::stat(text, &out); });
}

/// Throws what `PosixStat` throws for a path whose status fails with `error`.
[[noreturn]] void raise_stat_failure(const stringEx& path, int error);

}  // namespace Orlo

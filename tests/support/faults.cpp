#include "support/faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <map>
#include <mutex>
#include <string>
#include <type_traits>

namespace testing_support::faults {
namespace {

struct state {
    int calls = 0;
    int skip = 0;
    int failures = 0;
    int error = 0;
    int cuts = 0;
    std::size_t cut_to = 0;
};

std::mutex& states_mutex() {
    static std::mutex made;
    return made;
}

/// Never destroyed: calls are made until the process ends.
std::map<std::string, state, std::less<>>& states() {
    static auto& made = *new std::map<std::string, state, std::less<>>;
    return made;
}

state& state_of(std::string_view call) {
    return states().try_emplace(std::string(call)).first->second;
}

/// Counts one call. True, with the error, if it is to fail.
bool fails(std::string_view call, int& error) {
    const std::scoped_lock lock(states_mutex());
    state& current = state_of(call);
    ++current.calls;
    if (current.failures == 0) return false;
    if (current.skip > 0) {
        --current.skip;
        return false;
    }
    --current.failures;
    error = current.error;
    return true;
}

std::size_t cut(std::string_view call, std::size_t size) {
    const std::scoped_lock lock(states_mutex());
    state& current = state_of(call);
    if (current.cuts == 0) return size;
    --current.cuts;
    return std::min(size, current.cut_to);
}

/// Makes the call, or fails as the system would: with `failed` for a result and the error in `errno`.
template <class Real>
auto make(std::string_view call, std::invoke_result_t<Real> failed, Real&& real) {
    int error = 0;
    if (!fails(call, error)) return real();
    errno = error;
    return failed;
}

}  // namespace

void fail_next(std::string_view call, int error, int times, int skip) {
    const std::scoped_lock lock(states_mutex());
    state& current = state_of(call);
    current.error = error;
    current.failures = times;
    current.skip = skip;
}

void shorten_next(std::string_view call, std::size_t size, int times) {
    const std::scoped_lock lock(states_mutex());
    state& current = state_of(call);
    current.cut_to = size;
    current.cuts = times;
}

int calls(std::string_view call) {
    const std::scoped_lock lock(states_mutex());
    return state_of(call).calls;
}

int pending() {
    const std::scoped_lock lock(states_mutex());
    int count = 0;
    for (const auto& [call, current] : states())
        count += current.failures + current.cuts;
    return count;
}

void reset() {
    const std::scoped_lock lock(states_mutex());
    states().clear();
}

}  // namespace testing_support::faults

// What the linker puts in place of each call. The argument behind the named ones is one word wherever it is
// given, and reading one that was not given does no harm.

using namespace testing_support::faults;

#define WRAPPED(NAME, RESULT, FAILED, PARAMETERS, ARGUMENTS)                 \
    extern "C" RESULT __real_##NAME PARAMETERS;                              \
    extern "C" RESULT __wrap_##NAME PARAMETERS;                              \
    RESULT __wrap_##NAME PARAMETERS {                                        \
        return make(#NAME, FAILED, [&] { return __real_##NAME ARGUMENTS; }); \
    }
#define WRAPPED_VARIADIC(NAME, FIRST, SECOND)                                        \
    extern "C" int __real_##NAME(FIRST, SECOND, ...);                                \
    extern "C" int __wrap_##NAME(FIRST, SECOND, ...);                                \
    int __wrap_##NAME(FIRST first, SECOND second, ...) {                             \
        std::va_list arguments;                                                      \
        va_start(arguments, second);                                                 \
        void* const third = va_arg(arguments, void*);                                \
        va_end(arguments);                                                           \
        return make(#NAME, -1, [&] { return __real_##NAME(first, second, third); }); \
    }
#define WRAPPED_TRANSFER(NAME, PARAMETERS, ARGUMENTS)                    \
    extern "C" ssize_t __real_##NAME PARAMETERS;                         \
    extern "C" ssize_t __wrap_##NAME PARAMETERS;                         \
    ssize_t __wrap_##NAME PARAMETERS {                                   \
        size = cut(#NAME, size);                                         \
        return make(#NAME, -1, [&] { return __real_##NAME ARGUMENTS; }); \
    }

WRAPPED_VARIADIC(open, const char*, int)
WRAPPED_VARIADIC(fcntl, int, int)
WRAPPED_VARIADIC(ioctl, int, unsigned long)
WRAPPED_TRANSFER(read, (int fd, void* buffer, std::size_t size), (fd, buffer, size))
WRAPPED_TRANSFER(write, (int fd, const void* buffer, std::size_t size), (fd, buffer, size))
WRAPPED_TRANSFER(pread, (int fd, void* buffer, std::size_t size, off_t at), (fd, buffer, size, at))
WRAPPED_TRANSFER(pwrite, (int fd, const void* buffer, std::size_t size, off_t at), (fd, buffer, size, at))
WRAPPED(close, int, -1, (int fd), (fd))
WRAPPED(lseek, off_t, -1, (int fd, off_t offset, int whence), (fd, offset, whence))
WRAPPED(fsync, int, -1, (int fd), (fd))
WRAPPED(ftruncate, int, -1, (int fd, off_t size), (fd, size))
WRAPPED(flock, int, -1, (int fd, int operation), (fd, operation))
WRAPPED(dup, int, -1, (int fd), (fd))
WRAPPED(stat, int, -1, (const char* path, struct stat* out), (path, out))
WRAPPED(mkdir, int, -1, (const char* path, mode_t mode), (path, mode))
WRAPPED(opendir, DIR*, nullptr, (const char* path), (path))
WRAPPED(readdir, dirent*, nullptr, (DIR * stream), (stream))
WRAPPED(getcwd, char*, nullptr, (char* out, std::size_t size), (out, size))
WRAPPED(pathconf, long, -1, (const char* path, int name), (path, name))

extern "C" int __real_posix_fadvise(int fd, off_t offset, off_t length, int advice);
extern "C" int __wrap_posix_fadvise(int fd, off_t offset, off_t length, int advice);
int __wrap_posix_fadvise(int fd, off_t offset, off_t length, int advice) {
    int error = 0;
    return fails("posix_fadvise", error) ? error : __real_posix_fadvise(fd, offset, length, advice);
}

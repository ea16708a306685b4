#include "support/faults.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace testing_support::faults {
namespace {

struct state {
    int calls = 0, failures = 0, skip = 0, error = 0;
};

constinit std::mutex states_mutex;

/// Never destroyed: calls are made until the process ends.
std::map<std::string, state, std::less<>>& states() {
    static auto& made = *new std::map<std::string, state, std::less<>>;
    return made;
}

state& state_of(std::string_view call) {
    return states().try_emplace(std::string(call)).first->second;
}

/// Counts one call. The error, if it is to fail.
std::optional<int> failing(std::string_view call) {
    const std::scoped_lock lock(states_mutex);
    state& current = state_of(call);
    ++current.calls;
    if (current.failures == 0 || current.skip-- > 0) return {};
    current.skip = 0;
    --current.failures;
    return current.error;
}

}  // namespace

void fail_next(std::string_view call, int error, int times, int skip) {
    const std::scoped_lock lock(states_mutex);
    state& current = state_of(call);
    current = {current.calls, times, skip, error};
}

int calls(std::string_view call) {
    const std::scoped_lock lock(states_mutex);
    return state_of(call).calls;
}

int pending() {
    const std::scoped_lock lock(states_mutex);
    int count = 0;
    for (const auto& [call, current] : states())
        count += current.failures;
    return count;
}

void reset() {
    const std::scoped_lock lock(states_mutex);
    states().clear();
}

}  // namespace testing_support::faults

// What the linker puts in place of each call: a function of as many words as any of them takes, that hands
// all of them on. Every argument and result is one word on the machines that these tests run on, and words
// that were not given do no harm.

using testing_support::faults::failing;

#define WRAPPED(NAME, FAILED)                                                      \
    extern "C" long __real_##NAME(long, long, long, long, long, long);             \
    extern "C" long __wrap_##NAME(long a, long b, long c, long d, long e, long f); \
    long __wrap_##NAME(long a, long b, long c, long d, long e, long f) {           \
        const std::optional<int> error = failing(#NAME);                           \
        return error ? (FAILED) : __real_##NAME(a, b, c, d, e, f);                 \
    }
#define ANSWERS_MINUS_ONE(NAME) WRAPPED(NAME, (errno = *error, -1))
#define ANSWERS_NULL(NAME) WRAPPED(NAME, (errno = *error, 0))
#define ANSWERS_THE_ERROR(NAME) WRAPPED(NAME, *error)

// operator new(std::size_t, const std::nothrow_t&) stands here under the name that the linker knows. Locking
// and waiting are left alone: the bookkeeping here would order threads that nothing else orders, and hide it
// from the thread sanitizer.
// clang-format off
#define EACH_MINUS_ONE(X)                                                                                        \
    X(open) X(fcntl) X(read) X(write) X(close) X(lseek) X(fsync) X(ftruncate) X(flock) X(stat) X(mkdir)          \
    X(pathconf) X(fstat) X(mmap) X(shm_open) X(shm_unlink) X(dlclose) X(sem_init) X(sem_destroy) X(sem_close)    \
    X(sem_unlink) X(munmap) X(msync) X(pread) X(pwrite) X(dup) X(utimensat) X(openat) X(unlinkat) X(linkat)      \
    X(renameat2) X(mkdirat) X(fstatat) X(copy_file_range) X(unlink) X(rmdir) X(symlink) X(link) X(chmod)         \
    X(statvfs)
#define EACH_NULL(X) X(opendir) X(fdopendir) X(readdir) X(getcwd) X(sem_open) X(_ZnwmRKSt9nothrow_t)
#define EACH_ERROR(X)                                                                                            \
    X(posix_fadvise) X(pthread_key_delete) X(pthread_mutexattr_init) X(pthread_mutexattr_settype)                \
    X(pthread_mutexattr_setpshared) X(pthread_mutexattr_destroy) X(pthread_mutex_init) X(pthread_mutex_destroy)  \
    X(pthread_condattr_init) X(pthread_condattr_setpshared) X(pthread_condattr_setclock)                         \
    X(pthread_condattr_destroy) X(pthread_cond_init) X(pthread_cond_broadcast) X(pthread_cond_destroy)
// clang-format on

EACH_MINUS_ONE(ANSWERS_MINUS_ONE)
EACH_NULL(ANSWERS_NULL)
EACH_ERROR(ANSWERS_THE_ERROR)

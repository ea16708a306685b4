#include "support/faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <map>
#include <mutex>
#include <new>
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

WRAPPED(fstat, int, -1, (int fd, struct stat* out), (fd, out))
WRAPPED(mmap, void*, MAP_FAILED, (void* at, std::size_t size, int access, int flags, int fd, off_t offset),
        (at, size, access, flags, fd, offset))
WRAPPED(shm_open, int, -1, (const char* name, int flags, mode_t mode), (name, flags, mode))
WRAPPED(shm_unlink, int, -1, (const char* name), (name))
WRAPPED(dlclose, int, -1, (void* handle), (handle))
WRAPPED(sem_init, int, -1, (sem_t * sem, int shared, unsigned value), (sem, shared, value))
WRAPPED(sem_destroy, int, -1, (sem_t * sem), (sem))
WRAPPED(sem_close, int, -1, (sem_t * sem), (sem))
WRAPPED(sem_unlink, int, -1, (const char* name), (name))
// operator new(std::size_t, const std::nothrow_t&), under the name that the linker knows
WRAPPED(_ZnwmRKSt9nothrow_t, void*, nullptr, (std::size_t size, const std::nothrow_t& tag), (size, tag))
extern "C" sem_t* __real_sem_open(const char* name, int flags, ...);
extern "C" sem_t* __wrap_sem_open(const char* name, int flags, mode_t mode, unsigned value);
sem_t* __wrap_sem_open(const char* name, int flags, mode_t mode, unsigned value) {
    return make("sem_open", SEM_FAILED, [&] { return __real_sem_open(name, flags, mode, value); });
}

// Calls that answer with an error number. Locking and waiting are left alone: the bookkeeping here would
// order threads that nothing else orders, and hide it from the thread sanitizer.
#define WRAPPED_NUMBER(NAME, PARAMETERS, ARGUMENTS)                   \
    extern "C" int __real_##NAME PARAMETERS;                          \
    extern "C" int __wrap_##NAME PARAMETERS;                          \
    int __wrap_##NAME PARAMETERS {                                    \
        int error = 0;                                                \
        return fails(#NAME, error) ? error : __real_##NAME ARGUMENTS; \
    }

WRAPPED_NUMBER(posix_fadvise, (int fd, off_t offset, off_t length, int advice), (fd, offset, length, advice))
WRAPPED_NUMBER(pthread_key_delete, (pthread_key_t key), (key))
WRAPPED_NUMBER(pthread_mutexattr_init, (pthread_mutexattr_t * attribute), (attribute))
WRAPPED_NUMBER(pthread_mutexattr_settype, (pthread_mutexattr_t * attribute, int type), (attribute, type))
WRAPPED_NUMBER(pthread_mutexattr_setpshared, (pthread_mutexattr_t * attribute, int shared),
               (attribute, shared))
WRAPPED_NUMBER(pthread_mutexattr_destroy, (pthread_mutexattr_t * attribute), (attribute))
WRAPPED_NUMBER(pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t* attribute),
               (mutex, attribute))
WRAPPED_NUMBER(pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex))
WRAPPED_NUMBER(pthread_condattr_init, (pthread_condattr_t * attribute), (attribute))
WRAPPED_NUMBER(pthread_condattr_setpshared, (pthread_condattr_t * attribute, int shared), (attribute, shared))
WRAPPED_NUMBER(pthread_condattr_setclock, (pthread_condattr_t * attribute, clockid_t clock),
               (attribute, clock))
WRAPPED_NUMBER(pthread_condattr_destroy, (pthread_condattr_t * attribute), (attribute))
WRAPPED_NUMBER(pthread_cond_init, (pthread_cond_t * cond, const pthread_condattr_t* attribute),
               (cond, attribute))
WRAPPED_NUMBER(pthread_cond_broadcast, (pthread_cond_t * cond), (cond))
WRAPPED_NUMBER(pthread_cond_destroy, (pthread_cond_t * cond), (cond))

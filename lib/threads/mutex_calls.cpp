#include "threads/mutex_calls.h"

#include <cerrno>

#include "threads/clock_choice.h"

namespace Orlo::IMPL::mutex_calls {
namespace {

constexpr errno_sentence LOCK_SENTENCES[] = {
    {EDEADLK, "deadlock detected"},
    {EINVAL, "mutex object does not correctly initialized"},
    {EAGAIN, "maximum number of recursive locks has been exceeded"},
};
constexpr errno_sentence UNLOCK_SENTENCES[] = {
    {EPERM, "the current thread does not own the mutex"},
    {EDEADLK, "deadlock detected"},
    {EINVAL, "mutex object does not correctly initialized"},
    {EAGAIN, "maximum number of recursive locks has been exceeded"},
};
constexpr auto LOCK_FAILED =
    system_failure<mutexExp>(mutex_code::lock, "CMutex/Lock - failed lock mutex\n", LOCK_SENTENCES);
constexpr auto TRY_LOCK_FAILED =
    system_failure<mutexExp>(mutex_code::lock, "CMutex/TryLock - failed lock mutex\n", LOCK_SENTENCES);
constexpr auto TIMED_LOCK_FAILED = system_failure<mutexExp>(
    mutex_code::timed_lock, "CMutex/TimedLock - failed lock mutex\n", LOCK_SENTENCES);
constexpr auto UNLOCK_FAILED =
    system_failure<mutexExp>(mutex_code::unlock, "CMutex/Unlock - failed unlock mutex\n", UNLOCK_SENTENCES);

void check(int error, const failure<mutexExp>& failed) {
    if (error != 0) failed.raise({system_error{error}});
}

}  // namespace

void MakeRecursive(pthread_mutex_t& mutex, bool shared, const make_failures& failures) {
    pthread_mutexattr_t attribute;
    check(pthread_mutexattr_init(&attribute), failures.attribute);
    try {
        check(pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE), failures.type);
        if (shared) check(pthread_mutexattr_setpshared(&attribute, PTHREAD_PROCESS_SHARED), failures.shared);
        check(pthread_mutex_init(&mutex, &attribute), failures.init);
    } catch (...) {
        pthread_mutexattr_destroy(&attribute);
        throw;
    }
    if (const int error = pthread_mutexattr_destroy(&attribute)) {
        pthread_mutex_destroy(&mutex);
        failures.release.raise({system_error{error}});
    }
}

void Lock(pthread_mutex_t& mutex) {
    check(pthread_mutex_lock(&mutex), LOCK_FAILED);
}

bool TryLock(pthread_mutex_t& mutex) {
    const int error = pthread_mutex_trylock(&mutex);
    if (error == EBUSY) return false;
    check(error, TRY_LOCK_FAILED);
    return true;
}

bool TimedLock(pthread_mutex_t& mutex, CTimeLimit limit) {
    if (limit.IsTry()) return TryLock(mutex);
    if (limit.IsForever()) {
        Lock(mutex);
        return true;
    }
    const int error = IMPL::timed_lock(mutex, limit.GetMicroseconds());
    if (error == ETIMEDOUT) return false;
    check(error, TIMED_LOCK_FAILED);
    return true;
}

void Unlock(pthread_mutex_t& mutex) {
    check(pthread_mutex_unlock(&mutex), UNLOCK_FAILED);
}

}  // namespace Orlo::IMPL::mutex_calls

#pragma once

#include <pthread.h>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/mutex.h"
#include "orlo/threads/time_limit.h"
#include "strings/failure.h"

// What a local and a named mutex do alike, with its failures.

namespace Orlo::IMPL::mutex_calls {

inline constexpr errno_sentence ATTRIBUTE_SENTENCES[] = {
    {ENOMEM, "insufficient memory exists to initialize the attrs"}};
inline constexpr errno_sentence TYPE_SENTENCES[] = {{EINVAL, "attr's type value is invalid"}};
inline constexpr errno_sentence SHARED_SENTENCES[] = {{EINVAL, "the process-shared attribute is invalid"}};
inline constexpr errno_sentence INIT_SENTENCES[] = {
    {EBUSY, "attempt to reinitialize the mutex"},
    {EINVAL, "invalid attr object"},
    {EAGAIN, "the system lacked the necessary resources"},
    {ENOMEM, "insufficient memory"},
};
inline constexpr errno_sentence RELEASE_SENTENCES[] = {{EINVAL, "the value specified by attr is invalid"}};
inline constexpr errno_sentence DESTROY_SENTENCES[] = {
    {EBUSY, "attempt to destroy a locked mutex"},
    {EINVAL, "the value specified by mutex is invalid"},
};

/// What the steps of making a mutex fail with.
struct make_failures {
    failure<mutexExp> attribute;
    failure<mutexExp> type;
    failure<mutexExp> shared;
    failure<mutexExp> init;
    failure<mutexExp> release;
};

constexpr make_failures make_failures_of(const char* attribute, const char* type, const char* shared,
                                         const char* init, const char* release) {
    return {system_failure<mutexExp>(mutex_code::make, attribute, ATTRIBUTE_SENTENCES),
            system_failure<mutexExp>(mutex_code::make, type, TYPE_SENTENCES),
            system_failure<mutexExp>(mutex_code::make, shared, SHARED_SENTENCES),
            system_failure<mutexExp>(mutex_code::make, init, INIT_SENTENCES),
            system_failure<mutexExp>(mutex_code::make, release, RELEASE_SENTENCES)};
}

/// Makes a recursive mutex, shared between processes or not.
void MakeRecursive(pthread_mutex_t& mutex, bool shared, const make_failures& failures);

void Lock(pthread_mutex_t& mutex);
bool TryLock(pthread_mutex_t& mutex);
bool TimedLock(pthread_mutex_t& mutex, CTimeLimit limit);
void Unlock(pthread_mutex_t& mutex);

/// A mutex as `CLockGuard` takes it.
struct ORLO_CAPABILITY("mutex") native_lock {
    pthread_mutex_t& mutex;
    void Lock() ORLO_ACQUIRE() { mutex_calls::Lock(mutex); }
    void Unlock() ORLO_RELEASE() { mutex_calls::Unlock(mutex); }
};

}  // namespace Orlo::IMPL::mutex_calls

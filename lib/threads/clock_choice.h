#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cstdint>

// Timed waits on a lock or a semaphore count on the monotonic clock where the C library can, and on the wall
// clock, which may be set while they wait, where it cannot.

namespace Orlo::IMPL {

/// One function that the C library may lack, looked up at first use.
struct optional_call {
    static constexpr std::uintptr_t not_looked_up = 0;
    static constexpr std::uintptr_t absent = ~std::uintptr_t{0};

    const char* name;
    std::atomic<std::uintptr_t> address{not_looked_up};

    /// The function's address, or null if the C library lacks it. Safe from any thread.
    void* find();
};

extern optional_call g_mutexClockLock;
extern optional_call g_semClockWait;

/// The point `microseconds` from now on `clock`, at most the largest count of microseconds.
timespec deadline_after(clockid_t clock, std::int64_t microseconds) noexcept;

/// Locks `mutex` within the time. Returns 0 or the error, ETIMEDOUT among them.
int timed_lock(pthread_mutex_t& mutex, std::int64_t microseconds);

/// Takes a permit within the time. Returns 0 or the error, ETIMEDOUT among them; a signal does not end the
/// wait nor lengthen it.
int timed_wait(sem_t& sem, std::int64_t microseconds);

}  // namespace Orlo::IMPL

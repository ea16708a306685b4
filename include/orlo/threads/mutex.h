#pragma once

#include <pthread.h>

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/standard_names.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// The codes of `mutexExp`.
namespace mutex_code {
enum : std::int32_t { make = 1, destroy = 2, lock = 3, unlock = 4, timed_lock = 5 };
}  // namespace mutex_code

/// A recursive lock of this process that can be tried and timed. Where neither is needed, `CLightMutex` is
/// cheaper.
///
/// ```cpp
/// CMutex mutex;
/// if (!mutex.TimedLock(100u)) return;  // another thread held it for 100 ms
/// mutex.Unlock();
/// const CLockGuard held(mutex);
/// ```
///
/// Threads: any thread may lock; only the holder may `Unlock`, once for each lock.
///
/// Failures are `mutexExp`: code 1 from construction, 2 from destruction (a lock still held), 3 from `Lock`
/// and `TryLock`, 4 from `Unlock` (a caller that does not hold the lock, which stays as it was), 5 from
/// `TimedLock`.
class ORLO_API ORLO_CAPABILITY("CMutex") CMutex : public standard_lock_names<CMutex> {
public:
    CMutex();
    /// Not while another exception is in flight.
    ~CMutex() noexcept(false);
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Takes the lock, or one level more of it, waiting for as long as another thread holds it.
    void Lock() ORLO_ACQUIRE();
    /// Takes the lock if it is free or the caller's; false if another thread holds it.
    [[nodiscard]] bool TryLock() ORLO_TRY_ACQUIRE(true);
    /// Takes the lock, waiting for it no longer than `limit`; false if it did not come free.
    [[nodiscard]] bool TimedLock(CTimeLimit limit) ORLO_TRY_ACQUIRE(true);
    /// Gives up one level.
    void Unlock() ORLO_RELEASE();

private:
    friend class CEvent;
    friend class CProcEvent;

    pthread_mutex_t m_mutex;
};

}  // namespace Orlo

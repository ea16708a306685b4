#pragma once

#include <pthread.h>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// A recursive lock of this process that can be tried and timed. Where neither is needed, `CLightMutex` is
/// cheaper.
///
/// Threads: any thread may lock; only the holder may `Unlock`, once for each lock.
///
/// Failures are `mutexExp`: code 1 from construction, 2 from destruction (a lock still held), 3 from `Lock`
/// and `TryLock`, 4 from `Unlock` (a caller that does not hold the lock, which stays as it was), 5 from
/// `TimedLock`.
class CMutex {
public:
    CMutex();
    /// Not while another exception is in flight.
    ~CMutex() noexcept(false);
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Takes the lock, or one level more of it, waiting for as long as another thread holds it.
    void Lock();
    /// Takes the lock if it is free or the caller's; false if another thread holds it.
    bool TryLock();
    /// Takes the lock, waiting for it no longer than `limit`; false if it did not come free.
    bool TimedLock(CTimeLimit limit);
    /// Gives up one level.
    void Unlock();

private:
    friend class CEvent;
    friend class CProcEvent;

    pthread_mutex_t m_mutex;
};

}  // namespace Orlo

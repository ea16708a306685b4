#pragma once

#include <algorithm>
#include <cstdint>

#include "orlo/threads/lock_guard.h"
#include "orlo/threads/sem.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// A place where threads sleep until others let them go on. Its sleepers are counted under a lock of the
/// user's, so that a thread that has nobody to wake makes no system call:
///
/// ```cpp
/// #include "orlo/threads/light_mutex.h"
/// CLightMutex lock;
/// CWaitPlace place;
/// bool ready = false;
/// // one thread waits ...
/// lock.Lock();
/// const bool sleeps = !ready;
/// if (sleeps) place.Enter();
/// lock.Unlock();
/// if (sleeps) place.Sleep(lock, WAIT_FOREVER);
/// // ... and another lets it go on
/// lock.Lock();
/// ready = true;
/// const std::uint32_t claimed = place.Claim();
/// lock.Unlock();
/// place.Wake(claimed);
/// ```
///
/// Threads: `Enter` and `Claim` with the lock held, always the same one; `Sleep` and `Wake` without it. The
/// destructor must be alone.
///
/// Failures: none.
class CWaitPlace {
public:
    static constexpr std::uint32_t all = 0xFFFFFFFF;

    /// Counts the caller as a sleeper; once it has given the lock up, it calls `Sleep`.
    void Enter() noexcept { ++m_sleepers; }

    bool HasSleepers() const noexcept { return m_sleepers != 0; }

    /// Takes up to `most` sleepers out of the count. The caller wakes them, once it has given the lock up.
    [[nodiscard]] std::uint32_t Claim(std::uint32_t most = 1) noexcept {
        const std::uint32_t claimed = std::min(most, m_sleepers);
        m_sleepers -= claimed;
        return claimed;
    }

    /// Lets as many go on as were claimed.
    void Wake(std::uint32_t claimed) { m_permits.P(claimed); }

    /// Sleeps until the caller is let go on; false if `limit` ran out first, and the caller is not counted
    /// any more.
    template <class LOCK>
    bool Sleep(LOCK& lock, CTimeLimit limit) {
        if (m_permits.TimedWait(limit)) return true;
        {
            const CLockGuard<LOCK> hold(lock);
            if (Claim() != 0) return false;
        }
        m_permits
            .Wait();  // all who are still asleep were claimed meanwhile: one of the permits is the caller's
        return true;
    }

private:
    std::uint32_t m_sleepers = 0;
    CSem m_permits;
};

}  // namespace Orlo

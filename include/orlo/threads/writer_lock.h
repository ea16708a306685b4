#pragma once

#include <pthread.h>

#include <cstdint>

#include "orlo/export.h"
#include "orlo/process/tls_slot.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/rw_guard.h"
#include "orlo/threads/sem.h"
#include "orlo/threads/spin_light_mutex.h"
#include "orlo/threads/standard_names.h"

namespace Orlo {

namespace IMPL {
template <class WORDS>
struct rw_rules;
template <class LOCK>
class rw_drive;
}  // namespace IMPL

/// A reader/writer lock that sleeps on a semaphore: many threads read, or one writes.
///
/// ```cpp
/// #include <shared_mutex>
/// CWriterLock lock;
/// {
///     const std::shared_lock reads(lock);  // or a CReadGuard, or __ReadLock and __Unlock
/// }
/// if (lock.__TimedLock(100u)) lock.__Unlock();  // to write, waiting 100 ms at most
/// ```
///
/// Recursive for both: a reader may read again, at any time; the writer may write and read again, and each of
/// its holds, of either kind, counts as one for writing. A reader that asks to write raises its holds: it
/// waits until the other readers have gone, keeps new ones out, and then has one hold for writing more than
/// it had for reading. Every hold taken needs one `__Unlock`, from the thread that took it. `CReadGuard` and
/// `CWriteGuard` do that for a scope.
///
/// Not promised is fairness (docs/rw_lock_model.md shows the schedules). In particular:
/// - a reader is not held back by a writer that merely waits, so that readers who overlap keep it waiting;
/// - a writer that unlocks wakes one waiter. If that is a reader, the readers that slept beside it sleep on
///   until the lock is free again, though they could read; those that come new read at once, and one of them
///   can even take the permit of the reader that is about to wake;
/// - a try can fail on a lock that is free, while a thread that was woken for it has not run yet;
/// - two readers that both ask to write would wait for each other: the second one gets an exception.
///
/// Threads: any; locks of one process only. The destructor must be alone and the lock free. One lock takes
/// one `CTlsSlot`, of which a process has about a thousand.
///
/// Failures: `rwlExp`, code 10: another thread is already raising its holds; give up the own read holds to
/// let it through. Code 11: `__Unlock` without a hold. Code 12: `__Downgrade` without a write hold. `tlsExp`,
/// code 3: the thread's read holds cannot be noted. The lock and the caller's holds are then as they were.
class ORLO_API ORLO_CAPABILITY("CWriterLock") CWriterLock : public standard_shared_lock_names<CWriterLock> {
public:
    /// A free lock. Throws `tlsExp` with code 1 when the process has no slot left.
    CWriterLock() = default;
    CWriterLock(const CWriterLock&) = delete;
    CWriterLock& operator=(const CWriterLock&) = delete;

    /// Takes a write hold. Fails with codes 10 and 3.
    void __Lock() ORLO_ACQUIRE();
    /// The same within `limit`, a `CTimeSpan` or milliseconds; false if it ran out. Fails with codes 10
    /// and 3.
    [[nodiscard]] bool __TimedLock(CTimeLimit limit) ORLO_TRY_ACQUIRE(true);
    /// The same at once or not at all.
    [[nodiscard]] bool __TryLock() ORLO_TRY_ACQUIRE(true) { return __TimedLock(0u); }

    /// Takes a read hold. Fails with code 3.
    void __ReadLock() ORLO_ACQUIRE_SHARED();
    /// The same within `limit`; false if it ran out. Fails with code 3.
    [[nodiscard]] bool __TimedReadLock(CTimeLimit limit) ORLO_TRY_ACQUIRE_SHARED(true);
    /// The same at once or not at all.
    [[nodiscard]] bool __TryReadLock() ORLO_TRY_ACQUIRE_SHARED(true) { return __TimedReadLock(0u); }

    /// Gives up one hold, of either kind. Fails with codes 11 and 3.
    void __Unlock() ORLO_RELEASE_GENERIC();
    /// Turns all the caller's write holds into as many read holds, and lets waiting readers in. Fails with
    /// codes 12 and 3.
    void __Downgrade();

    /// 0 when free, the number of read holds, or minus the number of the writer's holds. A snapshot.
    [[nodiscard]] std::int64_t GetState();

private:
    template <class WORDS>
    friend struct IMPL::rw_rules;
    template <class LOCK>
    friend class IMPL::rw_drive;
    struct port;

    // Guards all but the gate and the depth. The analysis is not told: the words are changed by steps that
    // run inside of `rw_drive::guarded` only, which it cannot follow.
    CSpinLightMutex m_guard;
    std::int64_t m_state = 0;
    pthread_t m_writer = 0;
    CSem m_gate{1};
    std::uint32_t m_waiters = 0;
    std::uint32_t m_upgrading = 0;
    CTlsSlot m_readDepth;
    std::uint32_t m_readWaiters = 0;  // those of the waiters that want to read: whom a downgrade lets through
};

}  // namespace Orlo

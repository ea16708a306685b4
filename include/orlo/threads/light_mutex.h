#pragma once

#include <pthread.h>

#include <atomic>
#include <cassert>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/lazy_sem.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/standard_names.h"

namespace Orlo {

/// The cheapest recursive lock of the library: two atomic operations and no system call when nobody contends.
///
/// Its semaphore is made at the first contention. It can stand in static storage, ready before any
/// initialiser runs. Locks of one thread nest; each needs its own `Unlock`, and the last one hands the lock
/// to one of the waiters, in no promised order. A thread that arrives meanwhile queues up as well;
/// it cannot overtake the hand-over.
///
/// ```cpp
/// #include <mutex>
/// static CLightMutex lock;
/// const CLockGuard held(lock);              // or, by the standard library's names:
/// const std::lock_guard held_twice(lock);
/// ```
///
/// Threads: any thread may `Lock`; only the holder may `Unlock`, which is not checked. The destructor must
/// be alone: nobody holds the lock or waits for it.
///
/// Failures: none.
class ORLO_API ORLO_CAPABILITY("CLightMutex") CLightMutex : public standard_lock_names<CLightMutex> {
public:
    constexpr CLightMutex() noexcept = default;
    CLightMutex(const CLightMutex&) = delete;
    CLightMutex& operator=(const CLightMutex&) = delete;

    /// Takes the lock, or one level more of it, waiting for as long as another thread holds it.
    void Lock() ORLO_ACQUIRE() {
        if (m_count.fetch_add(1) == -1) {
            _Own();
        } else {
            _LockCounted();
        }
    }

    /// Takes the lock, or one level more of it, if no other thread holds it.
    [[nodiscard]] bool TryLock() noexcept ORLO_TRY_ACQUIRE(true) {
        if (_TryTake()) return true;
        if (!_IsMine()) return false;
        m_count.fetch_add(1);
        ++m_recursion;
        return true;
    }

    /// Gives up one level.
    void Unlock() ORLO_RELEASE() {
        assert(_IsMine());
        if (--m_recursion != 0) {
            m_count.fetch_sub(1);
            return;
        }
        m_owner.store(0, std::memory_order_relaxed);
        if (m_count.fetch_sub(1) > 0) m_sem.Get().P();
    }

protected:
    /// True if the calling thread holds the lock. A racing answer can only be false: no other thread ever
    /// stores the caller's id.
    bool _IsMine() const noexcept { return m_owner.load(std::memory_order_relaxed) == pthread_self(); }

    bool _TryTake() noexcept {
        std::int64_t free = -1;
        if (!m_count.compare_exchange_strong(free, 0)) return false;
        _Own();
        return true;
    }

    /// Makes the caller, whom the count already admits, the owner at depth 1.
    void _Own() noexcept {
        m_owner.store(pthread_self(), std::memory_order_relaxed);
        m_recursion = 1;
    }

    /// The lock's second half, for a caller that has raised the count of a lock which was not free.
    void _LockCounted();

    /// -1 when free; otherwise one less than the levels held and the threads that wait, taken together.
    std::atomic<std::int64_t> m_count{-1};
    /// The holder's depth; only the holder reads or writes it.
    std::uint64_t m_recursion = 0;
    /// The holder's id, 0 when there is none; only the holder writes it.
    std::atomic<pthread_t> m_owner{0};
    CLazySem m_sem;

private:
    friend class CLightMutexRelease;
};

static_assert(sizeof(CLightMutex) == 4 * sizeof(void*), "a light mutex is four words");

/// Gives up all levels of a light mutex that the caller holds, for the length of a wait, and takes them back.
///
/// ```cpp
/// CLightMutex lock;
/// lock.Lock();
/// CLightMutexRelease release(lock);
/// release.Release();   // others get in
/// release.TakeBack();
/// lock.Unlock();
/// ```
///
/// Threads: it belongs to the thread that holds the lock. Failures: none.
class ORLO_API CLightMutexRelease {
public:
    explicit CLightMutexRelease(CLightMutex& lock) noexcept : m_lock(lock) {}
    /// Gives the lock up.
    void Release();
    /// Takes it back at the depth that it had, by the steps of `Lock`.
    void TakeBack() ORLO_NO_THREAD_SAFETY_ANALYSIS;  // the caller had the lock before `Release`

private:
    CLightMutex& m_lock;
    std::uint64_t m_depth = 0;
};

}  // namespace Orlo

#pragma once

#include <mutex>

#include "orlo/strings/destructor_guard.h"
#include "orlo/thread_annotations.h"

namespace Orlo {

namespace IMPL {

/// What a guard does with a lock that can be held in one way only.
struct whole_hold {
    // what a hold does with a lock outlives the call, which the analysis does not allow for
    static void take(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.Lock(); }
    static bool try_to_take(auto& lock) requires requires { lock.TryLock(); }
    { return lock.TryLock(); }
    static void give(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.Unlock(); }
};

}  // namespace IMPL

/// Holds a lock for a scope: `CLightMutex`, `CMutex` or any class with `Lock` and `Unlock`. A lock that can
/// be held in several ways brings a `HOLD` for each (rw_guard.h).
///
/// ```cpp
/// #include "orlo/threads/light_mutex.h"
/// CLightMutex lock;
/// {
///     const CLockGuard held(lock);
///     // here no other thread is inside
/// }
/// ```
///
/// Two words: the lock, which must outlive the guard, and whether the guard holds it.
///
/// Threads: a guard belongs to the thread that made it.
///
/// Failures: what the lock's own operations throw. The destructor lets through what `Unlock` throws, unless
/// another exception is in flight.
template <class LOCK, class HOLD = IMPL::whole_hold>
class ORLO_SCOPED_CAPABILITY CLockGuard {
public:
    /// Takes the lock.
    explicit CLockGuard(LOCK& lock) ORLO_ACQUIRE(lock) : m_lock(&lock) { Lock(); }
    /// Does not take it yet.
    CLockGuard(LOCK& lock, std::defer_lock_t) noexcept ORLO_EXCLUDES(lock) : m_lock(&lock) {}
    ~CLockGuard() noexcept(false) ORLO_RELEASE() {  // the analysis treats a lambda as a caller without locks
        if (m_held) finish_in_destructor([this]() ORLO_NO_THREAD_SAFETY_ANALYSIS { Unlock(); });
    }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;

    /// Takes the lock; nothing if the guard holds it.
    void Lock() ORLO_ACQUIRE() {
        if (m_held) return;
        HOLD::take(*m_lock);
        m_held = true;
    }

    /// Takes the lock if it is free; true if the guard holds it afterwards.
    template <class L = LOCK>
    requires requires(L& lock) { HOLD::try_to_take(lock); }
    [[nodiscard]] bool TryLock() ORLO_TRY_ACQUIRE(true) ORLO_NO_THREAD_SAFETY_ANALYSIS {  // depends on m_held
        return m_held = m_held || HOLD::try_to_take(*m_lock);
    }

    /// Gives the lock up; nothing if the guard does not hold it.
    void Unlock() ORLO_RELEASE() {
        if (!m_held) return;
        m_held = false;
        HOLD::give(*m_lock);
    }

    bool IsHeld() const noexcept { return m_held; }

private:
    LOCK* m_lock;
    bool m_held = false;
};

}  // namespace Orlo

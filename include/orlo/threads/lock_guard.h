#pragma once

#include <mutex>

#include "orlo/strings/destructor_guard.h"

namespace Orlo {

namespace IMPL {

/// What a guard does with a lock that can be held in one way only.
struct whole_hold {
    static void take(auto& lock) { lock.Lock(); }
    static bool try_to_take(auto& lock) requires requires { lock.TryLock(); }
    { return lock.TryLock(); }
    static void give(auto& lock) { lock.Unlock(); }
};

}  // namespace IMPL

/// Holds a lock for a scope: `CLightMutex`, `CMutex` or any class with `Lock` and `Unlock`. A lock that can
/// be held in several ways brings a `HOLD` for each (rw_guard.h).
///
/// Two words: the lock, which must outlive the guard, and whether the guard holds it.
///
/// Threads: a guard belongs to the thread that made it.
///
/// Failures: what the lock's own operations throw. The destructor lets through what `Unlock` throws, unless
/// another exception is in flight.
template <class LOCK, class HOLD = IMPL::whole_hold>
class CLockGuard {
public:
    /// Takes the lock.
    explicit CLockGuard(LOCK& lock) : lock_(&lock) { Lock(); }
    /// Does not take it yet.
    CLockGuard(LOCK& lock, std::defer_lock_t) noexcept : lock_(&lock) {}
    ~CLockGuard() noexcept(false) {
        if (held_) finish_in_destructor([this] { Unlock(); });
    }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;

    /// Takes the lock; nothing if the guard holds it.
    void Lock() {
        if (held_) return;
        HOLD::take(*lock_);
        held_ = true;
    }

    /// Takes the lock if it is free; true if the guard holds it afterwards.
    bool TryLock() requires requires(LOCK& lock) { HOLD::try_to_take(lock); }
    { return held_ = held_ || HOLD::try_to_take(*lock_); }

    /// Gives the lock up; nothing if the guard does not hold it.
    void Unlock() {
        if (!held_) return;
        held_ = false;
        HOLD::give(*lock_);
    }

    bool IsHeld() const noexcept { return held_; }

private:
    LOCK* lock_;
    bool held_ = false;
};

}  // namespace Orlo

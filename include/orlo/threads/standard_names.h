#pragma once

#include "orlo/thread_annotations.h"

namespace Orlo {

// The names by which the standard library knows locks: with one of these as a base, a lock works with
// std::lock_guard, std::unique_lock and std::scoped_lock, and a reader/writer lock with std::shared_lock.
// Each does what the lock's own operation does.
//
// The analysis is off inside: it cannot know that the lock taken by its own operation is this object.

/// For a lock with `Lock`, `TryLock` and `Unlock`.
template <class LOCK>
class ORLO_CAPABILITY("lock") standard_lock_names {
public:
    void lock() ORLO_ACQUIRE() ORLO_NO_THREAD_SAFETY_ANALYSIS { static_cast<LOCK&>(*this).Lock(); }
    [[nodiscard]] bool try_lock() ORLO_TRY_ACQUIRE(true) ORLO_NO_THREAD_SAFETY_ANALYSIS {
        return static_cast<LOCK&>(*this).TryLock();
    }
    void unlock() ORLO_RELEASE() ORLO_NO_THREAD_SAFETY_ANALYSIS { static_cast<LOCK&>(*this).Unlock(); }
};

/// For a lock with `__Lock`, `__ReadLock`, `__TryLock`, `__TryReadLock` and `__Unlock`.
template <class LOCK>
class ORLO_CAPABILITY("lock") standard_shared_lock_names {
public:
    void lock() ORLO_ACQUIRE() ORLO_NO_THREAD_SAFETY_ANALYSIS { static_cast<LOCK&>(*this).__Lock(); }
    [[nodiscard]] bool try_lock() ORLO_TRY_ACQUIRE(true) ORLO_NO_THREAD_SAFETY_ANALYSIS {
        return static_cast<LOCK&>(*this).__TryLock();
    }
    void unlock() ORLO_RELEASE() ORLO_NO_THREAD_SAFETY_ANALYSIS { static_cast<LOCK&>(*this).__Unlock(); }

    void lock_shared() ORLO_ACQUIRE_SHARED() ORLO_NO_THREAD_SAFETY_ANALYSIS {
        static_cast<LOCK&>(*this).__ReadLock();
    }
    [[nodiscard]] bool try_lock_shared() ORLO_TRY_ACQUIRE_SHARED(true) ORLO_NO_THREAD_SAFETY_ANALYSIS {
        return static_cast<LOCK&>(*this).__TryReadLock();
    }
    void unlock_shared() ORLO_RELEASE_SHARED() ORLO_NO_THREAD_SAFETY_ANALYSIS {
        static_cast<LOCK&>(*this).__Unlock();
    }
};

}  // namespace Orlo

#pragma once

#include <cstdint>

#include "orlo/thread_annotations.h"
#include "orlo/threads/lock_guard.h"

namespace Orlo {

namespace IMPL {

// What a hold does with a lock outlives the call, which the analysis does not allow for.

struct read_hold {
    static void take(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.__ReadLock(); }
    static bool try_to_take(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { return lock.__TryReadLock(); }
    static void give(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.__Unlock(); }
};

struct write_hold {
    static void take(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.__Lock(); }
    static bool try_to_take(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { return lock.__TryLock(); }
    static void give(auto& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.__Unlock(); }
};

}  // namespace IMPL

/// Holds a reader/writer lock, `CWriterLock` or `CFastWriterSpinLock`, to read, for a scope.
///
/// ```cpp
/// #include "orlo/threads/writer_lock.h"
/// CWriterLock lock;
/// const CReadGuard<CWriterLock> reads(lock);
/// const CWriteGuard<CWriterLock> writes(lock);  // inside the other: raises the hold
/// ```
template <class LOCK>
class ORLO_SCOPED_CAPABILITY CReadGuard : public CLockGuard<LOCK, IMPL::read_hold> {
    using base = CLockGuard<LOCK, IMPL::read_hold>;

public:
    /// Takes the lock.
    explicit CReadGuard(LOCK& lock) ORLO_ACQUIRE_SHARED(lock) : base(lock) {}
    /// Does not take it yet.
    CReadGuard(LOCK& lock, std::defer_lock_t defer) noexcept ORLO_EXCLUDES(lock) : base(lock, defer) {}
    ~CReadGuard() noexcept(false) ORLO_RELEASE() {}
};

/// The same to write. A write guard inside a read guard of the same thread raises the hold, and its end
/// leaves all as holds for writing, until the last of them is given up.
template <class LOCK>
using CWriteGuard = CLockGuard<LOCK, IMPL::write_hold>;

/// The codes of `rwlExp`.
namespace rwl_code {
enum : std::int32_t {
    no_free_row = 2,          ///< a process has as many `CFastWriterSpinLock` as it can have
    second_raise = 10,        ///< another thread is already raising its read holds
    unlock_not_held = 11,     ///< `__Unlock` without a hold
    downgrade_not_held = 12,  ///< `__Downgrade` without a write hold
};
}  // namespace rwl_code

}  // namespace Orlo

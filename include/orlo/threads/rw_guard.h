#pragma once

#include "orlo/threads/lock_guard.h"

namespace Orlo {

namespace IMPL {

struct read_hold {
    static void take(auto& lock) { lock.__ReadLock(); }
    static bool try_to_take(auto& lock) { return lock.__TryReadLock(); }
    static void give(auto& lock) { lock.__Unlock(); }
};

struct write_hold {
    static void take(auto& lock) { lock.__Lock(); }
    static bool try_to_take(auto& lock) { return lock.__TryLock(); }
    static void give(auto& lock) { lock.__Unlock(); }
};

}  // namespace IMPL

/// Holds a reader/writer lock, `CWriterLock` or `CFastWriterSpinLock`, for a scope: one to read, one to
/// write. A write guard inside a read guard of the same thread raises the hold, and its end leaves all as
/// holds for writing, until the last of them is given up.
template <class LOCK>
using CReadGuard = CLockGuard<LOCK, IMPL::read_hold>;
template <class LOCK>
using CWriteGuard = CLockGuard<LOCK, IMPL::write_hold>;

}  // namespace Orlo

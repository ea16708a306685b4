#pragma once

#include <cstdint>

#include "orlo/export.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/light_mutex.h"
#include "orlo/threads/standard_names.h"

namespace Orlo {

namespace IMPL {

/// Tells the processor that the caller spins.
inline void spin_pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace IMPL

/// A light mutex that spins for a while before it blocks. For locks that are held for a few instructions: the
/// holder has most often gone before a waiter could have been put to sleep and woken again.
///
/// ```cpp
/// CSpinLightMutex lock;
/// const CLockGuard held(lock);
/// ```
///
/// Everything else is as in `CLightMutex`: four words, recursive, no failures.
class ORLO_API ORLO_CAPABILITY("CSpinLightMutex") CSpinLightMutex
    : public CLightMutex,
      public standard_lock_names<CSpinLightMutex> {
    using names = standard_lock_names<CSpinLightMutex>;

public:
    using names::lock, names::try_lock, names::unlock;

    /// Rounds that are worth a try before sleeping, for a lock that nothing special is known of.
    static constexpr std::uint32_t default_rounds = 800;

    /// Non-zero on a machine with more than one processor, set at start. While it is zero nobody spins:
    /// whoever holds the lock could not run meanwhile.
    static std::uint32_t g_spinEnabled;

    /// Takes the lock, or one level more of it; spins up to `rounds` rounds before it blocks.
    void Lock(std::uint32_t rounds = default_rounds) ORLO_ACQUIRE() {
        if (!_TryTake()) _LockContended(rounds);
    }

private:
    bool _SpinOnce() noexcept ORLO_TRY_ACQUIRE(true);
    void _LockContended(std::uint32_t rounds) ORLO_ACQUIRE();
};

static_assert(sizeof(CSpinLightMutex) == sizeof(CLightMutex), "spinning adds no field");

}  // namespace Orlo

#pragma once

#include <cstdint>

#include "orlo/threads/light_mutex.h"

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
/// Everything else is as in `CLightMutex`: four words, recursive, no failures.
class CSpinLightMutex : public CLightMutex {
public:
    /// Rounds that are worth a try before sleeping, for a lock that nothing special is known of.
    static constexpr std::uint32_t default_rounds = 800;

    /// Non-zero on a machine with more than one processor, set at start. While it is zero nobody spins:
    /// whoever holds the lock could not run meanwhile.
    static std::uint32_t g_spinEnabled;

    /// Takes the lock, or one level more of it; spins up to `rounds` rounds before it blocks.
    void Lock(std::uint32_t rounds = default_rounds) {
        if (!_TryTake()) _LockContended(rounds);
    }

    /// Takes the lock, or one level more of it, and spins until it gets it; blocks only where spinning is
    /// pointless.
    void LockSpinning() {
        if (!_TryTake()) _LockUnbounded();
    }

private:
    bool _TryTake() noexcept {
        std::int64_t free = -1;
        if (!m_count.compare_exchange_strong(free, 0)) return false;
        _Own();
        return true;
    }
    bool _SpinOnce() noexcept;
    void _LockContended(std::uint32_t rounds);
    void _LockUnbounded();
};

static_assert(sizeof(CSpinLightMutex) == sizeof(CLightMutex), "spinning adds no field");

}  // namespace Orlo

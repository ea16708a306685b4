#pragma once

#include <atomic>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/threads/lazy_sem.h"

namespace Orlo {

/// A gate that lets one thread through for each time that it was opened: a semaphore that costs one atomic
/// operation while nobody sleeps at it. Two words. A new gate is open for one.
///
/// ```cpp
/// CSpinGate gate;
/// gate.Wait();  // passes at once: it is open for one
/// gate.Open();  // for the next one
/// ```
///
/// A permit that is given while threads sleep is handed to one of them, in no promised order; a thread that
/// arrives later cannot take it from under them.
///
/// Threads: every operation from any thread; the destructor must be alone.
///
/// Failures: none.
class ORLO_API CSpinGate {
public:
    /// Non-zero on a machine with more than one processor, set at start. While it is zero nobody spins.
    static std::uint32_t g_spinEnabled;

    constexpr CSpinGate() noexcept = default;
    CSpinGate(const CSpinGate&) = delete;
    CSpinGate& operator=(const CSpinGate&) = delete;

    /// Takes a permit if one lies there.
    [[nodiscard]] bool TryPass() noexcept {
        std::int64_t seen = m_count.load(std::memory_order_relaxed);
        while (seen < 0) {
            if (m_count.compare_exchange_weak(seen, seen + 1)) return true;
        }
        return false;
    }

    /// Takes a permit; spins up to `rounds` rounds for one and then sleeps.
    void Wait(std::uint32_t rounds = 0) {
        if (rounds != 0 && g_spinEnabled != 0 && _SpinThrough(rounds)) return;
        if (m_count.fetch_add(1) >= 0) m_sem.Get().Wait();
    }

    /// Gives one permit.
    void Open() {
        if (m_count.fetch_sub(1) > 0) m_sem.Get().P();
    }

private:
    bool _SpinThrough(std::uint32_t rounds) noexcept;

    /// Below 0: minus the permits that lie there. Above 0: the threads that sleep, or are about to.
    std::atomic<std::int64_t> m_count{-1};
    CLazySem m_sem;
};

static_assert(sizeof(CSpinGate) == 2 * sizeof(void*), "a gate is two words");

}  // namespace Orlo

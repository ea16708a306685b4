#pragma once

#include <cstdint>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/sem.h"
#include "orlo/threads/spin_gate.h"
#include "orlo/threads/spin_light_mutex.h"

namespace Orlo {

/// The lock of a queue between producers and a consumer: a gate that admits one producer at a time, a
/// semaphore on which the consumer sleeps, with one permit for each item, and a mutex that spins, for the
/// container.
///
/// It also serves as a plain recursive lock: then only `Lock` and `Unlock` are used.
///
/// Threads: any. The destructor must be alone.
///
/// Failures: `semExp` from the operations on items (sem.h), which beyond 2147483647 items is code 3.
class FASTPDU_SPIN_PCLOCK {
public:
    /// `spin`: rounds that `Lock` spins before it sleeps; 0 means until the lock is free. On a machine with
    /// one processor nobody spins.
    explicit FASTPDU_SPIN_PCLOCK(std::uint32_t spin = 0) : m_spin(spin) {}

    /// Takes the mutex, or one level more of it.
    void Lock() {
        if (m_spin == 0) {
            m_mutex.LockSpinning();
        } else {
            m_mutex.Lock(m_spin);
        }
    }
    /// Gives up one level.
    void Unlock() { m_mutex.Unlock(); }

    /// A producer enters, alone; who comes meanwhile sleeps.
    void EnterProducer() { m_gate.Wait(); }
    /// It leaves, and lets the next one in.
    void LeaveProducer() { m_gate.Open(); }

    /// One more item is there: wakes the consumer if it sleeps.
    void PostItem() { m_items.P(); }
    /// Takes the permit of one item within `limit`; false if none came.
    bool WaitItem(CTimeLimit limit) { return (!limit.IsTry() && _SpinForItem()) || m_items.TimedWait(limit); }

private:
    /// A consumer that sleeps costs each producer a system call for each item until it runs again, so it
    /// looks for a moment whether the next item is on its way.
    bool _SpinForItem() {
        if (CSpinGate::g_spinEnabled == 0) return false;
        for (std::uint32_t n = 0; n < item_rounds; ++n) {
            if (m_items.TryWait()) return true;
            IMPL::spin_pause();
        }
        return false;
    }

    static constexpr std::uint32_t item_rounds = 100;

    CSpinGate m_gate;
    CSem m_items{0};
    CSpinLightMutex m_mutex;
    std::uint32_t m_spin;
};

}  // namespace Orlo

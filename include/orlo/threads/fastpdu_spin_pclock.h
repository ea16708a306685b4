#pragma once

#include <pthread.h>

#include <atomic>
#include <cassert>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/standard_names.h"

namespace Orlo {

/// The lock of the log and of its queue: recursive, held for a few instructions, taken by many threads. It
/// spins before it sleeps.
///
/// ```cpp
/// FASTPDU_SPIN_PCLOCK lock(1000);
/// lock.Lock();
/// lock.Lock();    // one level more
/// lock.Unlock();
/// lock.Unlock();  // now others can have it
/// ```
///
/// Unlike `CLightMutex` it is not handed over: once unlocked it is free, and a thread that runs can take it
/// before one that has to be woken. So it keeps moving when there are more threads than processors, but
/// which thread is next is not promised.
///
/// Threads: any may `Lock`; only the holder may `Unlock`. The destructor must be alone.
///
/// Failures: none.
class ORLO_API ORLO_CAPABILITY("FASTPDU_SPIN_PCLOCK") FASTPDU_SPIN_PCLOCK
    : public standard_lock_names<FASTPDU_SPIN_PCLOCK> {
public:
    /// `spin`: how often `Lock` looks at a lock that is held before it sleeps; 0 means until it is free. On a
    /// machine with one processor it sleeps at once.
    explicit FASTPDU_SPIN_PCLOCK(std::uint32_t spin = 0) noexcept : m_spin(spin) {}
    FASTPDU_SPIN_PCLOCK(const FASTPDU_SPIN_PCLOCK&) = delete;
    FASTPDU_SPIN_PCLOCK& operator=(const FASTPDU_SPIN_PCLOCK&) = delete;

    /// Takes the lock, or one level more of it.
    void Lock() ORLO_ACQUIRE() {
        if (_IsMine()) {
            ++m_depth;
        } else {
            if (!_TryTake()) _LockContended();
            _Own();
        }
    }

    /// Takes the lock, or one level more of it, if no other thread holds it.
    [[nodiscard]] bool TryLock() noexcept ORLO_TRY_ACQUIRE(true) {
        if (_IsMine()) {
            ++m_depth;
            return true;
        }
        if (!_TryTake()) return false;
        _Own();
        return true;
    }

    /// Gives up one level.
    void Unlock() noexcept ORLO_RELEASE() {
        assert(_IsMine());
        if (--m_depth != 0) return;
        m_owner.store(0, std::memory_order_relaxed);
        if (m_word.exchange(is_free, std::memory_order_release) == is_awaited) m_word.notify_one();
    }

private:
    static constexpr std::uint32_t is_free = 0, is_held = 1, is_awaited = 2;  // awaited: held, and some sleep

    bool _IsMine() const noexcept { return m_owner.load(std::memory_order_relaxed) == pthread_self(); }
    bool _TryTake() noexcept {
        std::uint32_t seen = is_free;
        return m_word.compare_exchange_strong(seen, is_held, std::memory_order_acquire);
    }
    void _Own() noexcept {
        m_owner.store(pthread_self(), std::memory_order_relaxed);
        m_depth = 1;
    }
    bool _Spin() noexcept;
    void _LockContended() noexcept;

    std::atomic<std::uint32_t> m_word{is_free};
    std::uint32_t m_depth = 0;
    std::atomic<pthread_t> m_owner{0};
    std::uint32_t m_spin;
};

}  // namespace Orlo

#pragma once

#include <sched.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/fastpdu_spin_pclock.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/spin_light_mutex.h"
#include "orlo/threads/time_limit.h"
#include "orlo/threads/wait_place.h"

namespace Orlo {

/// A first-in, first-out queue between threads, without a limit on its length: a producer that must not let
/// it grow without end counts the free places itself. Items are moved in and out.
///
/// ```cpp
/// CMessageQueue<int> queue;
/// queue.Push(7);  // any thread
/// int item = 0;
/// queue.Pop(item);  // the consumer, which waits for an item
/// if (!queue.WaitEmpty(1000u)) return;  // a flush: not all was consumed within a second
/// ```
///
/// Producers append to the back, under the queue's lock; a consumer that finds the front used up takes the
/// whole back for its new front, so that the two sides meet once for many items. A producer makes a system
/// call only when a consumer sleeps.
///
/// `LOCK` is the lock of the back: `Lock`, `Unlock`, and made from the number of rounds that it spins. A
/// `CONTAINER` has what a `std::deque` has under `push_back`, `front`, `pop_front`, `empty`, `size` and
/// `swap`.
///
/// Threads: any number `Push`. One thread at a time pops; where several do, each item still comes out once
/// and in the queue's order. `Size` and `WaitEmpty` may be called from anywhere. The destructor must be
/// alone; it destroys the items that are left.
///
/// Failures: what the container and the moves of `T` throw, with the queue and the item as they were;
/// otherwise none.
template <class T, class LOCK = FASTPDU_SPIN_PCLOCK, class CONTAINER = std::deque<T>>
class CMessageQueue {
public:
    CMessageQueue() = default;
    /// `spin`: what the lock spins; see `FASTPDU_SPIN_PCLOCK`.
    explicit CMessageQueue(std::uint32_t spin) : m_backLock(spin) {}
    virtual ~CMessageQueue() = default;
    CMessageQueue(const CMessageQueue&) = delete;
    CMessageQueue& operator=(const CMessageQueue&) = delete;

    /// Appends `item`. Never waits for room. If it throws, the item is still the caller's.
    void Push(T&& item) {
        std::uint32_t claimed = 0;
        {
            const CLockGuard<LOCK> hold(m_backLock);
            m_back.push_back(std::move(item));
            m_hasBack.store(true, std::memory_order_relaxed);
            claimed = m_consumers.Claim();
        }
        if (claimed != 0) m_consumers.Wake(claimed);
    }

    /// Waits for an item and moves the oldest one into `item`.
    void Pop(T& item) { (void)TimedPop(item, WAIT_FOREVER); }
    /// The same if there is one; false if the queue is empty.
    [[nodiscard]] bool TryPop(T& item) { return TimedPop(item, 0u); }
    /// The same within `limit`, milliseconds or a `CTimeSpan`; false if no item came.
    [[nodiscard]] bool TimedPop(T& item, CTimeLimit limit) {
        if (_TakeFront(item, false)) return true;
        if (limit.IsTry()) return false;
        const CTimeLeft time(limit);
        do {
            _LookForBack();
            if (_TakeFront(item, true)) return true;
        } while (m_consumers.Sleep(m_backLock, time.Get()));
        return _TakeFront(item, false);
    }

    /// How many items there are; by the time the caller looks at it, there may be others.
    [[nodiscard]] std::size_t Size() {
        const CLockGuard front(m_frontLock);
        const CLockGuard<LOCK> back(m_backLock);
        return m_front.size() + m_back.size();
    }

    /// Waits until the queue is empty; at once if it is. False if `limit` ran out. A wake-up counts: another
    /// `Push` may have followed before this thread runs again.
    [[nodiscard]] bool WaitEmpty(CTimeLimit limit) {
        {
            const CLockGuard front(m_frontLock);
            if (_IsEmpty()) return true;
            if (limit.IsTry()) return false;
            m_flushers.Enter();
        }
        return m_flushers.Sleep(m_frontLock, limit);
    }

private:
    /// How often a consumer looks whether an item is on its way, before it sleeps: a consumer that sleeps
    /// costs the next producer a system call, and itself the time to be woken.
    static constexpr int looks_before_sleep = 40;

    /// Takes the oldest item; false if there is none, and then, if it `sleeps`, the caller is one of the
    /// consumers that sleep.
    bool _TakeFront(T& item, bool sleeps) {
        std::uint32_t claimed = 0;
        {
            const CLockGuard front(m_frontLock);
            if (m_front.empty() && !_TakeBack(sleeps)) return false;
            item = std::move(m_front.front());  // if it throws, the item stays, for the next Pop
            m_front.pop_front();
            if (m_flushers.HasSleepers() && _IsEmpty()) claimed = m_flushers.Claim(CWaitPlace::all);
        }
        if (claimed != 0) m_flushers.Wake(claimed);
        return true;
    }

    /// Makes the back the front, which is empty.
    bool _TakeBack(bool sleeps) ORLO_REQUIRES(m_frontLock) {
        const CLockGuard<LOCK> back(m_backLock);
        if (m_back.empty()) {
            if (sleeps) m_consumers.Enter();
            return false;
        }
        m_front.swap(m_back);
        m_hasBack.store(false, std::memory_order_relaxed);
        return true;
    }

    void _LookForBack() const noexcept {
        if (CSpinLightMutex::g_spinEnabled == 0) return;
        for (int n = 0; n < looks_before_sleep && !m_hasBack.load(std::memory_order_relaxed); ++n)
            sched_yield();
    }

    bool _IsEmpty() ORLO_REQUIRES(m_frontLock) {
        const CLockGuard<LOCK> back(m_backLock);
        return m_front.empty() && m_back.empty();
    }

    CSpinLightMutex m_frontLock;
    CONTAINER m_front ORLO_GUARDED_BY(m_frontLock);
    CWaitPlace m_flushers;
    // Apart from the front, so that the two sides share no cache line.
    alignas(64) CONTAINER m_back ORLO_GUARDED_BY(m_backLock);
    LOCK m_backLock;
    std::atomic<bool> m_hasBack{false};
    CWaitPlace m_consumers;
};

}  // namespace Orlo

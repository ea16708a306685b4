#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/event.h"
#include "orlo/threads/fastpdu_spin_pclock.h"
#include "orlo/threads/lock_guard.h"

namespace Orlo {

namespace IMPL {

/// How a producer holds the lock of a queue.
struct producer_hold {
    static void take(auto& lock) { lock.EnterProducer(); }
    static void give(auto& lock) { lock.LeaveProducer(); }
};

}  // namespace IMPL

/// A first-in, first-out queue between threads, without a limit on its length: whoever must not let it grow
/// counts the free places outside. Items are moved in and out.
///
/// Threads: any number `Push`. One thread at a time pops; where several do, each item still comes out once
/// and in the queue's order. `Size` and `WaitEmpty` may be called from anywhere. The destructor must be
/// alone; it destroys the items that are left.
///
/// Failures: what the container and the moves of `T` throw, with the queue and the item as they were;
/// `semExp` code 3 beyond 2147483647 items; otherwise none.
template <class T, class LOCK = FASTPDU_SPIN_PCLOCK, class CONTAINER = std::deque<T>>
class CMessageQueue {
public:
    CMessageQueue() = default;
    /// `spin`: what the lock spins; see `FASTPDU_SPIN_PCLOCK`.
    explicit CMessageQueue(std::uint32_t spin) : m_lock(spin) {}
    virtual ~CMessageQueue() = default;
    CMessageQueue(const CMessageQueue&) = delete;
    CMessageQueue& operator=(const CMessageQueue&) = delete;

    /// Appends `item`. Never waits for room. If it throws, the item is still the caller's.
    void Push(T&& item) {
        std::size_t size = 0;
        {
            const CLockGuard<LOCK, IMPL::producer_hold> inside(m_lock);
            {
                const CLockGuard<LOCK> hold(m_lock);
                m_items.push_back(std::move(item));
                size = m_items.size();
            }
            m_lock.PostItem();
        }
        if (size == 1) _NoteWhetherEmpty();
    }

    /// Waits for an item and moves the oldest one into `item`.
    void Pop(T& item) { TimedPop(item, WAIT_FOREVER); }
    /// The same if there is one; false if the queue is empty.
    bool TryPop(T& item) { return TimedPop(item, 0u); }
    /// The same within `limit`, milliseconds or a `CTimeSpan`; false if no item came.
    bool TimedPop(T& item, CTimeLimit limit) {
        if (!m_lock.WaitItem(limit)) return false;
        bool empty = false;
        try {
            const CLockGuard<LOCK> hold(m_lock);
            item = std::move(m_items.front());
            m_items.pop_front();
            empty = m_items.empty();
        } catch (...) {
            m_lock.PostItem();  // the item stayed
            throw;
        }
        if (empty) _NoteWhetherEmpty();
        return true;
    }

    /// How many items there are; by the time the caller looks at it, there may be others.
    std::size_t Size() {
        const CLockGuard<LOCK> hold(m_lock);
        return m_items.size();
    }

    /// Waits until the queue is empty; at once if it is. False if `limit` ran out. A wake-up counts: another
    /// `Push` may have followed before this thread runs again.
    bool WaitEmpty(CTimeLimit limit) { return m_empty.TimedWait(limit); }

private:
    /// Takes the lock a second time and makes the event say what is true now. What the caller saw when it
    /// held the lock may be past, and then must not be told: a producer that was overtaken by the consumer
    /// would lower the event on an empty queue, and `WaitEmpty` would sleep for ever.
    void _NoteWhetherEmpty() {
        const CLockGuard<LOCK> hold(m_lock);
        if (m_items.empty()) {
            m_empty.Raise();
        } else {
            m_empty.Reset();
        }
    }

    CONTAINER m_items;
    LOCK m_lock;
    CEvent m_empty{true};
};

}  // namespace Orlo

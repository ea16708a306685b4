#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/light_mutex.h"
#include "orlo/threads/mutex.h"

namespace Orlo {

/// The codes of `eventExp`.
namespace event_code {
enum : std::int32_t { make = 1, destroy = 2, raise = 3, wait = 4, timed_wait = 5 };
}  // namespace event_code

namespace IMPL {

/// What an event consists of beside its mutex; in a named event, the 56 bytes that processes share.
struct event_state {
    pthread_cond_t m_cond;
    std::atomic<std::uint32_t> m_raised;
};
static_assert(sizeof(event_state) == 56);

}  // namespace IMPL

/// An event of this process: raised or not, until `Reset` (it does not reset itself).
///
/// ```cpp
/// CEvent ready;
/// ready.Raise();  // one thread
/// if (!ready.TimedWait(100u)) return;  // another: it was not raised within 100 ms
/// ready.Reset();
/// ```
///
/// A wait ends when the event is raised. It tests once: a wake-up counts as the event, so that a wait may
/// also end when the system wakes a thread for no reason, or find that the event was reset meanwhile. A
/// caller that needs to be sure waits in a loop.
///
/// With an outside lock, which the caller holds and which is given up for the length of the wait, the event
/// is a condition variable. Raise it while holding that lock; otherwise the wake-up can be missed:
///
///   A holds the lock, finds the event not raised
///   B (without the lock) raises the event, wakes nobody, and resets it
///   A begins to sleep, until the next `Raise`
///
/// Threads: every operation from any thread. The destructor must be alone: it waits for threads that are
/// inside a wait, for ever if nobody raises.
///
/// Failures are `eventExp`: code 1 from construction, 2 from destruction, 3 from `Raise`, 4 from `Wait`, 5
/// from `TimedWait`.
class ORLO_API CEvent {
public:
    explicit CEvent(bool raised = false);
    /// Not while another exception is in flight.
    ~CEvent() noexcept(false);
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    /// Raises the event and wakes all who wait.
    void Raise();
    void Reset();
    [[nodiscard]] bool IsRaised();

    /// Waits until the event is raised.
    void Wait();
    /// The same, no longer than `limit`; false if it was not raised.
    [[nodiscard]] bool TimedWait(CTimeLimit limit);

    /// The same with an outside lock. A `CMutex` must be held exactly once: a deeper hold is not given up,
    /// and the wait would keep everyone else out. A `CMutex` that the caller does not hold is code 4 or 5.
    void Wait(CMutex& lock) ORLO_REQUIRES(lock);
    [[nodiscard]] bool TimedWait(CMutex& lock, CTimeLimit limit) ORLO_REQUIRES(lock);
    /// A light mutex is given up and taken back at whatever depth the caller holds it.
    void Wait(CLightMutex& lock) ORLO_REQUIRES(lock);
    [[nodiscard]] bool TimedWait(CLightMutex& lock, CTimeLimit limit) ORLO_REQUIRES(lock);

private:
    IMPL::event_state m_state;
    CMutex m_mutex;
};

}  // namespace Orlo

#pragma once

#include "orlo/export.h"
#include "orlo/files/shm.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/event.h"
#include "orlo/threads/proc_mutex.h"

namespace Orlo {

/// An event that processes share by a name. It lives in a `CShMem` region of that name, 56 bytes long, and
/// its mutex is the `CProcMutex` of the name followed by ".lock".
///
/// ```cpp
/// CProcEvent ready = CProcEvent::Create("/render_ready");  // each process does this
/// ready.Raise();
/// ready.Wait();
/// ```
///
/// It waits as `CEvent` does, outside locks included; those are of this process, so that only its own threads
/// can raise without a wake-up being missed.
///
/// Nothing is recovered. A process that dies
///   - inside an operation leaves the mutex held, and everyone else's operation waits for ever;
///   - inside a wait leaves a waiter, and the creator's destructor waits for it for ever:
///       B Wait, B is killed       A (the creator) is destroyed: never returns
///   - as the creator leaves both names, which the next `Create` opens as they are.
/// The creator is to be destroyed last, after it has raised the event for those who wait; a forked child's
/// copy of it ends nothing. An object that is
/// destroyed later than the creator cannot take the mutex any more, and its destructor fails like any
/// operation.
///
/// Threads: as `CEvent`, across processes.
///
/// Failures: of the regions `shmemExp`, as in `CShMem`; of the mutex `mutexExp`; of the event `eventExp`,
/// with the codes of `CEvent`.
class ORLO_API CProcEvent {
public:
    /// Opens the event `name`, which keeps its state, or makes it, raised or not.
    static CProcEvent Create(const stringEx& name, bool raised = false);
    static CProcEvent Create(const wstringEx& name, bool raised = false);
    /// Opens the event `name`, which must exist.
    static CProcEvent Open(const stringEx& name);
    static CProcEvent Open(const wstringEx& name);

    /// The creator destroys the event; names go with the objects that made them. Not while another exception
    /// is in flight.
    ~CProcEvent() noexcept(false);
    CProcEvent(CProcEvent&&) noexcept = default;
    CProcEvent& operator=(CProcEvent&&) = delete;

    /// As those of `CEvent`.
    void Raise();
    void Reset();
    [[nodiscard]] bool IsRaised();
    void Wait();
    [[nodiscard]] bool TimedWait(CTimeLimit limit);
    void Wait(CMutex& lock) ORLO_REQUIRES(lock);
    [[nodiscard]] bool TimedWait(CMutex& lock, CTimeLimit limit) ORLO_REQUIRES(lock);
    void Wait(CLightMutex& lock) ORLO_REQUIRES(lock);
    [[nodiscard]] bool TimedWait(CLightMutex& lock, CTimeLimit limit) ORLO_REQUIRES(lock);

    /// True if this object made the event, in this process: false for the copy that a forked child has.
    bool IsCreator() const noexcept { return m_region.IsCreator(); }

private:
    CProcEvent(CShMem&& region, CProcMutex&& mutex) noexcept
        : m_region(std::move(region)), m_mutex(std::move(mutex)) {}

    IMPL::event_state& _State() const noexcept {
        return *static_cast<IMPL::event_state*>(m_region.GetAddress());
    }

    CShMem m_region;
    CProcMutex m_mutex;
};

}  // namespace Orlo

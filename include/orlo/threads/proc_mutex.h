#pragma once

#include <pthread.h>

#include "orlo/export.h"
#include "orlo/files/shm.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/standard_names.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// A recursive lock that processes share by a name, which is the name of the `CShMem` region it lives in.
///
/// ```cpp
/// CProcMutex mutex = CProcMutex::Create("/render_lock");  // each process does this
/// const CLockGuard held(mutex);
/// ```
///
/// Nothing is recovered: a process that dies holding the lock leaves it held, for ever for those who wait
/// without a limit:
///
///   A Lock, A is killed       B Lock: waits for ever; B TimedLock: false at its limit
///
/// and one that dies as the creator leaves the region, held or not, to the next `Create`. The creator's
/// destructor ends the lock for everyone who still has it open: their operations fail from then on. A forked
/// child's copy of the creator ends nothing when it is destroyed.
///
/// Threads: as `CMutex`, across processes.
///
/// Failures: of the region `shmemExp`, as in `CShMem`; of the lock `mutexExp`, with the codes of `CMutex`.
class ORLO_API ORLO_CAPABILITY("CProcMutex") CProcMutex : public standard_lock_names<CProcMutex> {
public:
    /// Opens the lock `name`, or makes it. Creators may race: one makes it, the others wait until it is
    /// ready.
    static CProcMutex Create(const stringEx& name, std::uint32_t access = ACCESS_READ_WRITE);
    static CProcMutex Create(const wstringEx& name, std::uint32_t access = ACCESS_READ_WRITE);
    /// Opens the lock `name`, which must exist; `access` as above.
    static CProcMutex Open(const stringEx& name, std::uint32_t access = ACCESS_READ_WRITE);
    static CProcMutex Open(const wstringEx& name, std::uint32_t access = ACCESS_READ_WRITE);

    /// The creator destroys the lock, which fails while it is held, and removes the name. Not while another
    /// exception is in flight.
    ~CProcMutex() noexcept(false);
    /// Takes the lock object over; the source may only be destroyed.
    CProcMutex(CProcMutex&& other) noexcept = default;
    CProcMutex& operator=(CProcMutex&&) = delete;

    /// As those of `CMutex`.
    void Lock() ORLO_ACQUIRE();
    [[nodiscard]] bool TryLock() ORLO_TRY_ACQUIRE(true);
    [[nodiscard]] bool TimedLock(CTimeLimit limit) ORLO_TRY_ACQUIRE(true);
    void Unlock() ORLO_RELEASE();

    /// True if this object made the lock, in this process: false for the copy that a forked child has.
    bool IsCreator() const noexcept { return m_region.IsCreator(); }

private:
    friend class CProcEvent;

    explicit CProcMutex(CShMem&& region) noexcept : m_region(std::move(region)) {}

    pthread_mutex_t& _Mutex() const noexcept { return *static_cast<pthread_mutex_t*>(m_region.GetAddress()); }

    CShMem m_region;
};

}  // namespace Orlo

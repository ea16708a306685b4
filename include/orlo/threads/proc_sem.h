#pragma once

#include <semaphore.h>
#include <unistd.h>

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"
#include "orlo/threads/sem.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// A counting semaphore that processes share by a name: one path component of at most 251 bytes, by custom
/// with a "/" in front.
///
/// ```cpp
/// CProcSem places = CProcSem::Create("/render_places", 4);  // each process does this
/// places.Wait();
/// places.P();
/// ```
///
/// The object that made the semaphore removes the name when it is destroyed; whoever has it open keeps it,
/// and a forked child's copy of that object does not remove it. A
/// process that dies as the creator leaves the name, and the next `Create` opens that semaphore with the
/// permits that it holds by then. Permits taken by a process that dies are not given back.
///
/// Threads: every operation from any thread of any process.
///
/// Failures are `semExp`, with the codes of `CSem` and further 6 from `Create`, 7 from `Open`, 8 and 9 from
/// destruction.
class ORLO_API CProcSem {
public:
    /// Opens the semaphore `name`, which keeps its permits, or makes it with `value` permits, open to all
    /// whom the umask admits.
    static CProcSem Create(const stringEx& name, std::uint32_t value = 0);
    static CProcSem Create(const wstringEx& name, std::uint32_t value = 0);
    /// Opens the semaphore `name`, which must exist.
    static CProcSem Open(const stringEx& name);
    static CProcSem Open(const wstringEx& name);

    /// Closes the semaphore and, in the object that made it, removes the name. Fails with code 8 or 9, but
    /// not while another exception is in flight.
    ~CProcSem() noexcept(false);
    /// Takes the semaphore over; the source may only be destroyed.
    CProcSem(CProcSem&& other) noexcept;
    CProcSem& operator=(CProcSem&&) = delete;

    /// As those of `CSem`.
    void Wait();
    [[nodiscard]] bool TryWait();
    [[nodiscard]] bool TimedWait(CTimeLimit limit);
    void P(std::uint32_t count = 1);

    /// True if this object made the semaphore, in this process: false for the copy that a forked child has.
    bool IsCreator() const noexcept { return !m_name.empty() && m_maker == getpid(); }

private:
    CProcSem(sem_t* sem, const stringEx& name) noexcept : m_sem(sem), m_name(name), m_maker(getpid()) {}

    sem_t* m_sem;
    /// Empty unless this object made the semaphore.
    stringEx m_name;
    pid_t m_maker;  // the process that this object was made in
};

}  // namespace Orlo

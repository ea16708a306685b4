#pragma once

#include <semaphore.h>

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// The codes of `semExp`.
namespace sem_code {
enum : std::int32_t {
    make = 1,
    destroy = 2,
    post = 3,
    wait = 4,
    timed_wait = 5,
    create_named = 6,
    open_named = 7,
    close_named = 8,
    unlink_named = 9,
};
}  // namespace sem_code

/// A counting semaphore of this process.
///
/// ```cpp
/// CSem sem(1);
/// sem.Wait();  // takes the one permit
/// sem.P(2);    // any thread
/// if (!sem.TimedWait(100u)) return;  // nothing came within 100 ms
/// ```
///
/// Threads: every operation may be called from any thread at any time; only the destructor must be alone, but
/// for a `P` that has already let its waiter through.
///
/// Failures are `semExp`, one code an operation.
class ORLO_API CSem {
public:
    /// A semaphore that holds `value` permits. Fails with code 1 above SEM_VALUE_MAX (2147483647).
    explicit CSem(std::uint32_t value = 0);
    /// Fails with code 2 when the system refuses; not while another exception is in flight.
    ~CSem() noexcept(false);
    CSem(const CSem&) = delete;
    CSem& operator=(const CSem&) = delete;

    /// Takes a permit, waiting for one. Fails with code 4.
    void Wait();
    /// Takes a permit if there is one; false if not. Fails with code 4.
    [[nodiscard]] bool TryWait();
    /// Takes a permit, waiting for it no longer than `limit`; false if none came. Fails with code 5.
    [[nodiscard]] bool TimedWait(CTimeLimit limit);
    /// Releases `count` permits, one after the other: the name notwithstanding, this is the operation that
    /// lets others through. Fails with code 3 beyond SEM_VALUE_MAX permits, at the first one too many; those
    /// before it stay released.
    void P(std::uint32_t count = 1);

private:
    sem_t m_sem;
};

}  // namespace Orlo

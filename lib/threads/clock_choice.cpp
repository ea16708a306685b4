#include "threads/clock_choice.h"

#include <sys/time.h>

#include <cerrno>
#include <limits>

#include "orlo/process/dll_loader.h"
#include "orlo/threads/light_mutex.h"
#include "orlo/time/time_span.h"
#include "strings/system_call.h"

namespace Orlo::IMPL {
namespace {

// The thread sanitizer does not know the two calls: what was locked by them would look unlocked to it.
#ifdef ORLO_THREAD_SANITIZER
constexpr bool CALLS_ARE_USABLE = false;
#else
constexpr bool CALLS_ARE_USABLE = true;
#endif

constinit CLightMutex g_lookUpLock;

using mutex_clock_lock = int(pthread_mutex_t*, clockid_t, const timespec*);
using sem_clock_wait = int(sem_t*, clockid_t, const timespec*);

timespec after(std::int64_t now, std::int64_t microseconds) noexcept {
    std::int64_t end = 0;
    if (__builtin_add_overflow(now, microseconds, &end)) end = std::numeric_limits<std::int64_t>::max();
    return {.tv_sec = end / US_PER_SECOND, .tv_nsec = end % US_PER_SECOND * 1000};
}

}  // namespace

constinit optional_call g_mutexClockLock{"pthread_mutex_clocklock"};
constinit optional_call g_semClockWait{"sem_clockwait"};

void* optional_call::find() {
    std::uintptr_t found = address.load(std::memory_order_acquire);
    if (found == not_looked_up) {
        const CLockGuard guard(g_lookUpLock);
        found = address.load(std::memory_order_relaxed);
        if (found == not_looked_up) {
            void* const call = CALLS_ARE_USABLE ? CDllLoader().TryGetProc(name) : nullptr;
            found = call != nullptr ? reinterpret_cast<std::uintptr_t>(call) : absent;
            address.store(found, std::memory_order_release);
        }
    }
    return found == absent ? nullptr : reinterpret_cast<void*>(found);
}

timespec deadline_after(clockid_t clock, std::int64_t microseconds) noexcept {
    timespec now{};
    clock_gettime(clock, &now);
    return after(now.tv_sec * US_PER_SECOND + now.tv_nsec / 1000, microseconds);
}

/// The same on the wall clock.
static timespec wall_deadline_after(std::int64_t microseconds) noexcept {
    timeval now{};
    gettimeofday(&now, nullptr);
    return after(now.tv_sec * US_PER_SECOND + now.tv_usec, microseconds);
}

int timed_lock(pthread_mutex_t& mutex, std::int64_t microseconds) {
    if (void* const found = g_mutexClockLock.find()) {
        const timespec deadline = deadline_after(CLOCK_MONOTONIC, microseconds);
        return reinterpret_cast<mutex_clock_lock*>(found)(&mutex, CLOCK_MONOTONIC, &deadline);
    }
    const timespec deadline = wall_deadline_after(microseconds);
    return pthread_mutex_timedlock(&mutex, &deadline);
}

int timed_wait(sem_t& sem, std::int64_t microseconds) {
    int result = 0;
    if (void* const found = g_semClockWait.find()) {
        const auto call = reinterpret_cast<sem_clock_wait*>(found);
        const timespec deadline = deadline_after(CLOCK_MONOTONIC, microseconds);
        result = retry_interrupted([&] { return call(&sem, CLOCK_MONOTONIC, &deadline); });
    } else {
        const timespec deadline = wall_deadline_after(microseconds);
        result = retry_interrupted([&] { return sem_timedwait(&sem, &deadline); });
    }
    return result == 0 ? 0 : errno;
}

}  // namespace Orlo::IMPL

#include "threads/sem_calls.h"

#include <cerrno>

#include "strings/system_call.h"
#include "threads/clock_choice.h"

namespace Orlo::IMPL::sem_calls {
namespace {

constexpr auto WAIT_FAILED =
    system_failure<semExp>(sem_code::wait, "CSem/Wait - failed P a semaphore\n", NOT_A_SEMAPHORE);
constexpr auto TRY_WAIT_FAILED =
    system_failure<semExp>(sem_code::wait, "CSem/TryWait - failed P a semaphore\n", NOT_A_SEMAPHORE);
constexpr errno_sentence TIMED_WAIT_SENTENCES[] = {
    {EINVAL, "invalid semaphore obj or invalid timeout argument"}};
constexpr auto TIMED_WAIT_FAILED = system_failure<semExp>(
    sem_code::timed_wait, "CSem/TimedWait - failed P a semaphore\n", TIMED_WAIT_SENTENCES);

}  // namespace

void Wait(sem_t& sem) {
    if (retry_interrupted([&] { return sem_wait(&sem); }) != 0) WAIT_FAILED.raise({system_error{errno}});
}

bool TryWait(sem_t& sem) {
    if (retry_interrupted([&] { return sem_trywait(&sem); }) == 0) return true;
    if (errno == EAGAIN) return false;
    TRY_WAIT_FAILED.raise({system_error{errno}});
}

bool TimedWait(sem_t& sem, CTimeLimit limit) {
    if (limit.IsTry()) return TryWait(sem);
    if (limit.IsForever()) {
        Wait(sem);
        return true;
    }
    const int error = IMPL::timed_wait(sem, limit.GetMicroseconds());
    if (error == 0) return true;
    if (error == ETIMEDOUT) return false;
    TIMED_WAIT_FAILED.raise({system_error{error}});
}

void P(sem_t& sem, std::uint32_t count, const failure<semExp>& failed) {
    for (; count > 0; --count) {
        if (sem_post(&sem) != 0) failed.raise({system_error{errno}});
    }
}

}  // namespace Orlo::IMPL::sem_calls

#pragma once

#include <semaphore.h>

#include <cstdint>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/sem.h"
#include "orlo/threads/time_limit.h"
#include "strings/failure.h"

// What a local and a named semaphore do alike, with its failures.

namespace Orlo::IMPL::sem_calls {

inline constexpr errno_sentence NOT_A_SEMAPHORE[] = {{EINVAL, "current object is not a valid semaphore"}};

inline constexpr auto POST_FAILED =
    system_failure<semExp>(sem_code::post, "CSem::P - failed P a semaphore\n", NOT_A_SEMAPHORE);
inline constexpr auto NAMED_POST_FAILED =
    system_failure<semExp>(sem_code::post, "CProcSem::P - failed P a semaphore\n", NOT_A_SEMAPHORE);

void Wait(sem_t& sem);
bool TryWait(sem_t& sem);
bool TimedWait(sem_t& sem, CTimeLimit limit);
void P(sem_t& sem, std::uint32_t count, const failure<semExp>& failed);

}  // namespace Orlo::IMPL::sem_calls

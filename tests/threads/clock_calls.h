#pragma once

#include "threads/clock_choice.h"

namespace testing_support {

/// Replaces what the C library offers for waits on the monotonic clock: by nothing, or by other functions.
class clock_calls {
public:
    static constexpr std::uintptr_t absent = Orlo::IMPL::optional_call::absent;

    explicit clock_calls(std::uintptr_t mutex_call = absent, std::uintptr_t sem_call = absent) {
        Orlo::IMPL::g_mutexClockLock.address = mutex_call;
        Orlo::IMPL::g_semClockWait.address = sem_call;
    }
    clock_calls(const clock_calls&) = delete;
    clock_calls& operator=(const clock_calls&) = delete;
    ~clock_calls() {
        Orlo::IMPL::g_mutexClockLock.address = Orlo::IMPL::optional_call::not_looked_up;
        Orlo::IMPL::g_semClockWait.address = Orlo::IMPL::optional_call::not_looked_up;
    }
};

}  // namespace testing_support

#pragma once

#include <gtest/gtest.h>

#include "support/system_fault.h"
#include "support/watchdog.h"
#include "threads/clock_choice.h"
#include "threads/in_threads.h"

namespace testing_support {

/// Begins and ends without faults, within a minute.
struct lock_test : testing::Test {
    ~lock_test() noexcept override {}
    watchdog dog{60};
    faults::clean_slate slate;
};

/// Replaces what the C library offers for waits on the monotonic clock: by nothing, or by other functions.
struct clock_calls {
    explicit clock_calls(int (*lock)(pthread_mutex_t*, clockid_t, const timespec*) = nullptr,
                         int (*wait)(sem_t*, clockid_t, const timespec*) = nullptr) {
        using namespace Orlo::IMPL;
        g_mutexClockLock.address = lock ? reinterpret_cast<std::uintptr_t>(lock) : optional_call::absent;
        g_semClockWait.address = wait ? reinterpret_cast<std::uintptr_t>(wait) : optional_call::absent;
    }
    ~clock_calls() { Orlo::IMPL::g_mutexClockLock.address = Orlo::IMPL::g_semClockWait.address = 0; }
};

}  // namespace testing_support

#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "support/system_fault.h"
#include "threads/clock_choice.h"

namespace testing_support {

/// Without faults, and ended by a signal after a minute: a lost wake-up shows as a failure and not as a hang.
struct lock_test : testing::Test {
    lock_test() { alarm(60); }
    ~lock_test() noexcept override { alarm(0); }
    faults::clean_slate slate;
};

/// Runs `action(number)` in `count` threads and waits for them.
template <class Action>
void in_threads(int count, Action&& action) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&action, number] { action(number); });
    for (std::thread& thread : threads)
        thread.join();
}

template <class Action>
std::int64_t elapsed_ms(Action&& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return (std::chrono::steady_clock::now() - begin) / std::chrono::milliseconds(1);
}

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

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "support/system_fault.h"
#include "support/watchdog.h"
#include "threads/clock_choice.h"

namespace testing_support {

/// Begins and ends without faults, within a minute and a half.
struct lock_test : testing::Test {
    ~lock_test() noexcept override {}
    watchdog dog{90};
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

inline void sleep_ms(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// Whether an action is false, after that time at least.
template <class Action>
bool fails_after_ms(int milliseconds, Action&& action) {
    const auto begin = std::chrono::steady_clock::now();
    return !action() && std::chrono::steady_clock::now() - begin >= std::chrono::milliseconds(milliseconds);
}

}  // namespace testing_support

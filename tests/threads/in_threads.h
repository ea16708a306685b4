#pragma once

#include <chrono>
#include <thread>
#include <vector>

namespace testing_support {

/// Runs `action(number)` in `count` threads and waits for them.
template <class Action>
void in_threads(int count, Action&& action) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&action, number] { action(number); });
    for (std::thread& thread : threads)
        thread.join();
}

/// Milliseconds that an action takes.
template <class Action>
std::int64_t elapsed_ms(Action&& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)
        .count();
}

inline void sleep_ms(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace testing_support

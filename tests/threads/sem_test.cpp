#include "orlo/threads/sem.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/watchdog.h"
#include "threads/clock_calls.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct sem : testing::Test {
    faults::clean_slate slate;
    watchdog dog{60};
};

/// Waits that end at their limit, and how long they have to take at least.
constexpr struct {
    CTimeLimit limit;
    int least_ms;
} LIMITS[] = {
    {0u, 0},
    {CTimeSpan(0), 0},
    {CTimeSpan(-1), 0},
    {CTimeSpan(std::numeric_limits<std::int64_t>::min()), 0},
    {30u, 30},
    {CTimeSpan(30500), 30},
    {CTimeSpan(1), 0},
};

TEST_F(sem, permits_are_counted) {
    CSem gate(1);
    EXPECT_TRUE(gate.TryWait());
    EXPECT_FALSE(gate.TryWait());
    gate.P(3);
    gate.P(0);
    for (const bool expected : {true, true, true, false})
        EXPECT_EQ(gate.TryWait(), expected);
}

TEST_F(sem, waits_end_at_their_limit_on_either_clock) {
    const auto try_all = [] {
        CSem gate;
        for (const auto& row : LIMITS)
            EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(gate.TimedWait(row.limit)); }), row.least_ms);
        for (const CTimeLimit limit : {CTimeLimit(0u), CTimeLimit(WAIT_FOREVER), CTimeLimit(WAIT_FOREVER - 1),
                                       CTimeLimit(CTimeSpan(std::numeric_limits<std::int64_t>::max())),
                                       CTimeLimit(CTimeSpan(std::numeric_limits<std::int64_t>::max() - 1))}) {
            std::thread poster([&] {
                if (!limit.IsTry()) sleep_ms(20);
                gate.P();
            });
            if (limit.IsTry()) poster.join();
            EXPECT_TRUE(gate.TimedWait(limit));
            if (poster.joinable()) poster.join();
        }
    };
    try_all();
    const clock_calls none;
    try_all();
}

TEST_F(sem, a_signal_neither_ends_nor_prolongs_a_wait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &action, &before);
    CSem gate;
    std::atomic<int> stage{0};
    std::thread waiter([&] {
        EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(gate.TimedWait(150)); }), 150);
        stage = 1;
        gate.Wait();
        stage = 2;
    });
    for (int i = 0; i < 20; ++i) {
        sleep_ms(15);
        pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(stage, 1);
    gate.P();
    waiter.join();
    EXPECT_EQ(stage, 2);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(sem, every_permit_lets_one_through) {
    CSem full, empty(4);
    std::atomic<int> taken{0};
    in_threads(6, [&](int number) {
        for (int i = 0; i < 2000; ++i) {
            if (number < 3) {
                empty.Wait();
                full.P();
            } else {
                if (i % 2 == 0) {
                    full.Wait();
                } else {
                    EXPECT_TRUE(full.TimedWait(30000));
                }
                ++taken;
                empty.P();
            }
        }
    });
    EXPECT_EQ(taken, 6000);
    EXPECT_FALSE(full.TryWait());
    for (const bool expected : {true, true, true, true, false})
        EXPECT_EQ(empty.TryWait(), expected);
}

TEST_F(sem, failures) {
    constexpr std::uint32_t most = 0x7FFFFFFF;
    EXPECT_FAILURE(CSem(most + 1), semExp, 1,
                   "CSem::__Init - failed create semaphore\n  error code = 22\n"
                   "  error desc = the init value exceeds max limited");
    CSem full(most - 1);
    EXPECT_FAILURE(full.P(2), semExp, 3,
                   "CSem::P - failed P a semaphore\n  error code = 75\n"
                   "  error desc = unexpect system error: Value too large for defined data type");
    struct {
        const char* call;
        int error;
        int code;
        const char* text;
    } const rows[] = {
        {"sem_init", ENOSPC, 1,
         "CSem::__Init - failed create semaphore\n  error code = 28\n"
         "  error desc = the max semaphores limit has been reached"},
        {"sem_destroy", EBUSY, 2,
         "CSem::~CSem - failed destroy semaphore\n  error code = 16\n"
         "  error desc = there are currently processes blocked on the semaphore"},
    };
    for (const auto& row : rows) {
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(CSem(), semExp, row.code, row.text);
    }
    const auto invalid = [](sem_t*, clockid_t, const timespec*) {
        errno = EINVAL;
        return -1;
    };
    const clock_calls refusing(clock_calls::absent, reinterpret_cast<std::uintptr_t>(+invalid));
    EXPECT_FAILURE(CSem().TimedWait(1), semExp, 5,
                   "CSem/TimedWait - failed P a semaphore\n  error code = 22\n"
                   "  error desc = invalid semaphore obj or invalid timeout argument");
}

}  // namespace

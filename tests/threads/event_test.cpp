#include "orlo/threads/event.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/watchdog.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct event : testing::Test {
    ~event() noexcept override {}

    faults::clean_slate slate;
    watchdog dog{60};
    CMutex mutex;
    CLightMutex light;
};

TEST_F(event, stays_raised_until_it_is_reset) {
    CEvent signal;
    EXPECT_FALSE(signal.IsRaised());
    EXPECT_FALSE(signal.TimedWait(0));
    EXPECT_FALSE(signal.TimedWait(CTimeSpan(-1)));
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(signal.TimedWait(30)); }), 30);
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(signal.TimedWait(CTimeSpan(30500))); }), 30);

    const CLockGuard held(mutex);
    const CLockGuard held_too(light);
    EXPECT_FALSE(signal.TimedWait(mutex, 1));
    EXPECT_FALSE(signal.TimedWait(light, CTimeSpan(1000)));
    EXPECT_FALSE(signal.TimedWait(light, 0));
    signal.Raise();
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(signal.IsRaised());
        signal.Wait();
        signal.Wait(mutex);
        signal.Wait(light);
        EXPECT_TRUE(signal.TimedWait(0));
        EXPECT_TRUE(signal.TimedWait(mutex, 0));
        EXPECT_TRUE(signal.TimedWait(light, WAIT_FOREVER));
    }
    signal.Reset();
    EXPECT_FALSE(signal.IsRaised());
    EXPECT_TRUE(CEvent(true).IsRaised());
}

TEST_F(event, wakes_all_who_wait_in_whatever_way) {
    CEvent signal;
    std::atomic<int> woken{0};
    std::thread raiser([&] {
        sleep_ms(50);
        EXPECT_EQ(woken, 0);
        const CLockGuard held(mutex);
        const CLockGuard held_too(light);
        signal.Raise();
    });
    in_threads(8, [&](int number) {
        switch (number % 4) {
            case 0:
                signal.Wait();
                break;
            case 1:
                EXPECT_TRUE(signal.TimedWait(CTimeSpan(30 * US_PER_SECOND)));
                break;
            case 2: {
                const CLockGuard held(mutex);
                EXPECT_TRUE(signal.TimedWait(mutex, 30000));
                break;
            }
            case 3: {
                const CLockGuard outer(light), inner(light);
                EXPECT_TRUE(signal.TimedWait(light, WAIT_FOREVER));
                break;
            }
        }
        ++woken;
    });
    raiser.join();
    EXPECT_EQ(woken, 8);
}

/// Two threads take turns and tell each other by a pulse: one that is lost leaves both asleep.
template <class LOCK>
void take_turns(LOCK& lock) {
    CEvent signals[2];
    int turn = 0;
    in_threads(2, [&](int me) {
        for (int round = 0; round < 5000; ++round) {
            const CLockGuard guard(lock);
            while (turn % 2 != me) {
                if (round % 2 == 0) {
                    signals[me].Wait(lock);
                } else {
                    EXPECT_TRUE(signals[me].TimedWait(lock, 30000));
                }
            }
            ++turn;
            signals[1 - me].Raise();
            signals[1 - me].Reset();
        }
    });
    EXPECT_EQ(turn, 10000);
}

TEST_F(event, is_a_condition_variable_with_an_outside_lock) {
    take_turns(mutex);
    take_turns(light);
}

TEST_F(event, gives_a_light_mutex_up_wholly_and_takes_it_back_as_deep) {
    CEvent signal;
    const CLockGuard outer(light), inner(light), innermost(light);
    std::thread raiser([&] {
        const CLockGuard guard(light);
        signal.Raise();
    });
    signal.Wait(light);
    raiser.join();
    std::atomic<bool> entered{false};
    std::thread other([&] {
        const CLockGuard guard(light);
        entered = true;
    });
    light.Lock();
    light.Unlock();
    sleep_ms(20);
    EXPECT_FALSE(entered);
    CLightMutexRelease release(light);
    release.Release();
    other.join();
    release.TakeBack();
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(event, a_mutex_that_the_caller_does_not_hold) {
    CEvent signal;
    const std::string text =
        " - failed wait event\n  error code = 1\n"
        "  error desc = the mutex was not owned by the current thread at the time of the call";
    EXPECT_FAILURE(signal.Wait(mutex), eventExp, 4, "CEvent/WaitEvent" + text);
    EXPECT_FAILURE(signal.TimedWait(mutex, 10), eventExp, 5, "CEvent/TimedWaitEvent" + text);
}
#endif

TEST_F(event, failures_of_the_system) {
    const std::string make = "CEvent/CreateLocalEvent - failed ";
    struct {
        const char* call;
        int error;
        int code;
        std::string text;
    } const rows[] = {
        {"pthread_condattr_init", ENOMEM, 1,
         make + "create event attribute\n  error code = 12\n"
                "  error desc = unexpect system error: Cannot allocate memory"},
        {"pthread_condattr_setpshared", EINVAL, 1,
         make + "create event (set shared)\n  error code = 22\n"
                "  error desc = unexpect system error: Invalid argument"},
        {"pthread_condattr_setclock", EINVAL, 1,
         make + "create event (set clock)\n  error code = 22\n"
                "  error desc = unexpect system error: Invalid argument"},
        {"pthread_cond_init", EAGAIN, 1,
         make + "create event\n  error code = 11\n"
                "  error desc = unexpect system error: Resource temporarily unavailable"},
        {"pthread_condattr_destroy", EINVAL, 1,
         make + "release event attribute\n  error code = 22\n"
                "  error desc = unexpect system error: Invalid argument"},
        {"pthread_cond_broadcast", EINVAL, 3,
         "CEvent/RaiseEvent - failed raise event\n  error code = 22\n"
         "  error desc = unexpect system error: Invalid argument"},
        {"pthread_cond_destroy", EBUSY, 2,
         "CEvent::~CEvent - failed close event\n  error code = 16\n"
         "  error desc = unexpect system error: Device or resource busy"},
    };
    for (const auto& row : rows) {
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(CEvent().Raise(), eventExp, row.code, row.text);
    }
}

}  // namespace

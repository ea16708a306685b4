#include "orlo/threads/event.h"

#include <cerrno>

#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct event : lock_test {
    ~event() noexcept override {}
    CMutex mutex;
    CLightMutex light;
};

TEST_F(event, stays_raised_until_it_is_reset) {
    CEvent signal;
    const CLockGuard held(mutex);
    const CLockGuard outer(light), inner(light);
    EXPECT_FALSE(signal.IsRaised() || signal.TimedWait(0) || signal.TimedWait(CTimeSpan(-1)));
    EXPECT_FALSE(signal.TimedWait(light, 0));
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(signal.TimedWait(30)); }), 30);
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(signal.TimedWait(mutex, CTimeSpan(30500))); }), 30);
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(signal.TimedWait(light, 30)); }), 30);
    signal.Raise();
    signal.Wait();
    signal.Wait(mutex);
    signal.Wait(light);
    EXPECT_TRUE(signal.IsRaised() && signal.TimedWait(0) && signal.TimedWait(mutex, 0));
    EXPECT_TRUE(signal.TimedWait(light, WAIT_FOREVER));
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
    in_threads(6, [&](int number) {
        if (number % 3 == 0) {
            EXPECT_TRUE(signal.TimedWait(CTimeSpan(LONG_MAX)));
        } else if (number % 3 == 1) {
            const CLockGuard held(mutex);
            signal.Wait(mutex);
        } else {
            const CLockGuard outer(light), inner(light);
            signal.Wait(light);
        }
        ++woken;
    });
    raiser.join();
    EXPECT_EQ(woken, 6);
}

/// Two threads take turns and tell each other by a pulse: one that is lost leaves both asleep.
template <class LOCK>
void take_turns(LOCK& lock) {
    CEvent signals[2];
    int turn = 0;
    in_threads(2, [&](int me) {
        for (int round = 0; round < 5000; ++round) {
            const CLockGuard guard(lock);
            while (turn % 2 != me)
                EXPECT_TRUE(signals[me].TimedWait(lock, round % 2 == 0 ? 30'000 : WAIT_FOREVER));
            ++turn;
            signals[1 - me].Raise();
            signals[1 - me].Reset();
        }
    });
    EXPECT_EQ(turn, 10'000);
}

TEST_F(event, is_a_condition_variable_with_an_outside_lock) {
    take_turns(mutex);
    take_turns(light);
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(event, a_mutex_that_the_caller_does_not_hold) {
    CEvent signal;
    constexpr auto sentence = "the mutex was not owned by the current thread at the time of the call";
    EXPECT_FAILURE(signal.Wait(mutex), eventExp, 4,
                   system_text("CEvent/WaitEvent - failed wait event\n", EPERM, sentence));
    EXPECT_FAILURE(signal.TimedWait(mutex, 10), eventExp, 5,
                   system_text("CEvent/TimedWaitEvent - failed wait event\n", EPERM, sentence));
}
#endif

TEST_F(event, failures_of_the_system) {
    const std::string make = "CEvent/CreateLocalEvent - failed ";
    expect_faults<eventExp>(
        [] { CEvent().Raise(); },
        {{"pthread_condattr_init", ENOMEM, 1, make + "create event attribute\n"},
         {"pthread_condattr_setpshared", EINVAL, 1, make + "create event (set shared)\n"},
         {"pthread_condattr_setclock", EINVAL, 1, make + "create event (set clock)\n"},
         {"pthread_cond_init", EAGAIN, 1, make + "create event\n"},
         {"pthread_condattr_destroy", EINVAL, 1, make + "release event attribute\n"},
         {"pthread_cond_broadcast", EINVAL, 3, "CEvent/RaiseEvent - failed raise event\n"},
         {"pthread_cond_destroy", EBUSY, 2, "CEvent::~CEvent - failed close event\n"}});
}

}  // namespace

// Mutexes and semaphores of one process.

#include <cerrno>
#include <csignal>
#include <limits>
#include <optional>

#include "orlo/threads/mutex.h"
#include "orlo/threads/sem.h"
#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct local_locks : lock_test {};

constexpr std::int64_t LONGEST = std::numeric_limits<std::int64_t>::max();

/// Waits that end at their limit, and how long they have to take at least.
constexpr struct {
    CTimeLimit limit;
    int least_ms;
} SHORT_LIMITS[] = {{0, 0},   {CTimeSpan(0), 0}, {CTimeSpan(-1), 0},     {CTimeSpan(-LONGEST - 1), 0},
                    {30, 30}, {CTimeSpan(1), 0}, {CTimeSpan(30'500), 30}};
constexpr CTimeLimit LONG_LIMITS[] = {WAIT_FOREVER, WAIT_FOREVER - 1, CTimeSpan(LONGEST),
                                      CTimeSpan(LONGEST - 1)};

/// A wait ends at its limit, or when another thread ends it; after that `again` restores what it waited for.
template <class Wait, class End, class Again>
void wait_with_all_limits(Wait&& wait, End&& end, Again&& again) {
    for (const auto& row : SHORT_LIMITS)
        EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(wait(row.limit)); }), row.least_ms);
    for (const CTimeLimit limit : LONG_LIMITS) {
        std::thread waiter([&] { EXPECT_TRUE(wait(limit)); });
        sleep_ms(10);
        end();
        waiter.join();
        again();
    }
}

TEST_F(local_locks, waits_end_at_their_limit_on_either_clock) {
    for (const bool monotonic : {true, false}) {
        std::optional<clock_calls> none;
        if (!monotonic) none.emplace();
        CSem gate;
        wait_with_all_limits([&](CTimeLimit limit) { return gate.TimedWait(limit); }, [&] { gate.P(); },
                             [] {});

        CMutex mutex;
        const auto lock_elsewhere = [&](CTimeLimit limit) {
            bool locked = false;
            std::thread([&] {
                locked = mutex.TimedLock(limit);
                if (locked) mutex.Unlock();
            }).join();
            return locked;
        };
        mutex.Lock();
        EXPECT_TRUE(mutex.TryLock() && mutex.TimedLock(0) && mutex.TimedLock(9) &&
                    mutex.TimedLock(CTimeSpan(9)));
        for (int level = 0; level < 4; ++level)
            mutex.Unlock();
        EXPECT_FALSE(lock_elsewhere(0));
        wait_with_all_limits(
            lock_elsewhere, [&] { mutex.Unlock(); }, [&] { mutex.Lock(); });
        mutex.Unlock();
    }
}

TEST_F(local_locks, a_signal_neither_ends_nor_prolongs_a_wait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
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
}

TEST_F(local_locks, every_permit_lets_one_through_and_a_mutex_one_at_a_time) {
    CSem full, empty(1);
    empty.P(3);
    empty.P(0);
    CMutex mutex;
    int taken = 0;
    in_threads(6, [&](int number) {
        for (int i = 0; i < 2000; ++i) {
            EXPECT_TRUE((number < 3 ? empty : full).TimedWait(i % 2 == 0 ? 30'000 : WAIT_FOREVER));
            EXPECT_TRUE(mutex.TimedLock(i % 3 == 0 ? 30'000 : WAIT_FOREVER));
            ++taken;
            mutex.Unlock();
            (number < 3 ? full : empty).P();
        }
    });
    EXPECT_EQ(taken, 12'000);
    EXPECT_FALSE(full.TryWait());
    for (const bool expected : {true, true, true, true, false})
        EXPECT_EQ(empty.TryWait(), expected);
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(local_locks, a_mutex_that_is_not_held_or_still_held) {
    CMutex mutex;
    const std::string not_held = system_text("CMutex/Unlock - failed unlock mutex\n", EPERM,
                                             "the current thread does not own the mutex");
    EXPECT_FAILURE(mutex.Unlock(), mutexExp, 4, not_held);
    mutex.Lock();
    std::thread([&] { EXPECT_FAILURE(mutex.Unlock(), mutexExp, 4, not_held); }).join();
    mutex.Unlock();
    EXPECT_FAILURE(
        CMutex().Lock(), mutexExp, 2,
        system_text("CMutex::~CMutex - failed close mutex\n", EBUSY, "attempt to destroy a locked mutex"));
}
#endif

TEST_F(local_locks, failures_of_the_system) {
    const std::string make = "CMutex::CMutex - failed ";
    expect_faults<mutexExp>([] { CMutex(); },
                            {{"pthread_mutexattr_init", ENOMEM, 1, make + "create mutex attribute\n",
                              "insufficient memory exists to initialize the attrs"},
                             {"pthread_mutexattr_settype", EINVAL, 1, make + "create mutex (set type)\n",
                              "attr's type value is invalid"},
                             {"pthread_mutex_init", EAGAIN, 1, make + "create mutex",
                              "the system lacked the necessary resources"},
                             {"pthread_mutex_init", EIO, 1, make + "create mutex"},
                             {"pthread_mutexattr_destroy", EINVAL, 1, make + "release mutex attribute\n",
                              "the value specified by attr is invalid"},
                             {"pthread_mutex_destroy", EINVAL, 2, "CMutex::~CMutex - failed close mutex\n",
                              "the value specified by mutex is invalid"}});
    expect_faults<semExp>([] { CSem(); },
                          {{"sem_init", ENOSPC, 1, "CSem::__Init - failed create semaphore\n",
                            "the max semaphores limit has been reached"},
                           {"sem_destroy", EBUSY, 2, "CSem::~CSem - failed destroy semaphore\n",
                            "there are currently processes blocked on the semaphore"}});
    constexpr std::uint32_t most = 0x7FFFFFFF;
    EXPECT_FAILURE(CSem(most + 1), semExp, 1,
                   system_text("CSem::__Init - failed create semaphore\n", EINVAL,
                               "the init value exceeds max limited"));
    EXPECT_FAILURE(CSem(most - 1).P(2), semExp, 3,
                   system_text("CSem::P - failed P a semaphore\n", EOVERFLOW));

    const clock_calls refusing([](pthread_mutex_t*, clockid_t, const timespec*) { return EAGAIN; },
                               [](sem_t*, clockid_t, const timespec*) {
                                   errno = EINVAL;
                                   return -1;
                               });
    EXPECT_FAILURE(CMutex().TimedLock(1), mutexExp, 5,
                   system_text("CMutex/TimedLock - failed lock mutex\n", EAGAIN,
                               "maximum number of recursive locks has been exceeded"));
    EXPECT_FAILURE(CSem().TimedWait(1), semExp, 5,
                   system_text("CSem/TimedWait - failed P a semaphore\n", EINVAL,
                               "invalid semaphore obj or invalid timeout argument"));
}

}  // namespace

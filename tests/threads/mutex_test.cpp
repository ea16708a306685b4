#include "orlo/threads/mutex.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/watchdog.h"
#include "threads/clock_calls.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct mutex : testing::Test {
    faults::clean_slate slate;
    watchdog dog{60};
};

TEST_F(mutex, nests_and_keeps_others_out_on_either_clock) {
    const auto try_all = [] {
        CMutex lock;
        lock.Lock();
        EXPECT_TRUE(lock.TryLock());
        EXPECT_TRUE(lock.TimedLock(0));
        EXPECT_TRUE(lock.TimedLock(20));
        EXPECT_TRUE(lock.TimedLock(CTimeSpan(20)));
        EXPECT_TRUE(lock.TimedLock(WAIT_FOREVER));
        const auto shut_out = [&] {
            EXPECT_FALSE(lock.TryLock());
            EXPECT_FALSE(lock.TimedLock(0));
            EXPECT_FALSE(lock.TimedLock(CTimeSpan(-1)));
            EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(lock.TimedLock(30)); }), 30);
            EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(lock.TimedLock(CTimeSpan(30999))); }), 30);
        };
        for (int level = 6; level > 0; --level) {
            if (level == 6 || level == 1) std::thread(shut_out).join();
            lock.Unlock();
        }
        std::thread([&] {
            EXPECT_TRUE(lock.TryLock());
            sleep_ms(50);
            lock.Unlock();
        }).detach();
        EXPECT_TRUE(lock.TimedLock(CTimeSpan(std::numeric_limits<std::int64_t>::max() - 1)));
        lock.Unlock();
        sleep_ms(60);
        EXPECT_TRUE(lock.TimedLock(WAIT_FOREVER));
        lock.Unlock();
    };
    try_all();
    const clock_calls none;
    try_all();
}

TEST_F(mutex, only_one_thread_is_inside) {
    CMutex lock;
    int rounds = 0;
    in_threads(4, [&](int) {
        for (int i = 0; i < 3000; ++i) {
            if (i % 3 == 0) {
                while (!lock.TryLock())
                    std::this_thread::yield();
            } else if (i % 3 == 1) {
                EXPECT_TRUE(lock.TimedLock(30000));
            } else {
                lock.Lock();
            }
            ++rounds;
            lock.Unlock();
        }
    });
    EXPECT_EQ(rounds, 12000);
}

TEST_F(mutex, a_guard_can_try) {
    CMutex lock;
    CLockGuard guard(lock);
    guard.Unlock();
    EXPECT_TRUE(guard.TryLock());
    EXPECT_TRUE(guard.TryLock());
    std::thread([&] { EXPECT_FALSE(lock.TryLock()); }).join();
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(mutex, misuse) {
    CMutex lock;
    constexpr auto not_owned =
        "CMutex/Unlock - failed unlock mutex\n  error code = 1\n"
        "  error desc = the current thread does not own the mutex";
    EXPECT_FAILURE(lock.Unlock(), mutexExp, 4, not_owned);
    lock.Lock();
    std::thread([&] { EXPECT_FAILURE(lock.Unlock(), mutexExp, 4, not_owned); }).join();
    lock.Unlock();

    const auto destroy_held = [] { CMutex().Lock(); };
    EXPECT_FAILURE(destroy_held(), mutexExp, 2,
                   "CMutex::~CMutex - failed close mutex\n  error code = 16\n"
                   "  error desc = attempt to destroy a locked mutex");
    const auto destroy_held_in_flight = [] {
        CMutex held;
        held.Lock();
        throw 1;
    };
    EXPECT_THROW(destroy_held_in_flight(), int);
}
#endif

TEST_F(mutex, failures_of_the_system) {
    struct {
        const char* call;
        int error;
        int code;
        const char* text;
    } const rows[] = {
        {"pthread_mutexattr_init", ENOMEM, 1,
         "CMutex::CMutex - failed create mutex attribute\n  error code = 12\n"
         "  error desc = insufficient memory exists to initialize the attrs"},
        {"pthread_mutexattr_settype", EINVAL, 1,
         "CMutex::CMutex - failed create mutex (set type)\n  error code = 22\n"
         "  error desc = attr's type value is invalid"},
        {"pthread_mutex_init", EAGAIN, 1,
         "CMutex::CMutex - failed create mutex  error code = 11\n"
         "  error desc = the system lacked the necessary resources"},
        {"pthread_mutex_init", EIO, 1,
         "CMutex::CMutex - failed create mutex  error code = 5\n"
         "  error desc = unexpect system error: Input/output error"},
        {"pthread_mutexattr_destroy", EINVAL, 1,
         "CMutex::CMutex - failed release mutex attribute\n  error code = 22\n"
         "  error desc = the value specified by attr is invalid"},
        {"pthread_mutex_destroy", EINVAL, 2,
         "CMutex::~CMutex - failed close mutex\n  error code = 22\n"
         "  error desc = the value specified by mutex is invalid"},
    };
    for (const auto& row : rows) {
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(CMutex(), mutexExp, row.code, row.text);
    }

    const auto full = [](pthread_mutex_t*, clockid_t, const timespec*) { return EAGAIN; };
    const clock_calls refusing(reinterpret_cast<std::uintptr_t>(+full));
    CMutex lock;
    EXPECT_FAILURE(lock.TimedLock(1), mutexExp, 5,
                   "CMutex/TimedLock - failed lock mutex\n  error code = 11\n"
                   "  error desc = maximum number of recursive locks has been exceeded");
}

}  // namespace

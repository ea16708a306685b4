#include "orlo/threads/light_mutex.h"

#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <thread>
#include <vector>

#include "support/child.h"
#include "support/faults.h"
#include "support/watchdog.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct open_mutex : CLightMutex {
    using CLightMutex::m_count;
    using CLightMutex::m_owner;
    using CLightMutex::m_recursion;
    using CLightMutex::m_sem;
};

TEST(light_mutex, the_holder_nests_and_a_waiter_gets_the_lock_after_the_last_unlock) {
    const watchdog dog(30);
    open_mutex mutex;
    for (int depth = 1; depth <= 3; ++depth)
        mutex.Lock();
    std::atomic<bool> entered{false};
    std::thread waiter([&] {
        mutex.Lock();
        entered = true;
        mutex.Unlock();
    });
    while (mutex.m_count != 3)
        std::this_thread::yield();
    for (int depth = 2; depth >= 1; --depth) {
        mutex.Unlock();
        EXPECT_EQ(mutex.m_recursion, static_cast<std::uint64_t>(depth));
        EXPECT_EQ(mutex.m_owner, pthread_self());
        EXPECT_FALSE(entered);
    }
    mutex.Unlock();
    waiter.join();
    EXPECT_TRUE(entered);
    EXPECT_EQ(mutex.m_count, -1);
    EXPECT_EQ(mutex.m_owner, 0u);
}

TEST(light_mutex, the_semaphore_waits_for_the_first_contention_and_for_memory) {
    const watchdog dog(30);
    const faults::clean_slate slate;
    open_mutex mutex;
    {
        const CLockGuard outer(mutex), inner(mutex);
        EXPECT_FALSE(mutex.m_sem.IsMade());
    }
    mutex.Lock();
    faults::fail_next(faults::NOTHROW_NEW, ENOMEM, 3);
    std::thread waiter([&] { const CLockGuard guard(mutex); });
    while (mutex.m_count != 1)
        std::this_thread::yield();
    mutex.Unlock();
    waiter.join();
    EXPECT_EQ(faults::pending(), 0);
    EXPECT_TRUE(mutex.m_sem.IsMade());
    EXPECT_EQ(mutex.m_count, -1);
}

#ifndef ORLO_THREAD_SANITIZER
TEST(light_mutex, makes_no_system_call_when_nobody_contends) {
    static CLightMutex mutex;
    const auto alone = [](void (*action)()) {
        return child([&] {
                   if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) return 2;
                   action();  // any system call but this thread's exit kills from here on
                   syscall(SYS_exit, 0);
                   return 1;
               })
            .wait();
    };
    EXPECT_EQ(alone([] {
                  for (int i = 0; i < 1000; ++i) {
                      const CLockGuard outer(mutex), inner(mutex);
                  }
              }),
              0);
    EXPECT_EQ(alone([] { getppid(); }), -SIGKILL);
}
#endif

TEST(light_mutex, only_one_thread_is_inside) {
    const watchdog dog(100);
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    for (const int threads : {2, 4, 8}) {
        open_mutex mutex;
        std::int64_t inside = 0;
        std::int64_t rounds = 0;
        in_threads(threads, [&](int number) {
            std::minstd_rand random(seed + static_cast<unsigned>(number));
            for (int round = 0; round < 4000; ++round) {
                const auto depth = random() % 3 + 1;
                for (auto i = depth; i > 0; --i)
                    mutex.Lock();
                EXPECT_EQ(++inside, 1);
                ++rounds;
                --inside;
                if (random() % 8 == 0) {
                    CLightMutexRelease release(mutex);
                    release.Release();
                    release.TakeBack();
                    EXPECT_EQ(mutex.m_recursion, depth);
                }
                for (auto i = depth; i > 0; --i)
                    mutex.Unlock();
            }
        });
        EXPECT_EQ(rounds, threads * 4000);
        EXPECT_EQ(mutex.m_count, -1);
    }
}

TEST(light_mutex, threads_that_contend_first_agree_on_one_semaphore) {
    const watchdog dog(60);
    for (int round = 0; round < 300; ++round) {
        CLightMutex mutex;
        int inside = 0;
        in_threads(3, [&](int) {
            for (int i = 0; i < 3; ++i) {
                const CLockGuard guard(mutex);
                ++inside;
            }
        });
        EXPECT_EQ(inside, 9);
    }
}

TEST(lock_guard, holds_the_lock_just_once_and_gives_it_up_once) {
    open_mutex mutex;
    {
        CLockGuard guard(mutex);
        guard.Lock();
        EXPECT_EQ(mutex.m_recursion, 1u);
        guard.Unlock();
        guard.Unlock();
        EXPECT_FALSE(guard.IsHeld());
        EXPECT_EQ(mutex.m_count, -1);
        guard.Lock();
    }
    EXPECT_EQ(mutex.m_count, -1);
}

struct failing_lock {
    void Lock() {}
    void Unlock() { throw 1; }
};

TEST(lock_guard, a_failed_release_does_not_end_the_program) {
    failing_lock lock;
    EXPECT_THROW(const CLockGuard guard(lock), int);
    const auto fail_twice = [&] {
        const CLockGuard guard(lock);
        throw 2.5;
    };
    EXPECT_THROW(fail_twice(), double);
}

}  // namespace

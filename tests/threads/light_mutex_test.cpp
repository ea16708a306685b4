#include "orlo/threads/light_mutex.h"

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <random>

#include "orlo/threads/mutex.h"
#include "support/child.h"
#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct light_mutex : lock_test {};

struct open_mutex : CLightMutex {
    using CLightMutex::m_count;
    using CLightMutex::m_owner;
    using CLightMutex::m_recursion;
    using CLightMutex::m_sem;
    bool is_free() const { return m_count == -1 && m_owner == 0 && m_recursion == 0; }
};

TEST_F(light_mutex, a_waiter_gets_the_lock_after_the_last_unlock_and_once_there_is_memory) {
    open_mutex mutex;
    for (int depth = 1; depth <= 3; ++depth)
        mutex.Lock();
    EXPECT_FALSE(mutex.m_sem.IsMade());
    faults::fail_next(faults::NOTHROW_NEW, ENOMEM, 3);
    std::atomic<bool> entered{false};
    std::thread waiter([&] {
        const CLockGuard guard(mutex);
        entered = true;
    });
    while (mutex.m_count != 3)
        std::this_thread::yield();
    for (const std::uint64_t depth : {2, 1}) {
        mutex.Unlock();
        EXPECT_EQ(mutex.m_recursion, depth);
        EXPECT_FALSE(entered);
    }
    mutex.Unlock();
    waiter.join();
    EXPECT_TRUE(entered && mutex.is_free() && mutex.m_sem.IsMade());
    EXPECT_EQ(faults::pending(), 0);
}

#ifndef ORLO_THREAD_SANITIZER
TEST_F(light_mutex, makes_no_system_call_when_nobody_contends) {
    static CLightMutex mutex;
    const auto ends_when_confined = [](void (*action)()) {
        return child([&] {
                   if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) return 2;
                   action();  // from here on any system call but this thread's exit kills
                   return static_cast<int>(syscall(SYS_exit, 0));
               })
            .wait();
    };
    const auto lock_often = [] {
        for (int i = 0; i < 1000; ++i)
            const CLockGuard outer(mutex), inner(mutex);
    };
    EXPECT_EQ(ends_when_confined(lock_often), 0);
    EXPECT_EQ(ends_when_confined([] { getppid(); }), -SIGKILL);
}
#endif

TEST_F(light_mutex, only_one_thread_is_inside) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    const auto contend = [&](int threads, int turns) {
        open_mutex mutex;
        std::int64_t inside = 0, entries = 0;
        in_threads(threads, [&](int number) {
            std::minstd_rand random(seed + static_cast<unsigned>(number));
            for (int turn = 0; turn < turns; ++turn) {
                const auto depth = random() % 3 + 1;
                for (auto i = depth; i > 0; --i)
                    mutex.Lock();
                EXPECT_EQ(++inside, 1);
                ++entries;
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
        EXPECT_EQ(entries, threads * turns);
        EXPECT_TRUE(mutex.is_free());
    };
    for (const int threads : {2, 4, 8})
        contend(threads, 4000);
    for (int round = 0; round < 300; ++round)
        contend(3, 3);  // who contends first makes the semaphore
}

TEST_F(light_mutex, a_guard_holds_a_lock_just_once) {
    CMutex mutex;
    CLockGuard guard(mutex);
    guard.Lock();
    EXPECT_TRUE(guard.TryLock());
    guard.Unlock();
    guard.Unlock();
    std::thread([&] {
        EXPECT_TRUE(mutex.TryLock());
        mutex.Unlock();
    }).join();
    EXPECT_TRUE(guard.TryLock() && guard.IsHeld());

    struct {
        void Lock() {}
        void Unlock() { throw 1; }
    } failing;
    EXPECT_THROW(const CLockGuard failing_guard(failing), int);
    const auto fail_twice = [&] {
        const CLockGuard failing_guard(failing);
        throw 2.5;
    };
    EXPECT_THROW(fail_twice(), double);
}

}  // namespace

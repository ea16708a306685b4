// Mutexes, light mutexes, semaphores and events of one process, and the guard of a lock.

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <csignal>
#include <functional>
#include <mutex>
#include <random>

#include "orlo/threads/event.h"
#include "orlo/threads/fastpdu_spin_pclock.h"
#include "orlo/threads/spin_light_mutex.h"
#include "support/child.h"
#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct local_locks : lock_test {
    ~local_locks() noexcept override { use_clock_calls(0, 0); }
    CMutex mutex;
    CLightMutex light;
    CEvent signal;

    /// Replaces what the C library offers for waits on the monotonic clock; 0 for what it has.
    static void use_clock_calls(std::uintptr_t lock, std::uintptr_t wait) {
        IMPL::g_mutexClockLock.address = lock;
        IMPL::g_semClockWait.address = wait;
    }
};

/// A wait ends at its limit, or for all who wait when another thread ends it, and signals make no difference.
void wait_with_all_limits(const std::function<bool(CTimeLimit)>& wait, const std::function<void()>& end) {
    constexpr struct {
        CTimeLimit limit;
        int least_ms;
    } short_limits[] = {{0, 0},   {CTimeSpan(0), 0}, {CTimeSpan(-1), 0},     {CTimeSpan(-LONG_MAX - 1), 0},
                        {30, 30}, {CTimeSpan(1), 0}, {CTimeSpan(30'500), 30}};
    constexpr CTimeLimit long_limits[] = {WAIT_FOREVER, WAIT_FOREVER - 1, CTimeSpan(LONG_MAX),
                                          CTimeSpan(LONG_MAX - 1)};
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGUSR1, &interrupt, nullptr);
    const auto pestered = [&](CTimeLimit limit) {
        const std::jthread pest([me = pthread_self()](const std::stop_token& stop) {
            for (; !stop.stop_requested(); sleep_ms(5))
                pthread_kill(me, SIGUSR1);
        });
        return wait(limit);
    };
    for (const auto& row : short_limits)
        EXPECT_TRUE(fails_after_ms(row.least_ms, [&] { return pestered(row.limit); }));
    std::atomic<bool> ended{false};
    std::thread waiters(
        [&] { in_threads(4, [&](int number) { EXPECT_TRUE(pestered(long_limits[number]) && ended); }); });
    sleep_ms(30);
    ended = true;
    end();
    waiters.join();
}

TEST_F(local_locks, waits_end_at_their_limit_on_either_clock) {
    for (const bool monotonic : {true, false}) {
        if (!monotonic) use_clock_calls(IMPL::optional_call::absent, IMPL::optional_call::absent);
        CSem gate(1);
        gate.P(0);
        EXPECT_TRUE(gate.TryWait());
        wait_with_all_limits([&](CTimeLimit limit) { return gate.TimedWait(limit); }, [&] { gate.P(4); });
        EXPECT_FALSE(gate.TryWait());

        const auto lock_elsewhere = [&](CTimeLimit limit) {
            bool locked = false;
            in_threads(1, [&](int) {
                locked = mutex.TimedLock(limit);
                if (locked) mutex.Unlock();
            });
            return locked;
        };
        mutex.Lock();
        EXPECT_TRUE(mutex.TryLock() && mutex.TimedLock(0) && mutex.TimedLock(CTimeSpan(9)));
        for (int level = 0; level < 3; ++level)
            mutex.Unlock();
        wait_with_all_limits(lock_elsewhere, [&] { mutex.Unlock(); });
    }
}

TEST_F(local_locks, an_event_is_waited_for_alone_or_with_a_lock) {
    const std::function<bool(CTimeLimit)> ways[] = {
        [&](CTimeLimit limit) { return limit.IsForever() ? signal.Wait(), true : signal.TimedWait(limit); },
        [&](CTimeLimit limit) {
            const CLockGuard held(mutex);
            return limit.IsForever() ? signal.Wait(mutex), true : signal.TimedWait(mutex, limit);
        },
        [&](CTimeLimit limit) {
            const CLockGuard outer(light), inner(light);
            return limit.IsForever() ? signal.Wait(light), true : signal.TimedWait(light, limit);
        }};
    for (const auto& wait : ways) {
        wait_with_all_limits(wait, [&] { signal.Raise(); });
        EXPECT_TRUE(signal.IsRaised() && wait(0) && wait(9));
        signal.Reset();
        EXPECT_FALSE(signal.IsRaised());
    }
    EXPECT_TRUE(CEvent(true).IsRaised());
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

TEST_F(local_locks, an_event_is_a_condition_variable_with_an_outside_lock) {
    take_turns(mutex);
    take_turns(light);
}

struct open_mutex : CLightMutex {
    using CLightMutex::m_count;
    using CLightMutex::m_recursion;
    using CLightMutex::m_sem;
};

/// Threads that lock to random depths, and now and then give a light mutex up whole and take it back.
template <class LOCK>
void contend(unsigned seed, int threads, int turns, LOCK&& lock) {
    std::int64_t inside = 0, entries = 0;
    in_threads(threads, [&](int number) {
        std::minstd_rand random(seed + static_cast<unsigned>(number));
        for (int turn = 0; turn < turns; ++turn) {
            const auto depth = random() % 3 + 1;
            for (auto i = depth; i > 0; --i)
                lock.Lock();
            EXPECT_EQ(++inside, 1);
            ++entries;
            --inside;
            if constexpr (std::is_same_v<LOCK, open_mutex>) {
                CLightMutexRelease release(lock);
                if (random() % 8 == 0) release.Release(), release.TakeBack();
                EXPECT_EQ(lock.m_recursion, depth);
            }
            for (auto i = depth; i > 0; --i)
                lock.Unlock();
        }
    });
    EXPECT_EQ(entries, threads * turns);
    if constexpr (std::is_same_v<LOCK, open_mutex>) {
        EXPECT_EQ(lock.m_count, -1);
    }
}

TEST_F(local_locks, only_one_thread_is_inside) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    for (const int threads : {2, 4, 8}) {
        contend(seed, threads, 4000, CMutex());
        contend(seed, threads, 4000, open_mutex());
    }
    const std::uint32_t usual = CSpinLightMutex::g_spinEnabled;
    for (const std::uint32_t spin : {0u, 1u, 999u, 1000u}) {
        CSpinLightMutex::g_spinEnabled = spin % 1000;  // with 0 and 1000 nobody spins, as on one processor
        contend(seed, 4, 4000, FASTPDU_SPIN_PCLOCK(spin));
    }
    CSpinLightMutex::g_spinEnabled = usual;
    for (unsigned round = 0; round < 300; ++round)
        contend(seed + round, 3, 3, open_mutex());  // who contends first makes the semaphore
}

TEST_F(local_locks, a_light_mutex_is_handed_on_by_the_last_unlock_and_once_there_is_memory) {
    open_mutex lock;
    for (int depth = 1; depth <= 3; ++depth)
        lock.Lock();
    EXPECT_FALSE(lock.m_sem.IsMade());
    faults::fail_next(faults::NOTHROW_NEW, ENOMEM, 3);
    std::atomic<bool> entered{false};
    std::thread waiter([&] {
        const CLockGuard guard(lock);
        entered = true;
    });
    while (lock.m_count != 3)
        std::this_thread::yield();
    for (int depth = 3; depth > 0; --depth) {
        EXPECT_FALSE(entered);
        lock.Unlock();
    }
    waiter.join();
    EXPECT_TRUE(entered && lock.m_count == -1 && lock.m_sem.IsMade() && faults::pending() == 0);
}

TEST_F(local_locks, the_standard_library_takes_them) {
    CSpinLightMutex spinning;
    FASTPDU_SPIN_PCLOCK fast;
    const std::scoped_lock all(mutex, light, spinning, fast);
    const std::lock_guard deeper(fast);
    const auto is_free = [](auto& lock) { return std::unique_lock(lock, std::try_to_lock).owns_lock(); };
    EXPECT_TRUE(is_free(mutex) && is_free(light) && is_free(spinning) && is_free(fast));
    in_threads(1, [&](int) {
        EXPECT_FALSE(is_free(mutex) || is_free(light) || is_free(spinning) || is_free(fast));
    });
}

TEST_F(local_locks, a_guard_holds_a_lock_just_once) {
    CLockGuard guard(mutex);
    guard.Lock();
    EXPECT_TRUE(guard.TryLock());
    guard.Unlock();
    guard.Unlock();
    in_threads(1, [&](int) { EXPECT_TRUE(CLockGuard(mutex, std::defer_lock).TryLock()); });
    EXPECT_TRUE(guard.TryLock() && guard.IsHeld());

    struct {
        void Lock() {}
        void Unlock() { throw 1; }
    } failing;
    EXPECT_THROW(CLockGuard{failing}, int);
}

#ifndef ORLO_THREAD_SANITIZER  // which makes system calls, and reports misuse itself
TEST_F(local_locks, a_light_mutex_makes_no_system_call_when_nobody_contends) {
    const auto ends_when_confined = [](auto&& action) {
        return child([&] {
                   action();  // once in freedom: a sanitizer may map memory at a function's first call
                   if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) return 2;
                   action();  // from here on any system call but this thread's exit kills
                   return static_cast<int>(syscall(SYS_exit, 0));
               })
            .wait();
    };
    const auto lock_often = [&] {
        for (int i = 0; i < 1000; ++i)
            const CLockGuard outer(light), inner(light);
    };
    EXPECT_EQ(ends_when_confined(lock_often), 0);
    EXPECT_EQ(ends_when_confined(getppid), -SIGKILL);
}

TEST_F(local_locks, a_mutex_that_is_not_held_or_still_held) {
    const auto unlock = [&](int) {
        EXPECT_FAILURE(mutex.Unlock(), mutexExp, 4,
                       system_text("CMutex/Unlock - failed unlock mutex\n", EPERM,
                                   "the current thread does not own the mutex"));
    };
    unlock(0);
    constexpr auto not_owned = "the mutex was not owned by the current thread at the time of the call";
    EXPECT_FAILURE(signal.Wait(mutex), eventExp, 4,
                   system_text("CEvent/WaitEvent - failed wait event\n", EPERM, not_owned));
    EXPECT_FAILURE((void)signal.TimedWait(mutex, 10), eventExp, 5,
                   system_text("CEvent/TimedWaitEvent - failed wait event\n", EPERM, not_owned));
    const CLockGuard held(mutex);
    in_threads(1, unlock);
    EXPECT_FAILURE(
        CMutex().Lock(), mutexExp, 2,
        system_text("CMutex::~CMutex - failed close mutex\n", EBUSY, "attempt to destroy a locked mutex"));
}
#endif

TEST_F(local_locks, failures_of_the_system) {
    constexpr auto make = "CSem::__Init - failed create semaphore\n";
    expect_faults<semExp>([] { CSem(); },
                          {{"sem_init", ENOSPC, 1, make, "the max semaphores limit has been reached"},
                           {"sem_destroy", EBUSY, 2, "CSem::~CSem - failed destroy semaphore\n",
                            "there are currently processes blocked on the semaphore"}});
    constexpr std::uint32_t most = 0x7FFFFFFF;
    EXPECT_FAILURE(CSem(most + 1), semExp, 1,
                   system_text(make, EINVAL, "the init value exceeds max limited"));
    EXPECT_FAILURE(CSem(most - 1).P(2), semExp, 3,
                   system_text("CSem::P - failed P a semaphore\n", EOVERFLOW));

    int (*const lock)(pthread_mutex_t*, clockid_t, const timespec*) = [](auto...) { return EAGAIN; };
    int (*const wait)(sem_t*, clockid_t, const timespec*) = [](auto...) { return errno = EINVAL, -1; };
    use_clock_calls(reinterpret_cast<std::uintptr_t>(lock), reinterpret_cast<std::uintptr_t>(wait));
    EXPECT_FAILURE((void)mutex.TimedLock(1), mutexExp, 5,
                   system_text("CMutex/TimedLock - failed lock mutex\n", EAGAIN,
                               "maximum number of recursive locks has been exceeded"));
    EXPECT_FAILURE((void)CSem().TimedWait(1), semExp, 5,
                   system_text("CSem/TimedWait - failed P a semaphore\n", EINVAL,
                               "invalid semaphore obj or invalid timeout argument"));
}

}  // namespace

// Named mutexes, events and semaphores, between real processes.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <optional>

#include "orlo/threads/proc_event.h"
#include "orlo/threads/proc_mutex.h"
#include "orlo/threads/proc_sem.h"
#include "support/child.h"
#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/shm_name.h"
#include "support/watchdog.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct named : testing::Test {
    faults::clean_slate slate;
    watchdog dog{60};
    shm_name unique;
    stringEx name{unique.text()};
    wstringEx wide{std::wstring(name.begin(), name.end()).c_str()};

    /// The size of the region `name` + `suffix`; -1 when there is none.
    std::int64_t region_size(const char* suffix = "") const {
        struct stat state {};
        const std::string path = "/dev/shm" + unique.text() + suffix;
        return stat(path.c_str(), &state) == 0 ? state.st_size : -1;
    }
};

TEST_F(named, a_mutex_keeps_processes_apart) {
    const shared_value<std::atomic<int>> rounds, gone;
    // nobody made it before: all of them create, one of them makes
    const auto contend = [&] {
        CProcMutex lock = CProcMutex::Create(name);
        for (int i = 0; i < 3000; ++i) {
            if (i % 3 == 0) {
                if (!lock.TimedLock(15000)) return 100;
            } else {
                lock.Lock();
            }
            const CLockGuard nested(lock);
            const int before = (*rounds).load(std::memory_order_relaxed);
            (*rounds).store(before + 1, std::memory_order_relaxed);
            lock.Unlock();
        }
        ++*gone;
        if (!lock.IsCreator()) return 0;
        await(*gone, 4);
        return 1;
    };
    child a(contend), b(contend), c(contend), d(contend);
    EXPECT_EQ(a.wait() + b.wait() + c.wait() + d.wait(), 1);
    EXPECT_EQ(*rounds, 12000);
    EXPECT_EQ(region_size(), -1);
}

TEST_F(named, a_mutex_left_by_a_dead_process_is_used_as_it_is) {
    {
        CProcMutex lock = CProcMutex::Create(wide, ACCESS_READ);
        EXPECT_TRUE(lock.IsCreator());
        EXPECT_EQ(region_size(), static_cast<std::int64_t>(sizeof(pthread_mutex_t)));
        EXPECT_TRUE(lock.TryLock());
        EXPECT_EQ(child([&] { return CProcMutex::Open(wide, ACCESS_READ).TryLock() ? 1 : 0; }).wait(), 0);
        lock.Unlock();
    }
    EXPECT_EQ(region_size(), -1);
    EXPECT_EQ(child([&] {
                  CProcMutex lock = CProcMutex::Create(name);
                  lock.Lock();
                  return raise(SIGKILL);
              }).wait(),
              -SIGKILL);
    CProcMutex lock = CProcMutex::Create(name);
    EXPECT_FALSE(lock.IsCreator());
    EXPECT_FALSE(lock.TryLock());
    EXPECT_FALSE(lock.TimedLock(20));
    EXPECT_FALSE(lock.TimedLock(CTimeSpan(20000)));
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(named, mutex_misuse) {
    std::optional<CProcMutex> made(CProcMutex::Create(name));
    CProcMutex opened = CProcMutex::Open(name);
    EXPECT_FAILURE(opened.Unlock(), mutexExp, 4,
                   "CMutex/Unlock - failed unlock mutex\n  error code = 1\n"
                   "  error desc = the current thread does not own the mutex");
    made.reset();
    EXPECT_FAILURE(opened.Lock(), mutexExp, 3,
                   "CMutex/Lock - failed lock mutex\n  error code = 22\n"
                   "  error desc = mutex object does not correctly initialized");
    EXPECT_FAILURE(opened.TryLock(), mutexExp, 3,
                   "CMutex/TryLock - failed lock mutex\n  error code = 22\n"
                   "  error desc = mutex object does not correctly initialized");
    const auto destroy_held = [&] { CProcMutex::Create(name).Lock(); };
    EXPECT_FAILURE(destroy_held(), mutexExp, 2,
                   "CProcMutex::~CProcMutex - failed close mutex\n  error code = 16\n"
                   "  error desc = attempt to destroy a locked mutex");
    EXPECT_EQ(region_size(), -1);
}
#endif

TEST_F(named, an_event_shares_its_state) {
    {
        CProcEvent made = CProcEvent::Create(name, true);
        CProcEvent found = CProcEvent::Create(wide, false);
        CProcEvent opened = CProcEvent::Open(wide);
        EXPECT_TRUE(made.IsCreator());
        EXPECT_FALSE(found.IsCreator() || opened.IsCreator());
        EXPECT_EQ(region_size(), 56);
        EXPECT_EQ(region_size(".lock"), static_cast<std::int64_t>(sizeof(pthread_mutex_t)));
        EXPECT_TRUE(found.IsRaised());
        found.Reset();
        EXPECT_FALSE(made.IsRaised());
        EXPECT_EQ(child([&] { return CProcEvent::Open(name).TimedWait(0) ? 1 : 0; }).wait(), 0);
        opened.Raise();
        EXPECT_TRUE(made.TimedWait(0));
        CMutex mutex;
        CLightMutex light;
        made.Wait(mutex);
        EXPECT_TRUE(made.TimedWait(light, CTimeSpan(1)));
        made.Reset();
        const CLockGuard held(mutex);
        const CLockGuard held_too(light);
        EXPECT_FALSE(made.TimedWait(mutex, 1));
        EXPECT_FALSE(made.TimedWait(light, 1));
    }
    EXPECT_EQ(region_size(), -1);
    EXPECT_EQ(region_size(".lock"), -1);
    EXPECT_FAILURE(CProcEvent::Open(name), shmemExp, 3,
                   "CShMem/OpenSharedMemoryObject - failed create shared memory object\n  smo name    = " +
                       unique.text() +
                       "\n  flag        = 0x2\n  access mode = 0666\n  error code  = 2\n"
                       "  error desc  = the shared memory object does not exist");
}

TEST_F(named, an_event_wakes_other_processes) {
    CProcSem steps = CProcSem::Create(name);
    CProcEvent signal = CProcEvent::Create(name);
    const auto wait_in_turn = [&](bool timed) {
        return [&, timed] {
            CProcEvent opened = CProcEvent::Open(name);
            for (int round = 0; round < 50; ++round) {
                steps.P();
                if (timed && !opened.TimedWait(15000)) return 1;
                if (!timed) opened.Wait();
                steps.P();
                while (opened.IsRaised())
                    usleep(100);
            }
            return 0;
        };
    };
    const auto await_all = [&] {
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(steps.TimedWait(15000));
    };
    child a(wait_in_turn(false)), b(wait_in_turn(true)), c(wait_in_turn(false));
    for (int round = 0; round < 50; ++round) {
        await_all();
        if (round % 2 == 0) usleep(2000);
        signal.Raise();
        await_all();
        signal.Reset();
    }
    EXPECT_EQ(a.wait() + b.wait() + c.wait(), 0);
}

TEST_F(named, of_racing_creators_of_an_event_one_makes_it) {
    for (int round = 0; round < 20; ++round) {
        const shared_value<std::atomic<int>> gone;
        const auto race = [&] {
            std::optional<CProcEvent> made(CProcEvent::Create(name, true));
            for (int i = 0; i < 20; ++i) {
                made->Raise();
                if (!made->TimedWait(5000)) return 100;
            }
            const bool is_creator = made->IsCreator();
            if (is_creator) await(*gone, 2);  // the creator goes last
            made.reset();
            ++*gone;
            return is_creator ? 1 : 0;
        };
        child a(race), b(race), c(race);
        EXPECT_EQ(a.wait() + b.wait() + c.wait(), 1);
    }
}

TEST_F(named, a_semaphore_is_removed_by_its_creator_only) {
    {
        CProcSem made = CProcSem::Create(name, 2);
        CProcSem found = CProcSem::Create(wide, 9);
        EXPECT_TRUE(made.IsCreator());
        EXPECT_FALSE(found.IsCreator());
        EXPECT_EQ(child([&] {
                      CProcSem opened = CProcSem::Open(wide);
                      opened.Wait();
                      opened.P(2);
                      return opened.IsCreator() ? 1 : 0;
                  }).wait(),
                  0);
        EXPECT_FALSE(CProcSem::Open(name).IsCreator());
        for (const bool expected : {true, true, true, false})
            EXPECT_EQ(found.TryWait(), expected);
        EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(found.TimedWait(CTimeSpan(20500))); }), 20);
        const CProcSem moved(std::move(made));
        EXPECT_TRUE(moved.IsCreator());
    }
    EXPECT_FAILURE(
        CProcSem::Open(name), semExp, 7,
        "CProcSem/OpenNamedSemaphore - failed create named semaphore\n  semaphore name = " + unique.text() +
            "\n  error code     = 2\n  error desc     = the named semaphore does not exist");
}

TEST_F(named, of_racing_creators_of_a_semaphore_one_removes_it) {
    for (int round = 0; round < 50; ++round) {
        const shared_value<std::atomic<int>> started, opened;
        const auto race = [&] {
            ++*started;
            while (*started < 3) {
            }
            const CProcSem made = CProcSem::Create(name, 1);
            ++*opened;
            await(*opened, 3);
            return made.IsCreator() ? 1 : 0;
        };
        child a(race), b(race), c(race);
        EXPECT_EQ(a.wait() + b.wait() + c.wait(), 1);
    }
}

std::string semaphore_text(const std::string& head, const std::string& name, int error,
                           const char* sentence) {
    return "CProcSem" + head + "\n  semaphore name = " + name +
           "\n  error code     = " + std::to_string(error) + "\n  error desc     = " + sentence;
}

TEST_F(named, semaphore_failures) {
    const std::string create = "/CreateNamedSemaphore - failed create named semaphore";
    const std::string long_name(252, 'x');
    EXPECT_FAILURE(CProcSem::Create(stringEx(long_name)), semExp, 6,
                   semaphore_text(create, long_name, ENAMETOOLONG, "semaphore name is too long"));
    EXPECT_FAILURE(CProcSem::Create("/a/b"_lit), semExp, 6,
                   semaphore_text(create, "/a/b", EINVAL, "unsupport name or value is too big"));
    EXPECT_FAILURE(CProcSem::Create(name, 0x80000000), semExp, 6,
                   semaphore_text(create, unique.text(), EINVAL, "unsupport name or value is too big"));
    const auto overfill = [&] { CProcSem::Create(name, 0x7FFFFFFF).P(); };
    EXPECT_FAILURE(overfill(), semExp, 3,
                   "CProcSem::P - failed P a semaphore\n  error code = 75\n"
                   "  error desc = unexpect system error: Value too large for defined data type");

    struct {
        const char* call;
        int error;
        int code;
        std::string text;
    } const rows[] = {
        {"sem_open", ENFILE, 6,
         semaphore_text(create, unique.text(), ENFILE,
                        "too many semaphores are currently open in the system")},
        {"sem_close", EINVAL, 8,
         semaphore_text("::~CProcSem - failed close named semaphore", unique.text(), EINVAL,
                        "current object is not a valid semaphore")},
        {"sem_unlink", EACCES, 9,
         semaphore_text("::~CProcSem - failed unlink the named semaphore", unique.text(), EACCES,
                        "access denied")},
    };
    for (const auto& row : rows) {
        faults::reset();
        faults::fail_next(row.call, row.error);
        EXPECT_FAILURE(CProcSem::Create(name), semExp, row.code, row.text);
        sem_unlink(unique.text().c_str());
    }
    faults::fail_next("sem_open", EINTR, 5);
    EXPECT_TRUE(CProcSem::Create(name).IsCreator());
}

TEST_F(named, a_failed_creation_leaves_no_name) {
    const std::string mutex = "CProcMutex/CreateNamedMutex - failed ";
    const std::string event = "CProcEvent/CreateNamedEvent - failed ";
    const std::string invalid = "  error code = 22\n  error desc = ";
    const std::string unexpected = invalid + "unexpect system error: Invalid argument";
    struct {
        const char* call;
        std::string text;
    } const rows[] = {
        {"pthread_mutexattr_init", mutex + "create mutex attribute\n" + unexpected},
        {"pthread_mutexattr_settype",
         mutex + "create mutex (set type)\n" + invalid + "attr's type value is invalid"},
        {"pthread_mutexattr_setpshared",
         mutex + "create mutex (set shared)\n" + invalid + "the process-shared attribute is invalid"},
        {"pthread_mutex_init", mutex + "create mutex\n" + invalid + "invalid attr object"},
        {"pthread_mutexattr_destroy",
         mutex + "release mutex attribute\n" + invalid + "the value specified by attr is invalid"},
        {"pthread_condattr_init", event + "create event attribute\n" + unexpected},
        {"pthread_condattr_setpshared", event + "create event (set shared)\n" + unexpected},
        {"pthread_condattr_setclock", event + "create event (set clock)\n" + unexpected},
        {"pthread_cond_init", event + "create event\n" + unexpected},
        {"pthread_condattr_destroy", event + "release event attribute\n" + unexpected},
        {"pthread_cond_destroy", "CProcEvent::~CProcEvent - failed close event\n" + unexpected},
    };
    for (const auto& row : rows) {
        faults::fail_next(row.call, EINVAL);
        if (row.text.starts_with(mutex)) {
            EXPECT_FAILURE(CProcEvent::Create(name), mutexExp, 1, row.text);
        } else {
            EXPECT_FAILURE(CProcEvent::Create(name), eventExp, row.text.starts_with(event) ? 1 : 2, row.text);
        }
        EXPECT_EQ(region_size(), -1) << row.call;
        EXPECT_EQ(region_size(".lock"), -1) << row.call;
    }
}

}  // namespace

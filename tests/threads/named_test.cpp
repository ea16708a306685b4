// Named mutexes, events and semaphores, between real processes; and the failures of making events and
// mutexes.

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>

#include "orlo/threads/proc_event.h"
#include "orlo/threads/proc_mutex.h"
#include "orlo/threads/proc_sem.h"
#include "support/child.h"
#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

struct named : lock_test {
    ~named() noexcept override {}

    shm_name unique;
    stringEx name{unique.text};
    wstringEx wide{std::wstring(name.begin(), name.end()).c_str()};

    /// The size of the region `name` + `suffix`; -1 when there is none.
    std::int64_t region_size(const char* suffix = "") const {
        struct stat state {};
        return stat(("/dev/shm" + unique.text + suffix).c_str(), &state) == 0 ? state.st_size : -1;
    }
};

TEST_F(named, of_racing_creators_one_makes_and_the_objects_join_the_processes) {
    const stringEx beside((unique.text + ".beside").c_str());
    for (int round = 0; round < 40; ++round) {
        const shared_number opened, gone, guarded;
        const auto create = [&] {
            const CProcSem sem = CProcSem::Create(name, 1);
            std::optional<CProcEvent> event(CProcEvent::Create(name));
            CProcMutex mutex = CProcMutex::Create(beside);
            for (int i = 0; i < 300; ++i) {
                if (!mutex.TimedLock(i % 3 == 0 ? 15'000 : WAIT_FOREVER)) return 200;
                const CLockGuard nested(mutex);
                const int before = (*guarded).load(std::memory_order_relaxed);
                (*guarded).store(before + 1, std::memory_order_relaxed);
                mutex.Unlock();
            }
            ++*opened;
            opened.await(3);
            const bool is_creator = event->IsCreator();
            if (is_creator) {
                if (round % 4 < 2) usleep(2000);  // so that the others sleep by then
                event->Raise();
                gone.await(2);  // the creator goes last
            }
            if (!event->TimedWait(round % 2 == 0 ? 15'000 : WAIT_FOREVER)) return 200;
            event.reset();
            ++*gone;
            return is_creator + 10 * sem.IsCreator() + 100 * mutex.IsCreator();
        };
        EXPECT_EQ(race(3, create), 111);
        EXPECT_EQ(*guarded, 900);
        EXPECT_EQ(region_size() + region_size(".beside"), -2);
    }
}

TEST_F(named, a_mutex_left_by_a_dead_process_is_used_as_it_is) {
    {
        CProcMutex lock = CProcMutex::Create(wide, ACCESS_READ);
        EXPECT_EQ(region_size(), static_cast<std::int64_t>(sizeof(pthread_mutex_t)));
        EXPECT_TRUE(lock.IsCreator() && lock.TryLock());
        EXPECT_EQ(child([&] { return CProcMutex::Open(wide, ACCESS_READ).TryLock() ? 1 : 0; }).wait(), 0);
        lock.Unlock();
    }
    const auto die_holding = [&] {
        CProcMutex lock = CProcMutex::Create(name);
        lock.Lock();
        return raise(SIGKILL);
    };
    EXPECT_EQ(child(die_holding).wait(), -SIGKILL);
    CProcMutex lock = CProcMutex::Create(name);
    EXPECT_FALSE(lock.IsCreator() || lock.TryLock() || lock.TimedLock(20));
}

#ifndef ORLO_THREAD_SANITIZER  // which reports such misuse itself
TEST_F(named, a_mutex_that_its_creator_destroyed) {
    std::optional<CProcMutex> made(CProcMutex::Create(name));
    CProcMutex opened = CProcMutex::Open(name);
    made.reset();
    constexpr auto sentence = "mutex object does not correctly initialized";
    EXPECT_FAILURE(opened.Lock(), mutexExp, 3,
                   system_text("CMutex/Lock - failed lock mutex\n", EINVAL, sentence));
    EXPECT_FAILURE((void)opened.TryLock(), mutexExp, 3,
                   system_text("CMutex/TryLock - failed lock mutex\n", EINVAL, sentence));
    EXPECT_FAILURE(CProcMutex::Create(name).Lock(), mutexExp, 2,
                   system_text("CProcMutex::~CProcMutex - failed close mutex\n", EBUSY,
                               "attempt to destroy a locked mutex"));
    EXPECT_EQ(region_size(), -1);
}
#endif

TEST_F(named, an_event_shares_its_state) {
    {
        CProcEvent made = CProcEvent::Create(name, true), found = CProcEvent::Create(wide, false);
        CProcEvent opened = CProcEvent::Open(wide);
        EXPECT_TRUE(made.IsCreator() && !found.IsCreator() && !opened.IsCreator());
        EXPECT_EQ(region_size(), 56);
        EXPECT_EQ(region_size(".lock"), static_cast<std::int64_t>(sizeof(pthread_mutex_t)));
        EXPECT_TRUE(found.IsRaised());
        found.Reset();
        EXPECT_FALSE(made.IsRaised() || made.TimedWait(0));
        CMutex mutex;
        CLightMutex light;
        const CLockGuard held(mutex);
        const CLockGuard held_too(light);
        EXPECT_FALSE(made.TimedWait(mutex, 1) || made.TimedWait(light, 1));
        opened.Raise();
        made.Wait(mutex);
        made.Wait(light);
    }
    EXPECT_EQ(region_size() + region_size(".lock"), -2);
    EXPECT_THROW(CProcEvent::Open(name), shmemExp);
}

/// A forked process has a copy of every object; when that goes, nothing goes for the others.
TEST_F(named, what_a_process_made_outlives_the_copy_of_its_child) {
    std::optional<CProcEvent> event(CProcEvent::Create(name));
    std::optional<CProcSem> sem(CProcSem::Create(name, 1));
    const auto drop = [&] {
        const bool is_creator = event->IsCreator() || sem->IsCreator();
        event.reset();
        sem.reset();
        return is_creator ? 1 : 0;
    };
    EXPECT_EQ(child(drop).wait(), 0);
    EXPECT_TRUE(event->IsCreator() && sem->IsCreator());
    EXPECT_EQ(region_size(), 56);
    CProcEvent::Open(name).Raise();  // fails when the mutex in it was destroyed
    EXPECT_TRUE(event->TimedWait(0) && CProcSem::Open(name).TryWait());
}

/// An event is made and ended under its mutex, which somebody may hold from an earlier event of the name.
TEST_F(named, an_event_begins_and_ends_with_its_mutex_held) {
    CProcMutex lock = CProcMutex::Create(stringEx((unique.text + ".lock").c_str()));
    std::optional<CProcEvent> event;
    const std::function<void()> steps[] = {[&] { event.emplace(CProcEvent::Create(name)); },
                                           [&] { event.reset(); }};
    for (const auto& step : steps) {
        lock.Lock();
        std::atomic<bool> done{false};
        std::thread other([&] { step(), done = true; });
        sleep_ms(20);
        EXPECT_FALSE(done);
        lock.Unlock();
        other.join();
    }
}

TEST_F(named, a_semaphore_is_removed_by_its_creator_only) {
    CProcSem made = CProcSem::Create(name, 2), found = CProcSem::Create(wide, 9);
    const auto use = [&] {
        CProcSem opened = CProcSem::Open(wide);
        opened.Wait();
        opened.P(2);
        return 0;
    };
    EXPECT_EQ(child(use).wait(), 0);
    EXPECT_TRUE(made.IsCreator() && !found.IsCreator() && !CProcSem::Open(name).IsCreator());
    EXPECT_TRUE(found.TryWait() && found.TimedWait(0) && found.TimedWait(WAIT_FOREVER));
    EXPECT_FALSE(found.TryWait());
    EXPECT_TRUE(fails_after_ms(20, [&] { return found.TimedWait(CTimeSpan(20'500)); }));
    { const CProcSem moved(std::move(made)); }
    EXPECT_THROW(CProcSem::Open(name), semExp);
}

TEST_F(named, semaphore_failures) {
    const auto head = [](const char* operation, const std::string& of) {
        return std::string("CProcSem") + operation + " named semaphore\n  semaphore name = " + of + "\n";
    };
    constexpr auto create = "/CreateNamedSemaphore - failed create",
                   invalid = "unsupport name or value is too big";
    const std::string& own = unique.text;
    const std::string too_long(252, 'x'), zero("/a\0b", 4);
    EXPECT_FAILURE(CProcSem::Create(stringEx(too_long)), semExp, 6,
                   system_text(head(create, too_long), ENAMETOOLONG, "semaphore name is too long", "    "));
    EXPECT_FAILURE(CProcSem::Create(stringEx(zero)), semExp, 6,
                   system_text(head(create, zero), EINVAL, invalid, "    "));
    EXPECT_FAILURE(CProcSem::Create(name, 0x80000000), semExp, 6,
                   system_text(head(create, own), EINVAL, invalid, "    "));
    EXPECT_FAILURE(CProcSem::Open(name), semExp, 7,
                   system_text(head("/OpenNamedSemaphore - failed create", own), ENOENT,
                               "the named semaphore does not exist", "    "));
    EXPECT_FAILURE(CProcSem::Create(name, 0x7FFFFFFF).P(), semExp, 3,
                   system_text("CProcSem::P - failed P a semaphore\n", EOVERFLOW));
    faults::fail_next("sem_open", EINTR, 5);
    expect_faults<semExp>(
        [&] { CProcSem::Create(name); },
        {{"sem_close", EINVAL, 8, head("::~CProcSem - failed close", own),
          "current object is not a valid semaphore"},
         {"sem_open", ENFILE, 6, head(create, own), "too many semaphores are currently open in the system"},
         {"sem_unlink", EACCES, 9, head("::~CProcSem - failed unlink the", own), "access denied"}},
        "    ");
    sem_unlink(own.c_str());
    faults::fail_next("sem_unlink", EACCES);
    faults::fail_next("sem_close", EINVAL);  // the first of two failures is told
    EXPECT_FAILURE(CProcSem::Create(name), semExp, 8,
                   system_text(head("::~CProcSem - failed close", own), EINVAL,
                               "current object is not a valid semaphore", "    "));
    EXPECT_EQ(faults::pending(), 0);
}

/// An event, local or named, makes its mutex as it makes itself, so that the failures of both show here.
TEST_F(named, a_failed_creation_leaves_no_name) {
    for (const bool local : {true, false}) {
        const std::string prefix = local ? "C" : "CProc";
        const std::string mutex =
            local ? "CMutex::CMutex - failed " : "CProcMutex/CreateNamedMutex - failed ";
        const std::string event =
            prefix + (local ? "Event/CreateLocal" : "Event/CreateNamed") + "Event - failed ";
        const auto create = [&] {
            EXPECT_EQ(region_size() + region_size(".lock"), -2);
            local ? CEvent().Raise() : CProcEvent::Create(name).Raise();
        };
        expect_faults<mutexExp>(
            create, {{"pthread_mutexattr_settype", EINVAL, 1, mutex + "create mutex (set type)\n",
                      "attr's type value is invalid"},
                     {"pthread_mutex_init", EAGAIN, 1, mutex + (local ? "create mutex" : "create mutex\n"),
                      "the system lacked the necessary resources"},
                     {"pthread_mutexattr_destroy", EIO, 1, mutex + "release mutex attribute\n"},
                     {"pthread_mutex_destroy", EINVAL, 2,
                      prefix + "Mutex::~" + prefix + "Mutex - failed close mutex\n",
                      "the value specified by mutex is invalid"}});
        expect_faults<eventExp>(
            create, {{"pthread_condattr_setpshared", EINVAL, 1, event + "create event (set shared)\n"},
                     {"pthread_condattr_setclock", EINVAL, 1, event + "create event (set clock)\n"},
                     {"pthread_cond_init", EINVAL, 1, event + "create event\n"},
                     {"pthread_condattr_destroy", EINVAL, 1, event + "release event attribute\n"},
                     {"pthread_cond_broadcast", EINVAL, 3, "CEvent/RaiseEvent - failed raise event\n"},
                     {"pthread_cond_destroy", EINVAL, 2,
                      prefix + "Event::~" + prefix + "Event - failed close event\n"}});
        create();
    }
    expect_faults<mutexExp>([&] { CProcMutex::Create(name); },
                            {{"pthread_mutexattr_setpshared", EINVAL, 1,
                              "CProcMutex/CreateNamedMutex - failed create mutex (set shared)\n",
                              "the process-shared attribute is invalid"}});
}

}  // namespace

#include <atomic>
#include <deque>
#include <mutex>
#include <random>
#include <shared_mutex>

#include "orlo/threads/fast_writer_spin_lock.h"
#include "orlo/threads/writer_lock.h"
#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

/// Runs one letter an operation; capitals only try.
template <class LOCK>
void operate(LOCK& lock, std::string_view operations) {
    for (const char operation : operations) {
        if (operation == 'r') lock.__ReadLock();
        if (operation == 'w') lock.__Lock();
        if (operation == 'u') lock.__Unlock();
        if (operation == 'd') lock.__Downgrade();
        EXPECT_TRUE(operation != 'R' || lock.__TryReadLock());
        EXPECT_TRUE(operation != 'W' || lock.__TryLock());
    }
}

/// Whether another thread gets a hold at once; it gives it up again.
template <class GUARD, class LOCK>
bool another_gets(LOCK& lock) {
    bool got = false;
    in_threads(1, [&](int) { got = GUARD(lock, std::defer_lock).TryLock(); });
    return got;
}

template <class LOCK>
struct rw_lock : lock_test {
    ~rw_lock() noexcept override {}

    static constexpr bool timed = std::is_same_v<LOCK, CWriterLock>;
    LOCK lock;

    template <class Action>
    static void fails(Action&& action, int code, const std::string& text) {
        EXPECT_TRUE(
            fails_with<rwlExp>(action, code, (timed ? "CWriterLock::" : "CFastWriterSpinLock::") + text));
    }
};
using locks = testing::Types<CWriterLock, CFastWriterSpinLock>;
TYPED_TEST_SUITE(rw_lock, locks);
using writer_lock = rw_lock<CWriterLock>;

TYPED_TEST(rw_lock, one_thread_nests_raises_and_downgrades_and_others_hold_nothing) {
    const struct {
        const char* operations;
        std::int64_t state;
    } rows[] = {
        {"", 0},       {"r", 1},     {"rr", 2},    {"w", -1},  {"ww", -2},    {"wr", -2},
        {"rrw", -3},   {"rrwu", -2}, {"rwW", -3},  {"wwd", 2}, {"wrdu", 1},   {"rwd", 2},
        {"wdw", -2},   {"wdr", 2},   {"R", 1},     {"W", -1},  {"RW", -2},    {"wwuu", 0},
        {"rrwuuu", 0}, {"wR", -2},   {"rwduu", 0}, {"ru", 0},  {"wdwduu", 0},
    };
    const auto no_downgrade = [&] {
        this->fails([&] { this->lock.__Downgrade(); }, 12,
                    "__Downgrade - the current thread does not hold the lock for writing");
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.operations);
        operate(this->lock, row.operations);
        for (int again = 0; again < 2; ++again) {  // what fails changes nothing
            EXPECT_EQ(this->lock.GetState(), row.state);
            EXPECT_EQ(another_gets<CReadGuard<TypeParam>>(this->lock), row.state >= 0);
            EXPECT_EQ(another_gets<CWriteGuard<TypeParam>>(this->lock), row.state == 0);
            if (row.state >= 0) no_downgrade();
            in_threads(1, [&](int) {
                no_downgrade();
                this->fails([&] { this->lock.__Unlock(); }, 11,
                            "__Unlock - the current thread does not hold the lock");
            });
        }
        for (std::int64_t n = std::abs(row.state); n != 0; --n)
            this->lock.__Unlock();
        EXPECT_EQ(this->lock.GetState(), 0);
    }
}

TYPED_TEST(rw_lock, the_standard_library_takes_it) {
    {
        const std::shared_lock reads(this->lock);
        EXPECT_EQ(this->lock.GetState(), 1);
        EXPECT_TRUE(std::shared_lock(this->lock, std::try_to_lock).owns_lock());
    }
    const std::scoped_lock writes(this->lock);
    EXPECT_EQ(this->lock.GetState(), -1);
    EXPECT_TRUE(std::unique_lock(this->lock, std::try_to_lock).owns_lock());
    in_threads(1, [&](int) {
        EXPECT_FALSE(std::unique_lock(this->lock, std::try_to_lock) ||
                     std::shared_lock(this->lock, std::try_to_lock));
    });
}

TYPED_TEST(rw_lock, of_two_that_raise_the_second_fails_and_the_first_goes_on) {
    operate(this->lock, "r");
    std::thread first([&] { operate(this->lock, "rrwuuu"); });
    while (another_gets<CReadGuard<TypeParam>>(this->lock))
        sleep_ms(1);  // until it waits, and keeps readers out
    const std::string tail =
        " - more than one threads are trying to raise a reader lock to a writer simutaneously.";
    this->fails([&] { this->lock.__Lock(); }, 10, "__Lock" + tail);
    this->fails([&] { (void)this->lock.__TryLock(); }, 10, (this->timed ? "__TimedLock" : "__Lock") + tail);
    EXPECT_EQ(this->lock.GetState(), 3);
    operate(this->lock, "ruu");  // who reads already may read again
    first.join();
    EXPECT_EQ(this->lock.GetState(), 0);
}

TYPED_TEST(rw_lock, a_downgrade_lets_all_waiting_readers_in) {
    operate(this->lock, "w");
    std::atomic<int> reading{0};
    std::thread readers([&] {
        in_threads(3, [&](int) {
            const CReadGuard<TypeParam> guard(this->lock);
            for (++reading; reading < 3;)
                std::this_thread::yield();
        });
    });
    sleep_ms(30);  // so that they sleep by now; if not, they find the lock read-held
    this->lock.__Downgrade();
    readers.join();
    EXPECT_EQ(this->lock.GetState(), 1);
    this->lock.__Unlock();
}

TEST_F(writer_lock, limits_run_out_and_leave_no_trace) {
    for (const bool writes : {false, true}) {
        operate(lock, writes ? "w" : "r");
        in_threads(1, [&](int) {
            for (const int limit : {-5, 0, 30}) {
                const CTimeSpan span = CTimeSpan::FromMilliseconds(limit);
                EXPECT_TRUE(fails_after_ms(limit, [&] { return lock.__TimedLock(span); }));
                EXPECT_TRUE(!writes || fails_after_ms(limit, [&] { return lock.__TimedReadLock(span); }));
            }
            if (writes) return;
            operate(lock, "r");
            EXPECT_TRUE(fails_after_ms(30, [&] { return lock.__TimedLock(30u); }));  // a raise
            EXPECT_EQ(lock.GetState(), 2);
            EXPECT_TRUE(another_gets<CReadGuard<CWriterLock>>(lock));
            operate(lock, "u");
        });
        EXPECT_EQ(lock.GetState(), writes ? -1 : 1);
        operate(lock, "u");
        EXPECT_TRUE(another_gets<CWriteGuard<CWriterLock>>(lock));
    }
}

/// A raise keeps new readers out; when its time is up they get in, beside those who read.
TEST_F(writer_lock, readers_that_a_failed_raise_held_back_get_in) {
    operate(lock, "r");
    std::atomic<bool> inside{false};
    in_threads(2, [&](int number) {
        if (number == 0) {
            operate(lock, "r");
            EXPECT_FALSE(lock.__TimedLock(100u));
            for (int n = 0; n < 1000 && !inside; ++n)
                sleep_ms(1);
            operate(lock, "u");
        } else {
            sleep_ms(30);  // by now it raises; if not, nobody is held back
            EXPECT_TRUE(lock.__TimedReadLock(5000u) && !inside.exchange(true));
            operate(lock, "u");
        }
    });
    EXPECT_EQ(lock.GetState(), 1);
    operate(lock, "u");
}

/// The slot of a lock can be taken from under it: the system gives the lowest free one.
TEST_F(lock_test, a_depth_that_cannot_be_noted_changes_nothing) {
    pthread_key_t key{};
    ASSERT_TRUE(pthread_key_create(&key, nullptr) == 0 && pthread_key_delete(key) == 0);
    CWriterLock lock;
    const auto fails = [&](auto&& action) {
        EXPECT_EQ(pthread_key_delete(key), 0);
        EXPECT_TRUE(fails_with<tlsExp>(action, 3, "CTlsSlot::SetValue - error set TLS Slot"));
        const pthread_key_t before = key;
        EXPECT_TRUE(pthread_key_create(&key, nullptr) == 0 && key == before);
    };
    fails([&] { lock.__ReadLock(); });
    EXPECT_EQ(lock.GetState(), 0);
    operate(lock, "w");
    fails([&] { lock.__Downgrade(); });
    EXPECT_EQ(lock.GetState(), -1);
    std::thread sleeper([&] { EXPECT_THROW(lock.__ReadLock(), tlsExp); });
    sleep_ms(30);  // so that it sleeps by now, and fails when it is woken
    EXPECT_EQ(pthread_key_delete(key), 0);
    operate(lock, "u");
    sleeper.join();
    EXPECT_TRUE(pthread_key_create(&key, nullptr) == 0);
    EXPECT_TRUE(another_gets<CWriteGuard<CWriterLock>>(lock));
}

TEST_F(lock_test, the_8193rd_fast_lock_has_no_row_until_one_goes) {
    std::deque<CFastWriterSpinLock> all(CFastWriterSpinLock::most_locks);
    for (int again = 0; again < 2; ++again) {
        EXPECT_FAILURE(CFastWriterSpinLock(), rwlExp, 2,
                       "AllocIndex - max count exceeded for the custom size spin rw-lock");
        all.pop_front();
        all.emplace_back();
    }
    // each has a row of its own: no lock sees another one's holds
    for (CFastWriterSpinLock& lock : all)
        operate(lock, "r");
    for (CFastWriterSpinLock& lock : all)
        operate(lock, "wuu");
}

/// Random operations of several threads, which watch who is inside.
template <class LOCK>
struct stress {
    LOCK lock;
    std::atomic<int> readers{0}, writers{0}, broken{0};
    std::atomic<std::uint64_t> writes{0};
    std::uint64_t written = 0;  // guarded by nothing but the lock: the sanitizer watches it

    void run(std::mt19937 random) {
        int holds = 0;
        bool writing = false;
        for (int n = 0; n < 3000 || holds > 0; ++n) {
            const unsigned chance = random() % 8;
            if (holds == 0 || (chance < 3 && n < 3000)) {
                const bool writes_now = random() % 2 != 0;
                if (!ask(writes_now, chance % 2 == 0, static_cast<std::uint32_t>(random() % 3))) continue;
                ++holds;
                writing = writing || writes_now;
            } else if (writing && chance == 3) {
                lock.__Downgrade();
                writing = false;
            } else {
                lock.__Unlock();
                --holds;
                writing = writing && holds > 0;
            }
            if (chance == 7) std::this_thread::yield();  // so that others meet the lock held
            if (holds > 0) watch(writing);
        }
    }

    bool ask(bool to_write, bool limited, std::uint32_t limit) try {
        if (!limited) {
            to_write ? lock.__Lock() : lock.__ReadLock();
            return true;
        }
        if constexpr (requires { lock.__TimedLock(limit); }) {
            return to_write ? lock.__TimedLock(limit) : lock.__TimedReadLock(limit);
        } else {
            return to_write ? lock.__TryLock() : lock.__TryReadLock();
        }
    } catch (const rwlExp& failure) {
        broken += failure.code() != 10;
        return false;
    }

    void watch(bool writing) {
        if (writing) {
            broken += ++writers != 1 || readers != 0 || ++written != ++writes;
            --writers;
        } else {
            ++readers;
            broken += writers != 0 || written != writes;
            --readers;
        }
    }
};

TYPED_TEST(rw_lock, holds_under_load) {
    const unsigned seed = std::random_device()();
    std::printf("seed %u\n", seed);
    const std::uint32_t usual = CSpinGate::g_spinEnabled;
    for (const bool spins : {true, false}) {
        CSpinLightMutex::g_spinEnabled = CSpinGate::g_spinEnabled = spins;
        for (const int threads : {2, 3, 5, 8}) {
            stress<TypeParam> all;
            in_threads(threads,
                       [&](int number) { all.run(std::mt19937(seed + static_cast<unsigned>(number))); });
            EXPECT_TRUE(all.broken == 0 && all.lock.GetState() == 0) << threads << " threads";
            EXPECT_TRUE(another_gets<CWriteGuard<TypeParam>>(all.lock));
        }
    }
    CSpinLightMutex::g_spinEnabled = CSpinGate::g_spinEnabled = usual;
}

}  // namespace

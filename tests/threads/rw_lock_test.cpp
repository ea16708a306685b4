#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <random>
#include <thread>

#include "orlo/threads/fast_writer_spin_lock.h"
#include "orlo/threads/writer_lock.h"
#include "support/expect_throw.h"
#include "support/watchdog.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

/// Runs one letter an operation; capitals only try.
template <class LOCK>
void operate(LOCK& lock, const char* operations) {
    for (; *operations != 0; ++operations) {
        switch (*operations) {
            case 'r':
                lock.__ReadLock();
                break;
            case 'w':
                lock.__Lock();
                break;
            case 'u':
                lock.__Unlock();
                break;
            case 'd':
                lock.__Downgrade();
                break;
            case 'R':
                EXPECT_TRUE(lock.__TryReadLock());
                break;
            case 'W':
                EXPECT_TRUE(lock.__TryLock());
                break;
            default:
                ADD_FAILURE() << operations;
        }
    }
}

/// Whether another thread gets a hold at once; it gives it up again.
template <class GUARD, class LOCK>
bool another_gets(LOCK& lock) {
    bool got = false;
    std::thread([&] {
        GUARD guard(lock, std::defer_lock);
        got = guard.TryLock();
    }).join();
    return got;
}

template <class LOCK>
struct rw_lock : testing::Test {
    ~rw_lock() noexcept override {}

    const watchdog dog{60};
    LOCK lock;

    static std::string says(const std::string& text) {
        return (std::is_same_v<LOCK, CWriterLock> ? "CWriterLock::" : "CFastWriterSpinLock::") + text;
    }
};
using locks = testing::Types<CWriterLock, CFastWriterSpinLock>;
TYPED_TEST_SUITE(rw_lock, locks);

struct held_row {
    const char* operations;
    std::int64_t state;
};

TYPED_TEST(rw_lock, one_thread_nests_raises_and_downgrades) {
    const held_row rows[] = {
        {"", 0},       {"r", 1},     {"rr", 2},    {"w", -1},  {"ww", -2},    {"wr", -2},
        {"rrw", -3},   {"rrwu", -2}, {"rwW", -3},  {"wwd", 2}, {"wrdu", 1},   {"rwd", 2},
        {"wdw", -2},   {"wdr", 2},   {"R", 1},     {"W", -1},  {"RW", -2},    {"wwuu", 0},
        {"rrwuuu", 0}, {"wR", -2},   {"rwduu", 0}, {"ru", 0},  {"wdwduu", 0},
    };
    for (const held_row& row : rows) {
        SCOPED_TRACE(row.operations);
        operate(this->lock, row.operations);
        for (int again = 0; again < 2; ++again) {  // a try that fails changes nothing
            EXPECT_EQ(this->lock.GetState(), row.state);
            EXPECT_EQ(another_gets<CReadGuard<TypeParam>>(this->lock), row.state >= 0);
            EXPECT_EQ(another_gets<CWriteGuard<TypeParam>>(this->lock), row.state == 0);
        }
        for (std::int64_t n = std::abs(row.state); n != 0; --n)
            this->lock.__Unlock();
        EXPECT_EQ(this->lock.GetState(), 0);
    }
}

TYPED_TEST(rw_lock, of_two_that_raise_the_second_fails_and_the_first_goes_on) {
    operate(this->lock, "r");
    std::thread first([&] { operate(this->lock, "rrwuuu"); });
    while (another_gets<CReadGuard<TypeParam>>(this->lock))
        sleep_ms(1);  // until it waits, and keeps readers out
    const std::string tail =
        " - more than one threads are trying to raise a reader lock to a writer simutaneously.";
    EXPECT_TRUE(fails_with<rwlExp>([&] { this->lock.__Lock(); }, 10, this->says("__Lock" + tail)));
    const char* const limited = std::is_same_v<TypeParam, CWriterLock> ? "__TimedLock" : "__Lock";
    EXPECT_TRUE(fails_with<rwlExp>([&] { this->lock.__TryLock(); }, 10, this->says(limited + tail)));
    EXPECT_EQ(this->lock.GetState(), 3);
    operate(this->lock, "ru");  // who reads already may read again
    operate(this->lock, "u");
    first.join();
    EXPECT_EQ(this->lock.GetState(), 0);
}

TYPED_TEST(rw_lock, who_holds_nothing_cannot_give_it_up) {
    const std::string no_hold = this->says("__Unlock - the current thread does not hold the lock");
    const std::string no_write =
        this->says("__Downgrade - the current thread does not hold the lock for writing");
    for (const held_row& row : {held_row{"", 0}, {"rr", 2}, {"w", -1}}) {
        SCOPED_TRACE(row.operations);
        operate(this->lock, row.operations);
        std::thread([&] {
            EXPECT_TRUE(fails_with<rwlExp>([&] { this->lock.__Unlock(); }, 11, no_hold));
            EXPECT_TRUE(fails_with<rwlExp>([&] { this->lock.__Downgrade(); }, 12, no_write));
        }).join();
        EXPECT_EQ(this->lock.GetState(), row.state);
        if (row.state >= 0) {
            EXPECT_TRUE(fails_with<rwlExp>([&] { this->lock.__Downgrade(); }, 12, no_write));
        }
        for (std::int64_t n = std::abs(row.state); n != 0; --n)
            this->lock.__Unlock();
    }
}

TYPED_TEST(rw_lock, a_downgrade_lets_all_waiting_readers_in_and_no_writer) {
    operate(this->lock, "w");
    std::atomic<int> reading{0};
    std::thread writer([&] { operate(this->lock, "wu"); });
    std::vector<std::thread> readers;
    for (int n = 0; n < 3; ++n) {
        readers.emplace_back([&] {
            const CReadGuard<TypeParam> guard(this->lock);
            ++reading;
            while (reading < 4)
                std::this_thread::yield();
        });
    }
    sleep_ms(30);  // so that they sleep by now; if not, they find the lock read-held
    this->lock.__Downgrade();
    while (reading < 3)
        std::this_thread::yield();
    EXPECT_EQ(this->lock.GetState(), 4);
    reading = 4;
    for (std::thread& reader : readers)
        reader.join();
    this->lock.__Unlock();
    writer.join();
    EXPECT_EQ(this->lock.GetState(), 0);
}

TEST(writer_lock, limits_run_out_and_leave_no_trace) {
    const watchdog dog(60);
    CWriterLock lock;
    for (const held_row& row : {held_row{"r", 1}, {"w", -1}}) {
        operate(lock, row.operations);
        std::thread([&] {
            for (const int limit : {-5, 0, 30}) {
                const CTimeSpan span = CTimeSpan::FromMilliseconds(limit);
                EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(lock.__TimedLock(span)); }), limit);
                if (row.state > 0) continue;
                EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(lock.__TimedReadLock(span)); }), limit);
            }
            if (row.state < 0) return;
            operate(lock, "r");
            EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(lock.__TimedLock(30u)); }), 30);  // a raise
            EXPECT_EQ(lock.GetState(), 2);
            EXPECT_TRUE(another_gets<CReadGuard<CWriterLock>>(lock));
            operate(lock, "u");
        }).join();
        EXPECT_EQ(lock.GetState(), row.state);
        operate(lock, "u");
        EXPECT_TRUE(another_gets<CWriteGuard<CWriterLock>>(lock));
    }
}

/// The slot of a lock can be taken from under it: the system gives the lowest free one.
TEST(writer_lock, a_depth_that_cannot_be_noted_changes_nothing) {
    const watchdog dog(60);
    pthread_key_t key{};
    ASSERT_EQ(pthread_key_create(&key, nullptr), 0);
    ASSERT_EQ(pthread_key_delete(key), 0);
    CWriterLock lock;
    const auto fails = [&](auto&& action) {
        EXPECT_EQ(pthread_key_delete(key), 0);
        EXPECT_TRUE(fails_with<tlsExp>(action, 3, "CTlsSlot::SetValue - error set TLS Slot"));
        pthread_key_t again{};
        EXPECT_EQ(pthread_key_create(&again, nullptr), 0);
        EXPECT_EQ(again, key);
    };
    fails([&] { lock.__ReadLock(); });
    fails([&] { lock.__TimedReadLock(30u); });
    EXPECT_EQ(lock.GetState(), 0);
    operate(lock, "w");
    fails([&] { lock.__Downgrade(); });
    EXPECT_EQ(lock.GetState(), -1);
    operate(lock, "u");
    EXPECT_TRUE(another_gets<CWriteGuard<CWriterLock>>(lock));
}

TEST(fast_writer_spin_lock, the_8193rd_has_no_row_until_one_goes) {
    std::deque<CFastWriterSpinLock> all(CFastWriterSpinLock::most_locks);
    for (int again = 0; again < 2; ++again) {
        EXPECT_TRUE(fails_with<rwlExp>([] { CFastWriterSpinLock(); }, 2,
                                       "AllocIndex - max count exceeded for the custom size spin rw-lock"));
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
class stress {
public:
    void run(int threads, unsigned seed) {
        SCOPED_TRACE("threads " + std::to_string(threads) + ", seed " + std::to_string(seed));
        in_threads(threads, [&](int number) {
            std::mt19937 random(seed + static_cast<unsigned>(number));
            for (int n = 0; n < 500; ++n)
                round(random);
        });
        EXPECT_EQ(broken_, 0);
        EXPECT_EQ(written_, writes_);
        EXPECT_EQ(lock_.GetState(), 0);
        EXPECT_TRUE(another_gets<CWriteGuard<LOCK>>(lock_));
    }

private:
    void round(std::mt19937& random) {
        bool writes = random() % 2 != 0;
        if (!enter(writes, random() % 4 == 0, static_cast<std::uint32_t>(random() % 3))) return;
        unsigned holds = 1;
        for (unsigned nested = random() % 3; nested != 0; --nested, ++holds)
            lock_.__ReadLock();
        if (!writes) {
            read();
            if (random() % 3 == 0) {
                writes = raise(random() % 2 == 0);
                holds += writes;
            }
        }
        if (random() % 8 == 0) std::this_thread::yield();  // so that others meet the lock held
        if (writes) write();
        if (writes && random() % 2 == 0) {
            lock_.__Downgrade();
            read();
        }
        for (; holds != 0; --holds)
            lock_.__Unlock();
    }

    bool enter(bool writes, bool limited, std::uint32_t limit) {
        if constexpr (requires { lock_.__TimedLock(limit); }) {
            if (limited) return writes ? lock_.__TimedLock(limit) : lock_.__TimedReadLock(limit);
        } else {
            if (limited) return writes ? lock_.__TryLock() : lock_.__TryReadLock();
        }
        writes ? lock_.__Lock() : lock_.__ReadLock();
        return true;
    }

    bool raise(bool only_try) {
        try {
            if (only_try) return lock_.__TryLock();
            lock_.__Lock();
            return true;
        } catch (const rwlExp& failure) {
            broken_ += failure.code() != 10;
            return false;
        }
    }

    void read() {
        ++readers_;
        broken_ += writers_ != 0 || written_ != writes_;
        --readers_;
    }

    void write() {
        broken_ += ++writers_ != 1 || readers_ != 0;
        ++written_;
        ++writes_;
        --writers_;
    }

    LOCK lock_;
    std::atomic<int> started_{0}, readers_{0}, writers_{0}, broken_{0};
    std::atomic<std::uint64_t> writes_{0};
    std::uint64_t written_ = 0;  // guarded by nothing but the lock: the sanitizer watches it
};

TYPED_TEST(rw_lock, holds_under_load) {
    const unsigned seed = std::random_device()();
    std::printf("seed %u\n", seed);
    for (const bool spins : {true, false}) {
        CSpinLightMutex::g_spinEnabled = CSpinGate::g_spinEnabled = spins;
        for (const int threads : {2, 3, 5, 8})
            stress<TypeParam>().run(threads, seed);
    }
    CSpinLightMutex::g_spinEnabled = CSpinGate::g_spinEnabled = sysconf(_SC_NPROCESSORS_ONLN) > 1;
}

}  // namespace

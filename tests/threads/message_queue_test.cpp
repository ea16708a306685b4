#include "orlo/threads/message_queue.h"

#include <atomic>
#include <memory>
#include <new>

#include "threads/lock_test.h"

namespace {

using namespace Orlo;
using namespace testing_support;

using item = std::unique_ptr<int>;

/// A container that has no room when it is told so.
struct tight_deque : std::deque<item> {
    static inline bool full = false;
    void push_back(item&& x) {
        if (full) throw std::bad_alloc();
        std::deque<item>::push_back(std::move(x));
    }
};

struct queue_type : CMessageQueue<item, FASTPDU_SPIN_PCLOCK, tight_deque> {
    using CMessageQueue::CMessageQueue;
    void push(int number) { Push(std::make_unique<int>(number)); }
    int pop() {
        item got;
        Pop(got);
        return *got;
    }
};

struct message_queue : lock_test {
    ~message_queue() noexcept override {}
    queue_type queue;
    item got;
};

TEST_F(message_queue, limits_hold_and_wait_empty_follows_each_change) {
    for (int again = 0; again < 3; ++again) {
        EXPECT_TRUE(queue.WaitEmpty(0u) && !queue.TryPop(got));
        EXPECT_TRUE(fails_after_ms(30, [&] { return queue.TimedPop(got, 30u); }));
        queue.push(1);
        queue.push(2);
        EXPECT_EQ(queue.Size(), 2u);
        EXPECT_FALSE(queue.WaitEmpty(0u));
        EXPECT_EQ(queue.pop(), 1);
        EXPECT_FALSE(queue.WaitEmpty(10u));
        std::thread consumer([&] {
            sleep_ms(20);
            queue.pop();
            sleep_ms(20);
            queue.push(7);
        });
        EXPECT_TRUE(queue.WaitEmpty(WAIT_FOREVER));
        EXPECT_EQ(queue.pop(), 7);
        consumer.join();
    }
}

/// Holds a thread that stalls up when it takes the lock once more after its push: a queue that noted only
/// then what it holds would tell others what is past.
struct stalling_lock : FASTPDU_SPIN_PCLOCK {
    using FASTPDU_SPIN_PCLOCK::FASTPDU_SPIN_PCLOCK;
    static inline thread_local int locks_to_stall = 0;
    static inline std::atomic<bool> goes_on{false};
    void Lock() {
        if (locks_to_stall > 0 && --locks_to_stall == 0) goes_on.wait(false);
        FASTPDU_SPIN_PCLOCK::Lock();
    }
};

TEST_F(message_queue, is_not_empty_while_a_producer_is_held_up) {
    CMessageQueue<int, stalling_lock> held_up;
    std::thread producer([&] {
        stalling_lock::locks_to_stall = 2;
        held_up.Push(1);
    });
    while (held_up.Size() == 0)
        std::this_thread::yield();
    held_up.Push(2);
    EXPECT_FALSE(held_up.WaitEmpty(0u));
    stalling_lock::goes_on = true;
    stalling_lock::goes_on.notify_all();
    producer.join();
}

TEST_F(message_queue, consumers_that_run_out_of_time_lose_nothing) {
    constexpr int all = 2000;
    std::atomic<int> popped{0}, sum{0};
    std::thread flushers([&] {
        in_threads(2, [&](int) {
            while (popped < all)
                (void)queue.WaitEmpty(1u);
        });
    });
    in_threads(4, [&](int number) {
        for (int n = 1; number == 0 && n <= all; ++n) {
            queue.push(n);
            if (n % 50 == 0) sleep_ms(2);  // so that consumers sleep, and wake by either
        }
        for (item mine; number != 0 && popped < all;) {
            if (queue.TimedPop(mine, CTimeSpan(300 * number))) ++popped, sum += *mine;
        }
    });
    flushers.join();
    EXPECT_EQ(sum, all * (all + 1) / 2);
    EXPECT_TRUE(queue.WaitEmpty(0u) && queue.Size() == 0);
}

TEST_F(message_queue, an_item_that_finds_no_room_stays_with_the_caller) {
    item mine = std::make_unique<int>(5);
    tight_deque::full = true;
    EXPECT_THROW(queue.Push(std::move(mine)), std::bad_alloc);
    tight_deque::full = false;
    ASSERT_NE(mine, nullptr);
    EXPECT_FALSE(queue.TryPop(got));
    queue.Push(std::move(mine));  // the lock is free
    EXPECT_EQ(queue.pop(), 5);
    queue.push(8);  // left for the destructor
}

TEST_F(message_queue, all_items_of_many_producers_arrive_each_producer_s_in_order) {
    constexpr int each = 3000;
    for (const std::uint32_t spin : {0u, 1u, 1000u}) {
        for (const int producers : {1, 2, 4, 8}) {
            SCOPED_TRACE("spin " + std::to_string(spin) + ", producers " + std::to_string(producers));
            queue_type shared(spin);
            std::thread consumer([&] {
                int next[8]{};
                for (int n = 0; n < producers * each; ++n) {
                    const int number = shared.pop();
                    EXPECT_EQ(number % each, next[number / each]++);
                }
            });
            in_threads(producers, [&](int number) {
                for (int n = 0; n < each; ++n)
                    shared.push(number * each + n);
            });
            EXPECT_TRUE(shared.WaitEmpty(WAIT_FOREVER));  // sleeps for ever if the last note is a wrong one
            consumer.join();
            EXPECT_TRUE(shared.WaitEmpty(0u));
        }
    }
}

}  // namespace

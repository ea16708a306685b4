#include "orlo/threads/message_queue.h"

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

TEST_F(message_queue, an_item_that_finds_no_room_stays_with_the_caller) {
    item mine = std::make_unique<int>(5);
    tight_deque::full = true;
    EXPECT_THROW(queue.Push(std::move(mine)), std::bad_alloc);
    tight_deque::full = false;
    ASSERT_NE(mine, nullptr);
    EXPECT_FALSE(queue.TryPop(got));
    queue.Push(std::move(mine));  // the gate and the lock are free
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

#include "orlo/threads/message_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <thread>

#include "support/watchdog.h"
#include "threads/in_threads.h"

namespace {

using namespace Orlo;
using namespace testing_support;

using item = std::unique_ptr<int>;
using queue_type = CMessageQueue<item>;

int pop(queue_type& queue) {
    item got;
    queue.Pop(got);
    return *got;
}

TEST(message_queue, one_producer_s_items_leave_in_order_and_the_limits_hold) {
    const watchdog dog(30);
    queue_type queue;
    item got;
    EXPECT_FALSE(queue.TryPop(got));
    EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(queue.TimedPop(got, 30u)); }), 30);
    for (int n = 0; n < 1000; ++n)
        queue.Push(std::make_unique<int>(n));
    EXPECT_EQ(queue.Size(), 1000u);
    for (int n = 0; n < 1000; ++n)
        EXPECT_EQ(pop(queue), n);
    EXPECT_FALSE(queue.TryPop(got));
    std::thread producer([&] {
        sleep_ms(20);
        queue.Push(std::make_unique<int>(7));
    });
    EXPECT_EQ(pop(queue), 7);
    producer.join();
    queue.Push(std::make_unique<int>(8));  // left for the destructor
}

TEST(message_queue, wait_empty_follows_each_change) {
    const watchdog dog(30);
    queue_type queue;
    for (int again = 0; again < 3; ++again) {
        EXPECT_TRUE(queue.WaitEmpty(0u));
        queue.Push(std::make_unique<int>(1));
        queue.Push(std::make_unique<int>(2));
        EXPECT_FALSE(queue.WaitEmpty(0u));
        pop(queue);
        EXPECT_FALSE(queue.WaitEmpty(10u));
        std::thread consumer([&] {
            sleep_ms(20);
            pop(queue);
        });
        EXPECT_TRUE(queue.WaitEmpty(WAIT_FOREVER));
        consumer.join();
    }
}

/// A container that has no room when it is told so.
struct tight_deque : std::deque<item> {
    static inline bool full = false;
    void push_back(item&& x) {
        if (full) throw std::bad_alloc();
        std::deque<item>::push_back(std::move(x));
    }
};

TEST(message_queue, an_item_that_finds_no_room_stays_with_the_caller) {
    const watchdog dog(30);
    CMessageQueue<item, FASTPDU_SPIN_PCLOCK, tight_deque> queue;
    item mine = std::make_unique<int>(5);
    tight_deque::full = true;
    EXPECT_THROW(queue.Push(std::move(mine)), std::bad_alloc);
    ASSERT_NE(mine, nullptr);
    tight_deque::full = false;
    item got;
    EXPECT_FALSE(queue.TryPop(got));
    queue.Push(std::move(mine));  // the gate and the lock are free
    EXPECT_TRUE(queue.TryPop(got));
    EXPECT_EQ(*got, 5);
}

TEST(message_queue, all_items_of_many_producers_arrive_each_producer_s_in_order) {
    const watchdog dog(110);
    constexpr int each = 3000;
    for (const std::uint32_t spin : {0u, 1u, 1000u}) {
        for (const int producers : {1, 2, 4, 8}) {
            SCOPED_TRACE("spin " + std::to_string(spin) + ", producers " + std::to_string(producers));
            queue_type queue(spin);
            std::atomic<int> out_of_order{0};
            std::thread consumer([&] {
                std::vector<int> last(static_cast<std::size_t>(producers), -1);
                for (int n = 0; n < producers * each; ++n) {
                    const int got = pop(queue);
                    int& before = last[static_cast<std::size_t>(got / each)];
                    out_of_order += got % each != before + 1;
                    before = got % each;
                }
            });
            in_threads(producers, [&](int number) {
                for (int n = 0; n < each; ++n)
                    queue.Push(std::make_unique<int>(number * each + n));
            });
            EXPECT_TRUE(queue.WaitEmpty(WAIT_FOREVER));  // sleeps for ever if the last note is a wrong one
            consumer.join();
            EXPECT_EQ(out_of_order, 0);
            EXPECT_TRUE(queue.WaitEmpty(0u));
        }
    }
}

TEST(producer_lock, the_plain_lock_nests_and_excludes) {
    const watchdog dog(60);
    const std::uint32_t usual = CSpinLightMutex::g_spinEnabled;
    for (const std::uint32_t spin : {0u, 1u, 999u, 1000u}) {
        CSpinLightMutex::g_spinEnabled =
            spin % 1000;  // with 0 and 1000 nobody spins, as on a single processor
        FASTPDU_SPIN_PCLOCK lock(spin);
        std::uint64_t guarded = 0;
        in_threads(4, [&](int) {
            for (int n = 0; n < 5000; ++n) {
                const CLockGuard outer(lock);
                const CLockGuard inner(lock);
                ++guarded;
            }
        });
        EXPECT_EQ(guarded, 20'000u);
    }
    CSpinLightMutex::g_spinEnabled = usual;
}

}  // namespace

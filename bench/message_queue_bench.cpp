// CMessageQueue against the plain queue of a mutex, a condition and a deque: one consumer and one to four
// producers. One iteration is one item through the queue; divide items_per_second of the two lines.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "orlo/threads/message_queue.h"

namespace {

/// About the size of a log record.
struct record {
    std::uint64_t words[9];
};

class plain_queue {
public:
    void Push(record&& item) {
        {
            const std::lock_guard hold(mutex_);
            items_.push_back(item);
        }
        filled_.notify_one();
    }
    void Pop(record& item) {
        std::unique_lock hold(mutex_);
        filled_.wait(hold, [this] { return !items_.empty(); });
        item = items_.front();
        items_.pop_front();
    }

private:
    std::deque<record> items_;
    std::mutex mutex_;
    std::condition_variable filled_;
};

/// As the log uses it.
struct log_queue : Orlo::CMessageQueue<record> {
    log_queue() : CMessageQueue(1000) {}
};

template <class QUEUE>
void pass(benchmark::State& state) {
    constexpr std::uint64_t items = 200'000;
    const auto producers = static_cast<std::uint64_t>(state.range(0));
    for (auto _ : state) {
        QUEUE queue;
        std::vector<std::thread> threads;
        for (std::uint64_t p = 0; p < producers; ++p) {
            threads.emplace_back([&queue, producers] {
                for (std::uint64_t n = 0; n < items / producers; ++n)
                    queue.Push(record{{n}});
            });
        }
        record got{};
        for (std::uint64_t n = 0; n < items / producers * producers; ++n)
            queue.Pop(got);
        benchmark::DoNotOptimize(got);
        for (std::thread& t : threads)
            t.join();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(items) * state.iterations());
}

BENCHMARK(pass<plain_queue>)
    ->ArgName("producers")
    ->DenseRange(1, 4)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(pass<log_queue>)
    ->ArgName("producers")
    ->DenseRange(1, 4)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

// CLightMutex against the standard mutexes: one thread, where nobody contends, and two that do.

#include <benchmark/benchmark.h>

#include <mutex>

#include "orlo/threads/light_mutex.h"

namespace {

struct light {
    Orlo::CLightMutex mutex;
    void lock() { mutex.Lock(); }
    void unlock() { mutex.Unlock(); }
};

template <class MUTEX>
void lock_and_unlock(benchmark::State& state) {
    static MUTEX mutex;
    static std::uint64_t guarded = 0;
    for (auto _ : state) {
        mutex.lock();
        benchmark::DoNotOptimize(++guarded);
        mutex.unlock();
    }
}

BENCHMARK(lock_and_unlock<light>)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(lock_and_unlock<std::mutex>)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(lock_and_unlock<std::recursive_mutex>)->ThreadRange(1, 2)->UseRealTime();

}  // namespace

// The reader/writer locks against std::shared_mutex: one thread, where nobody contends, and two; with 100, 95
// and 50 reads in 100. The shared_mutex of the same line is the measure: divide by its time.

#include <benchmark/benchmark.h>

#include <shared_mutex>

#include "orlo/threads/fast_writer_spin_lock.h"
#include "orlo/threads/writer_lock.h"

namespace {

template <class LOCK>
struct orlo_lock {
    LOCK lock;
    void read() { lock.__ReadLock(); }
    void write() { lock.__Lock(); }
    void end_read() { lock.__Unlock(); }
    void end_write() { lock.__Unlock(); }
};

struct standard_lock {
    std::shared_mutex lock;
    void read() { lock.lock_shared(); }
    void write() { lock.lock(); }
    void end_read() { lock.unlock_shared(); }
    void end_write() { lock.unlock(); }
};

using fast_lock = orlo_lock<Orlo::CFastWriterSpinLock>;
using blocking_lock = orlo_lock<Orlo::CWriterLock>;

template <class LOCK>
void mixed(benchmark::State& state) {
    static LOCK lock;
    static std::uint64_t guarded = 0;
    const auto reads = static_cast<std::uint32_t>(state.range(0));
    std::uint32_t n = static_cast<std::uint32_t>(state.thread_index()) * 37;
    for (auto _ : state) {
        // 37 has no common factor with 100: all remainders come in turn, the writes spread out
        if ((n += 37) % 100 < reads) {
            lock.read();
            benchmark::DoNotOptimize(std::uint64_t{guarded});
            lock.end_read();
        } else {
            lock.write();
            benchmark::DoNotOptimize(++guarded);
            lock.end_write();
        }
    }
}

void workloads(benchmark::internal::Benchmark* bench) {
    bench->ArgName("reads")->Arg(100)->Arg(95)->Arg(50)->ThreadRange(1, 2)->UseRealTime();
}

BENCHMARK(mixed<standard_lock>)->Apply(workloads);
BENCHMARK(mixed<fast_lock>)->Apply(workloads);
BENCHMARK(mixed<blocking_lock>)->Apply(workloads);

}  // namespace

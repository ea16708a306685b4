// Which rows are taken: a bitmap, searched by words of 64 rows from a place that the lock's address says.
// Locks are mostly spread well by it, so that the first look most often finds a free row. At the worst all
// 129 words are read: 128, and the first one twice, after the starting place and before it.

#include "threads/rw_rows.h"

#include <array>
#include <bit>

#include "orlo/strings/exceptions.h"
#include "orlo/threads/fast_writer_spin_lock.h"
#include "orlo/threads/lock_guard.h"
#include "orlo/threads/spin_light_mutex.h"
#include "strings/failure.h"

namespace Orlo::IMPL {
namespace {

constexpr failure<rwlExp> NO_FREE_ROW = {{
    .code = rwl_code::no_free_row,
    .head = "AllocIndex - max count exceeded for the custom size spin rw-lock",
}};

constexpr std::uint64_t ROWS = CFastWriterSpinLock::most_locks;
constexpr std::uint64_t WORDS = ROWS / 64;

/// The whole bitmap is searched under the lock, so waiting for it takes longer than usual.
struct patient_hold {
    // what a hold does with a lock outlives the call, which the analysis does not allow for
    static void take(CSpinLightMutex& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.Lock(2048); }
    static void give(CSpinLightMutex& lock) ORLO_NO_THREAD_SAFETY_ANALYSIS { lock.Unlock(); }
};
using rows_guard = CLockGuard<CSpinLightMutex, patient_hold>;

constinit CSpinLightMutex g_rowsLock;
constinit std::array<std::uint64_t, WORDS> g_taken ORLO_GUARDED_BY(g_rowsLock){};

}  // namespace

std::uint64_t take_rw_row(const void* address) {
    const std::uint64_t start = (reinterpret_cast<std::uintptr_t>(address) >> 4) & (ROWS - 1);
    const rows_guard guard(g_rowsLock);
    // In the first word only the rows from the start on count; it is read again, whole, at the end of the
    // round.
    std::uint64_t ignored = (std::uint64_t{1} << start % 64) - 1;
    for (std::uint64_t n = 0; n <= WORDS; ++n, ignored = 0) {
        const std::uint64_t at = (start / 64 + n) % WORDS;
        const int bit = std::countr_one(g_taken[at] | ignored);
        if (bit == 64) continue;
        g_taken[at] |= std::uint64_t{1} << bit;
        return at * 64 + static_cast<std::uint64_t>(bit);
    }
    NO_FREE_ROW.raise();
}

void give_rw_row(std::uint64_t row) {
    const rows_guard guard(g_rowsLock);
    g_taken[row / 64] &= ~(std::uint64_t{1} << row % 64);
}

}  // namespace Orlo::IMPL

// A lock that nobody writes or waits for is one word, the number of read holds. A reader that finds it so
// counts itself in and out with a compare-and-swap; that is what the rules of rw_rules.h say of such a lock,
// all of it: no permit moves, and only the state and the thread's depth change. Everything else is a step of
// these rules, under the guard, during which the word is closed:
//
//   step                      word    m_state  m_waiters
//   A reads                      1        -        0     one operation, as the word is open
//   B wants to write        closed        1        1     and waits: the word stays closed
//   C wants to read         closed        2        1     under the guard, since the word is closed
//   A, C unlock             closed        0        1     likewise
//   B is woken              closed       -1        0
//   B unlocks                    0        -        0     nobody writes or waits: open again

#include "orlo/threads/fast_writer_spin_lock.h"

#include "threads/rw_drive.h"
#include "threads/rw_rows.h"

namespace Orlo {
namespace {

constexpr failure<rwlExp> SECOND_UPGRADE = {{
    .code = rwl_code::second_raise,
    .head =
        "CFastWriterSpinLock::__Lock - more than one threads are trying to raise a reader lock to a writer "
        "simutaneously.",
}};
constexpr failure<rwlExp> UNLOCK_NOT_HELD = {{
    .code = rwl_code::unlock_not_held,
    .head = "CFastWriterSpinLock::__Unlock - the current thread does not hold the lock",
}};
constexpr failure<rwlExp> DOWNGRADE_NOT_HELD = {{
    .code = rwl_code::downgrade_not_held,
    .head = "CFastWriterSpinLock::__Downgrade - the current thread does not hold the lock for writing",
}};

/// The calling thread's read holds on every lock of the process, by the lock's row.
constinit thread_local std::uint32_t t_readDepth[CFastWriterSpinLock::most_locks] = {};

using drive = IMPL::rw_drive<CFastWriterSpinLock>;

}  // namespace

struct CFastWriterSpinLock::port {
    CFastWriterSpinLock& lock;
    void BeginStep() const { lock._Close(); }
    void EndStep() const { lock._OpenIfQuiet(); }
    bool TryPass() const { return lock.m_gate.TryPass(); }
    void Open() const { lock.m_gate.Open(); }
    /// For ever or not at all: the gate knows no time between.
    bool Wait(CTimeLimit limit) const {
        if (limit.IsTry()) return lock.m_gate.TryPass();
        lock.m_gate.Wait(lock.m_spin);
        return true;
    }
    pthread_t id() const { return pthread_self(); }
    std::int64_t depth() const { return t_readDepth[lock.m_index]; }
    void set_depth(std::int64_t n) const { t_readDepth[lock.m_index] = static_cast<std::uint32_t>(n); }
};

CFastWriterSpinLock::CFastWriterSpinLock(std::uint32_t spin)
    : m_spin(spin), m_index(IMPL::take_rw_row(this)) {}

CFastWriterSpinLock::~CFastWriterSpinLock() {
    IMPL::give_rw_row(m_index);
}

void CFastWriterSpinLock::__Lock() {
    drive(*this).write(WAIT_FOREVER, SECOND_UPGRADE);
}

bool CFastWriterSpinLock::__TryLock() {
    return drive(*this).write(0u, SECOND_UPGRADE);
}

/// What the rules say of a read hold that meets nobody, in one operation.
bool CFastWriterSpinLock::_ReadWhileOpen() noexcept {
    std::uint32_t& depth = t_readDepth[m_index];
    std::uint32_t seen = depth;  // a guess: nobody else reads
    while ((seen & closed) == 0) {
        if (m_word.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
            ++depth;
            return true;
        }
    }
    return false;
}

/// The same for its end.
bool CFastWriterSpinLock::_EndReadWhileOpen() noexcept {
    std::uint32_t& depth = t_readDepth[m_index];
    if (depth == 0) return false;
    std::uint32_t seen = depth;
    while ((seen & closed) == 0) {
        if (m_word.compare_exchange_weak(seen, seen - 1, std::memory_order_release,
                                         std::memory_order_relaxed)) {
            --depth;
            return true;
        }
    }
    return false;
}

/// Begins a guarded step: what is true moves from the word to m_state.
void CFastWriterSpinLock::_Close() noexcept {
    if (m_word.load(std::memory_order_relaxed) != closed)
        m_state = static_cast<std::int32_t>(m_word.exchange(closed, std::memory_order_acq_rel));
}

/// Ends it: moves it back, if nobody writes or waits. A thread that raises its holds counts as waiting.
void CFastWriterSpinLock::_OpenIfQuiet() noexcept {
    if (m_state >= 0 && m_waiters == 0)
        m_word.store(static_cast<std::uint32_t>(m_state), std::memory_order_release);
}

void CFastWriterSpinLock::__ReadLock() {
    if (!_ReadWhileOpen()) drive(*this).read(WAIT_FOREVER);
}

bool CFastWriterSpinLock::__TryReadLock() {
    return _ReadWhileOpen() || drive(*this).read(0u);
}

void CFastWriterSpinLock::__Unlock() {
    if (!_EndReadWhileOpen()) drive(*this).unlock(UNLOCK_NOT_HELD);
}

void CFastWriterSpinLock::__Downgrade() {
    drive(*this).lower(DOWNGRADE_NOT_HELD);
}

std::int64_t CFastWriterSpinLock::GetState() {
    return drive(*this).state();
}

}  // namespace Orlo

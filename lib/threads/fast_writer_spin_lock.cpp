#include "orlo/threads/fast_writer_spin_lock.h"

#include "threads/rw_drive.h"
#include "threads/rw_rows.h"

namespace Orlo {
namespace {

constexpr failure<rwlExp> SECOND_UPGRADE = {{
    .code = 10,
    .head =
        "CFastWriterSpinLock::__Lock - more than one threads are trying to raise a reader lock to a writer "
        "simutaneously.",
}};
constexpr failure<rwlExp> UNLOCK_NOT_HELD = {{
    .code = 11,
    .head = "CFastWriterSpinLock::__Unlock - the current thread does not hold the lock",
}};
constexpr failure<rwlExp> DOWNGRADE_NOT_HELD = {{
    .code = 12,
    .head = "CFastWriterSpinLock::__Downgrade - the current thread does not hold the lock for writing",
}};

/// The calling thread's read holds on every lock of the process, by the lock's row.
constinit thread_local std::uint32_t t_readDepth[CFastWriterSpinLock::most_locks] = {};

using drive = IMPL::rw_drive<CFastWriterSpinLock>;

}  // namespace

struct CFastWriterSpinLock::port {
    CFastWriterSpinLock& lock;
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

void CFastWriterSpinLock::__ReadLock() {
    drive(*this).read(WAIT_FOREVER);
}

bool CFastWriterSpinLock::__TryReadLock() {
    return drive(*this).read(0u);
}

void CFastWriterSpinLock::__Unlock() {
    drive(*this).unlock(UNLOCK_NOT_HELD);
}

void CFastWriterSpinLock::__Downgrade() {
    drive(*this).lower(DOWNGRADE_NOT_HELD);
}

std::int64_t CFastWriterSpinLock::GetState() {
    return drive(*this).state();
}

}  // namespace Orlo

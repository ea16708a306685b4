#include "orlo/threads/writer_lock.h"

#include "threads/rw_drive.h"

namespace Orlo {
namespace {

constexpr failure<rwlExp> SECOND_UPGRADE = {{
    .code = rwl_code::second_raise,
    .head = "CWriterLock::__Lock - more than one threads are trying to raise a reader lock to a writer "
            "simutaneously.",
}};
constexpr failure<rwlExp> SECOND_TIMED_UPGRADE = {{
    .code = rwl_code::second_raise,
    .head = "CWriterLock::__TimedLock - more than one threads are trying to raise a reader lock to a writer "
            "simutaneously.",
}};
constexpr failure<rwlExp> UNLOCK_NOT_HELD = {{
    .code = rwl_code::unlock_not_held,
    .head = "CWriterLock::__Unlock - the current thread does not hold the lock",
}};
constexpr failure<rwlExp> DOWNGRADE_NOT_HELD = {{
    .code = rwl_code::downgrade_not_held,
    .head = "CWriterLock::__Downgrade - the current thread does not hold the lock for writing",
}};

using drive = IMPL::rw_drive<CWriterLock>;

}  // namespace

struct CWriterLock::port {
    CWriterLock& lock;
    bool TryPass() const { return lock.m_gate.TryWait(); }
    void Open() const { lock.m_gate.P(); }
    bool Wait(CTimeLimit limit) const { return lock.m_gate.TimedWait(limit); }
    pthread_t id() const { return pthread_self(); }
    std::int64_t depth() const { return static_cast<std::int64_t>(lock.m_readDepth.GetValue()); }
    void set_depth(std::int64_t n) const { lock.m_readDepth.SetValue(static_cast<std::uintptr_t>(n)); }
};

void CWriterLock::__Lock() {
    drive(*this).write(WAIT_FOREVER, SECOND_UPGRADE);
}

bool CWriterLock::__TimedLock(CTimeLimit limit) {
    return drive(*this).write(limit, SECOND_TIMED_UPGRADE);
}

void CWriterLock::__ReadLock() {
    drive(*this).read(WAIT_FOREVER);
}

bool CWriterLock::__TimedReadLock(CTimeLimit limit) {
    return drive(*this).read(limit);
}

void CWriterLock::__Unlock() {
    drive(*this).unlock(UNLOCK_NOT_HELD);
}

void CWriterLock::__Downgrade() {
    drive(*this).lower(DOWNGRADE_NOT_HELD);
}

std::int64_t CWriterLock::GetState() {
    return drive(*this).state();
}

}  // namespace Orlo

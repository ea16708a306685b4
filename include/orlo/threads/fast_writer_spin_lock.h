#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"
#include "orlo/thread_annotations.h"
#include "orlo/threads/rw_guard.h"
#include "orlo/threads/spin_gate.h"
#include "orlo/threads/spin_light_mutex.h"
#include "orlo/threads/standard_names.h"

namespace Orlo {

namespace IMPL {
template <class WORDS>
struct rw_rules;
template <class LOCK>
class rw_drive;
}  // namespace IMPL

/// The reader/writer lock for short holds: it spins before it sleeps, and notes a thread's read holds in one
/// cell of a thread-local array. Its contract is that of `CWriterLock`, without time limits; what is said
/// there about recursion, raising, downgrading and fairness holds here.
///
/// ```cpp
/// CFastWriterSpinLock lock;
/// {
///     const CReadGuard<CFastWriterSpinLock> reads(lock);
/// }
/// const CWriteGuard<CFastWriterSpinLock> writes(lock);
/// ```
///
/// A read hold that meets no writer makes no system call: it costs one atomic operation for locking and one
/// for unlocking. The price is the array, 32 KB in each thread that uses such a lock, and with it the number
/// of locks: 8192 may live at once in a process.
///
/// Threads: any; locks of one process only. The destructor must be alone and the lock free.
///
/// Failures: `rwlExp`. Code 2: no row of the array is free. Code 10: another thread is already raising its
/// holds. Code 11: `__Unlock` without a hold. Code 12: `__Downgrade` without a write hold.
class ORLO_API ORLO_CAPABILITY("CFastWriterSpinLock") CFastWriterSpinLock
    : public standard_shared_lock_names<CFastWriterSpinLock> {
public:
    static constexpr std::uint32_t most_locks = 8192;

    /// A free lock, whose waiters spin `spin` rounds before they sleep. Fails with code 2.
    explicit CFastWriterSpinLock(std::uint32_t spin = CSpinLightMutex::default_rounds);
    ~CFastWriterSpinLock();
    CFastWriterSpinLock(const CFastWriterSpinLock&) = delete;
    CFastWriterSpinLock& operator=(const CFastWriterSpinLock&) = delete;

    /// Takes a write hold. Fails with code 10.
    void __Lock() ORLO_ACQUIRE();
    /// The same at once or not at all: false if the lock is not to be had now. Fails with code 10.
    [[nodiscard]] bool __TryLock() ORLO_TRY_ACQUIRE(true);
    /// Takes a read hold.
    void __ReadLock() ORLO_ACQUIRE_SHARED();
    /// The same at once or not at all.
    [[nodiscard]] bool __TryReadLock() ORLO_TRY_ACQUIRE_SHARED(true);
    /// Gives up one hold, of either kind. Fails with code 11.
    void __Unlock() ORLO_RELEASE_GENERIC();
    /// Turns all the caller's write holds into as many read holds, and lets waiting readers in. Fails with
    /// code 12.
    void __Downgrade();

    /// 0 when free, the number of read holds, or minus the number of the writer's holds. A snapshot.
    [[nodiscard]] std::int64_t GetState();

private:
    template <class WORDS>
    friend struct IMPL::rw_rules;
    template <class LOCK>
    friend class IMPL::rw_drive;
    struct port;
    bool _ReadWhileOpen() noexcept;
    bool _EndReadWhileOpen() noexcept;
    void _Close() noexcept;
    void _OpenIfQuiet() noexcept;

    static constexpr std::uint32_t closed = 0x80000000;

    // While the word is open it is the number of read holds, nobody writes or waits, and readers come and go
    // by one atomic operation. A thread that has to do more closes it, holding the guard; from then on
    // m_state is what is true, until the last thread that waits or writes is gone.
    std::atomic<std::uint32_t> m_word{0};
    CSpinLightMutex
        m_guard;  // guards all but the word, the gate and the row; not annotated, as in CWriterLock
    CSpinGate m_gate;
    std::int32_t m_state = 0;
    std::uint32_t m_spin;
    std::uint32_t m_waiters = 0;
    std::uint8_t m_upgrading = 0;
    std::uint64_t m_index;
    pthread_t m_writer = 0;
    std::uint32_t m_readWaiters = 0;  // those of the waiters that want to read: whom a downgrade lets through
};

}  // namespace Orlo

// The light mutex: who waits, and how the lock changes hands
//
// The count is one less than the levels held plus the threads that wait. Whoever raises it from -1 has the
// lock. Whoever raises it from more than that is the holder, going one level deeper, or is now a waiter and
// sleeps on the semaphore. The last `Unlock` lowers the count; found above 0, it counts waiters only, and one
// permit makes one of them the owner. The lock never becomes free in between, so that a newcomer queues up as
// well:
//
//   A Lock      -1 -> 0   A owns, depth 1
//   A Lock       0 -> 1   A owns, depth 2
//   B Lock       1 -> 2   B sleeps
//   A Unlock     2 -> 1   depth 1: the level is given up, nobody is woken
//   A Unlock     1 -> 0   the old value is above 0: one permit, for B, who owns at depth 1
//   B Unlock     0 -> -1  free
//
// Each permit is posted for one waiter that is counted already and will take one, so none is lost and none is
// left over; it makes no difference whether the waiter has reached the semaphore by then.

#include "orlo/threads/light_mutex.h"

#include <time.h>

#include <cassert>
#include <new>

namespace Orlo {

void CLightMutex::_LockCounted() {
    if (_IsMine()) {
        ++m_recursion;
        return;
    }
    m_sem.Get().Wait();
    _Own();
}

void CLightMutexRelease::Release() {
    assert(m_lock._IsMine());
    m_depth = m_lock.m_recursion;
    m_lock.m_recursion = 0;
    m_lock.m_owner.store(0, std::memory_order_relaxed);
    const auto levels = static_cast<std::int64_t>(m_depth);
    if (m_lock.m_count.fetch_sub(levels) >= levels) m_lock.m_sem.Get().P();
}

void CLightMutexRelease::TakeBack() {
    m_lock.Lock();
    m_lock.m_count.fetch_add(static_cast<std::int64_t>(m_depth) - 1);
    m_lock.m_recursion = m_depth;
}

CSem& CLazySem::_Make() {
    for (;;) {
        if (CSem* const made = new (std::nothrow) CSem(0)) {
            CSem* installed = nullptr;
            if (m_sem.compare_exchange_strong(installed, made)) return *made;
            delete made;
            return *installed;
        }
        const timespec pause{.tv_sec = 0, .tv_nsec = 1'000'000};
        nanosleep(&pause, nullptr);
    }
}

}  // namespace Orlo

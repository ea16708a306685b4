#include "orlo/threads/spin_light_mutex.h"

#include "threads/processors.h"

namespace Orlo {

std::uint32_t CSpinLightMutex::g_spinEnabled = IMPL::more_than_one_processor();

/// One round. Looks before it tries, so that the spinning threads share the lock's line while it is held.
bool CSpinLightMutex::_SpinOnce() noexcept {
    if (m_count.load(std::memory_order_relaxed) == -1 && _TryTake()) return true;
    if (_IsMine()) {
        m_count.fetch_add(1);
        ++m_recursion;
        return true;
    }
    IMPL::spin_pause();
    return false;
}

void CSpinLightMutex::_LockContended(std::uint32_t rounds) {
    if (g_spinEnabled != 0) {
        for (; rounds != 0; --rounds) {
            if (_SpinOnce()) return;
        }
    }
    CLightMutex::Lock();
}

void CSpinLightMutex::_LockUnbounded() {
    if (g_spinEnabled == 0) return CLightMutex::Lock();
    while (!_SpinOnce()) {
    }
}

}  // namespace Orlo

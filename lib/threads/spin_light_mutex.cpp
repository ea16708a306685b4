#include "orlo/threads/spin_light_mutex.h"

#include "threads/processors.h"

namespace Orlo {

std::uint32_t CSpinLightMutex::g_spinEnabled = IMPL::more_than_one_processor();

/// One round. It looks before it tries, so that the spinning threads share the lock's line while it is held.
bool CSpinLightMutex::_SpinOnce() noexcept {
    if (m_count.load(std::memory_order_relaxed) == -1 && _TryTake()) return true;
    if (_IsMine()) return TryLock();
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

}  // namespace Orlo

#include "orlo/threads/fastpdu_spin_pclock.h"

#include "orlo/threads/spin_light_mutex.h"

namespace Orlo {
namespace {

/// A look is cheap and the holder is gone after a few, so the processor rests only now and then.
constexpr std::uint32_t LOOKS_PER_PAUSE = 64;

}  // namespace

bool FASTPDU_SPIN_PCLOCK::_Spin() noexcept {
    if (CSpinLightMutex::g_spinEnabled == 0) return false;
    for (std::uint32_t n = 1; m_spin == 0 || n <= m_spin; ++n) {
        if (m_word.load(std::memory_order_relaxed) == is_free && _TryTake()) return true;
        if (n % LOOKS_PER_PAUSE == 0) IMPL::spin_pause();
    }
    return false;
}

void FASTPDU_SPIN_PCLOCK::_LockContended() noexcept {
    if (_Spin()) return;
    // From here on this thread cannot tell whether others sleep, so it takes the lock as an awaited one.
    while (m_word.exchange(is_awaited, std::memory_order_acquire) != is_free)
        m_word.wait(is_awaited, std::memory_order_relaxed);
}

}  // namespace Orlo

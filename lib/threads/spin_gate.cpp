#include "orlo/threads/spin_gate.h"

#include "orlo/threads/spin_light_mutex.h"
#include "threads/processors.h"

namespace Orlo {

std::uint32_t CSpinGate::g_spinEnabled = IMPL::more_than_one_processor();

bool CSpinGate::_SpinThrough(std::uint32_t rounds) noexcept {
    for (; rounds != 0; --rounds) {
        if (TryPass()) return true;
        IMPL::spin_pause();
    }
    return false;
}

}  // namespace Orlo

#pragma once

#include <cstdint>

namespace Orlo::IMPL {

/// Sets of instructions beyond those of every x86-64. A later one has all of the earlier.
enum class instructions : std::uint8_t {
    baseline,
    avx2,    ///< with those that count bits and find and clear the lowest
    avx512,  ///< with those that gather marked bytes of a register (VBMI2)
};

/// The latest that this machine has.
inline instructions best_instructions() {
    static const instructions best = [] {
        const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                          __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
        const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                            __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi2");
        return !avx2 ? instructions::baseline : avx512 ? instructions::avx512 : instructions::avx2;
    }();
    return best;
}

}  // namespace Orlo::IMPL

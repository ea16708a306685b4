#pragma once

#include <cstddef>
#include <cstdint>

namespace Orlo::IMPL {

/// How a block is made larger.
enum class growth {
    keep,    ///< it is large enough as it is
    extend,  ///< `realloc`
    fresh,   ///< a new block with one eighth of slack, a copy of the used bytes, `free`
};

/// The choice for a block of `usable` bytes, `used` of them in use, that must hold `wanted`. `with_tcmalloc`
/// is called only where its answer matters.
growth choose_growth(std::size_t usable, std::size_t wanted, std::size_t used,
                     bool (*with_tcmalloc)() noexcept) noexcept;

/// True if this process runs under a preloaded thread-caching allocator. The environment is read once.
bool runs_with_tcmalloc() noexcept;

/// Makes `block` (from `malloc`, or null) at least `new_size` bytes long and keeps its first `used_bytes`.
/// Returns null when memory is exhausted; the block is untouched then. `old_capacity` decides nothing.
void* buffer_realloc(void* block, std::size_t new_size, std::uint64_t old_capacity,
                     std::size_t used_bytes) noexcept;

}  // namespace Orlo::IMPL

// The allocator helper under every growing buffer.
//
// `realloc` extends small blocks and very large ones (which the C library remaps page by page) cheaply, but
// for those in between it may copy the whole block, slack included, when only a small part is in use. So for
// those, when the block must grow a lot, a fresh block with an eighth of slack is filled with the used bytes.

#include "strings/buffer_realloc.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace Orlo::IMPL {
namespace {

constexpr std::size_t SMALL_SLACK = 257;
constexpr std::size_t SMALL_BLOCK = 768;
constexpr std::size_t MIDDLE_BLOCK = 0x20000;
constexpr std::size_t MAPPED_BLOCK = 0x80000;

}  // namespace

growth choose_growth(std::size_t usable, std::size_t wanted, std::size_t used,
                     bool (*with_tcmalloc)() noexcept) noexcept {
    if (wanted <= usable) return growth::keep;
    if (usable - used < SMALL_SLACK) return growth::extend;
    if (with_tcmalloc()) return usable <= used + used / 8 ? growth::extend : growth::fresh;

    if (usable <= SMALL_BLOCK) return growth::extend;
    if (usable <= MIDDLE_BLOCK && (wanted <= 2 * usable || usable <= 4 * used)) return growth::extend;
    if (usable > MAPPED_BLOCK) return growth::extend;
    return wanted > 4 * usable && usable > 2 * used ? growth::fresh : growth::extend;
}

bool runs_with_tcmalloc() noexcept {
    static std::atomic<int> answer{0};  // 0 not known yet, 1 yes, -1 no
    int known = answer.load(std::memory_order_relaxed);
    if (known == 0) {
        const char* const preloaded = std::getenv("LD_PRELOAD");
        known = preloaded != nullptr && std::strstr(preloaded, "libtcmalloc") != nullptr ? 1 : -1;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == 1;
}

void* buffer_realloc(void* block, std::size_t new_size, std::uint64_t /*old_capacity*/,
                     std::size_t used_bytes) noexcept {
    if (block == nullptr) return std::malloc(new_size);

    const std::size_t usable = malloc_usable_size(block);
    switch (choose_growth(usable, new_size, used_bytes, runs_with_tcmalloc)) {
        case growth::keep:
            return block;
        case growth::extend:
            return std::realloc(block, new_size);
        case growth::fresh:
            break;
    }
    void* const fresh = std::malloc(new_size + new_size / 8);
    if (fresh == nullptr) return nullptr;
    std::memcpy(fresh, block, used_bytes);
    std::free(block);
    return fresh;
}

}  // namespace Orlo::IMPL

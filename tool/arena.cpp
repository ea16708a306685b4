#include "arena.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace tallycsv {
namespace {

constexpr std::size_t SMALLEST_BLOCK = std::size_t{64} << 10;
constexpr std::size_t LARGEST_BLOCK = std::size_t{16} << 20;
constexpr std::size_t HUGE_PAGE = std::size_t{2} << 20;

}  // namespace

CArena::~CArena() {
    for (void* const block : m_blocks)
        std::free(block);
}

/// Blocks of 2 MB and more ask for huge pages: a large table is visited at random, and with small pages most
/// visits would miss the processor's page cache as well.
void CArena::_AddBlock(std::size_t at_least) {
    std::size_t size = std::clamp(m_total / 8, SMALLEST_BLOCK, LARGEST_BLOCK);
    size = std::max(size, at_least);
    const bool huge = size >= HUGE_PAGE;
    if (huge) size = (size + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);

    m_blocks.reserve(m_blocks.size() + 1);
    void* const block = huge ? std::aligned_alloc(HUGE_PAGE, size) : std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    if (huge) madvise(block, size, MADV_HUGEPAGE);
    m_blocks.push_back(block);
    m_next = static_cast<char*>(block);
    m_left = size;
    m_total += size;
}

}  // namespace tallycsv

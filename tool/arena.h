#pragma once

#include <cstddef>
#include <vector>

#include "orlo/rows/row.h"

namespace tallycsv {

/// Memory that is handed out piece by piece and given back as a whole. Pieces are aligned to 8 bytes and
/// never move. The blocks grow with what was handed out, so a small table stays small and of a large one
/// little is wasted.
class CArena {
public:
    CArena() = default;
    ~CArena();
    CArena(const CArena&) = delete;
    CArena& operator=(const CArena&) = delete;

    /// Bytes of all blocks.
    std::size_t GetSize() const { return m_total; }

    /// `size` bytes, uninitialised; as many bytes after them may be read as after cells of rows. Throws
    /// `std::bad_alloc`.
    [[nodiscard]] void* Allocate(std::size_t size) {
        constexpr std::size_t readable_after = Orlo::csv_rows_view::readable_after;
        size = (size + 7) & ~std::size_t{7};
        if (size + readable_after > m_left) _AddBlock(size + readable_after);
        void* const piece = m_next;
        m_next += size;
        m_left -= size;
        return piece;
    }

private:
    void _AddBlock(std::size_t at_least);

    std::vector<void*> m_blocks;
    char* m_next = nullptr;
    std::size_t m_left = 0;
    std::size_t m_total = 0;
};

}  // namespace tallycsv

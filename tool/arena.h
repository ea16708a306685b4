#pragma once

#include <cstddef>
#include <vector>

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

    /// Bytes behind each piece that may be read, and mean nothing.
    static constexpr std::size_t readable_behind = 32;

    /// Bytes of all blocks.
    std::size_t size() const { return total_; }

    /// `size` bytes, uninitialised. Throws `std::bad_alloc`.
    void* Allocate(std::size_t size) {
        size = (size + 7) & ~std::size_t{7};
        if (size + readable_behind > left_) _AddBlock(size + readable_behind);
        void* const piece = next_;
        next_ += size;
        left_ -= size;
        return piece;
    }

private:
    void _AddBlock(std::size_t at_least);

    std::vector<void*> blocks_;
    char* next_ = nullptr;
    std::size_t left_ = 0;
    std::size_t total_ = 0;
};

}  // namespace tallycsv

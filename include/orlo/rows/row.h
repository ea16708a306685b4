#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// One row of cells, each an owned text that may be shared on.
using row_cells = std::vector<stringEx>;

/// Where one cell lies: an offset from the row's first byte and a length. `doubled` is set while the text
/// still holds its quote characters twice, as they were read.
struct csv_cell {
    std::uint64_t begin;
    std::uint64_t length : 63;
    std::uint64_t doubled : 1;
};

/// A row that is looked at where it was read, without a copy. It is valid until the parser that made it reads
/// on. At least `readable_behind` bytes behind each cell may be read (not used), which lets a client load a
/// short cell as one word.
class csv_row_view {
public:
    static constexpr std::size_t readable_behind = 16;

    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    std::string_view operator[](std::size_t index) const noexcept {
        return {base_ + cells_[index].begin, cells_[index].length};
    }

private:
    friend class CCsvParser;

    const char* base_ = nullptr;
    const csv_cell* cells_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace Orlo

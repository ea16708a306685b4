#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// One row of cells, each an owned text that may be shared on.
using row_cells = std::vector<stringEx>;

/// Where one cell lies, in bytes from the `base` of the view that shows it.
struct csv_cell {
    std::uint64_t begin;
    std::uint64_t length;
};

/// A row that is looked at where it was read, without a copy. It is valid until the parser that made it reads
/// on.
///
/// For clients that take several bytes or cells at once: at least `readable_behind` bytes behind each cell
/// may be read, and behind the last cell stand `spare_cells` empty ones. Neither means anything.
class csv_row_view {
public:
    static constexpr std::size_t readable_behind = 16;
    static constexpr std::size_t spare_cells = 3;

    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    std::string_view operator[](std::size_t index) const noexcept {
        return {base_ + cells_[index].begin, cells_[index].length};
    }
    /// What the cells' offsets count from, and the cells.
    const char* base() const noexcept { return base_; }
    const csv_cell* cells() const noexcept { return cells_; }

private:
    friend class CCsvParser;

    const char* base_ = nullptr;
    const csv_cell* cells_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace Orlo

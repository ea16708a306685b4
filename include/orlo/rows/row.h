#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// One row of cells, each an owned text that may be shared on.
using row_cells = std::vector<stringEx>;

/// Where one cell lies, in bytes from the `base` of the view that shows it.
struct csv_cell {
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t length() const noexcept { return end - begin; }
};

/// Where a row begins: the number of its first cell, and its first byte.
struct csv_row_start {
    std::uint64_t cell;
    std::uint64_t byte;
};

/// Cells of one row, looked at where they were read.
class csv_row_view {
public:
    csv_row_view(const char* base, std::span<const csv_cell> cells) noexcept : base_(base), cells_(cells) {}

    std::size_t size() const noexcept { return cells_.size(); }
    std::string_view operator[](std::size_t index) const noexcept {
        return {base_ + cells_[index].begin, cells_[index].length()};
    }
    /// What the cells' offsets count from, and the cells.
    const char* base() const noexcept { return base_; }
    std::span<const csv_cell> cells() const noexcept { return cells_; }

private:
    const char* base_;
    std::span<const csv_cell> cells_;
};

/// Rows that follow each other, looked at where they were read, without a copy. They are valid until the
/// parser that found them reads on.
///
/// For clients that take several bytes or cells at once: at least `readable_behind` bytes behind each cell
/// may be read, and behind each row's last cell stand `spare_cells` more, of this row's successor or none's,
/// whose bytes may be read just so. They mean nothing.
class csv_rows_view {
public:
    static constexpr std::size_t readable_behind = 32;
    static constexpr std::size_t spare_cells = 3;

    std::size_t size() const noexcept { return count_; }
    csv_row_view operator[](std::size_t index) const noexcept {
        return {base_, {cells_ + starts_[index].cell, cells_ + starts_[index + 1].cell}};
    }
    const char* base() const noexcept { return base_; }
    /// Bytes of all rows, with delimiters, quotes, and line ends.
    std::size_t bytes() const noexcept { return starts_[count_].byte - starts_[0].byte; }

private:
    friend class CCsvParser;

    const char* base_ = nullptr;
    const csv_cell* cells_ = nullptr;
    const csv_row_start* starts_ = nullptr;  ///< one more than rows: the last is where the next would begin
    std::size_t count_ = 0;
};

}  // namespace Orlo

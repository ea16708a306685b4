#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// The codes of `csvExp`.
namespace csv_code {
enum : std::int32_t {
    quoting = 1,    ///< text follows a closing quote, or the input ends inside a quoted cell
    row_quota = 5,  ///< a row is longer than its quota
    sink_full = 6,  ///< a sink takes no bytes and gives no reason
};
}  // namespace csv_code

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

/// The cells of one row where they were read, without a copy. `csv_rows_view` shows its use.
class csv_row_view {
public:
    csv_row_view(const char* base, std::span<const csv_cell> cells) noexcept : base_(base), cells_(cells) {}

    std::size_t size() const noexcept { return cells_.size(); }
    std::string_view operator[](std::size_t index) const noexcept {
        assert(index < size());
        return {base_ + cells_[index].begin, cells_[index].length()};
    }
    /// What the cells' offsets count from, and the cells.
    const char* base() const noexcept { return base_; }
    std::span<const csv_cell> cells() const noexcept { return cells_; }

private:
    const char* base_;
    std::span<const csv_cell> cells_;
};

/// Rows that follow each other, where they were read, without a copy. They are valid until the parser that
/// found them reads on.
///
/// ```cpp
/// #include "orlo/rows/csv_parser.h"
/// CCsvParser parser("prices.csv");
/// csv_rows_view rows;
/// [[maybe_unused]] std::int64_t total = 0;
/// while (parser.GetNextRows(rows)) {
///     for (std::size_t i = 0; i < rows.size(); ++i)
///         total += rows[i].size() > 1 ? parse_int64(stringEx::borrow(rows[i][1])) : 0;
/// }
/// ```
///
/// Clients may take several bytes or cells at once: at least `readable_after` bytes after each cell may be
/// read, and after each row's last cell stand `spare_cells` more, of the next row or of none, whose bytes may
/// be read in the same way. They mean nothing.
class csv_rows_view {
public:
    static constexpr std::size_t readable_after = 32;
    static constexpr std::size_t spare_cells = 3;

    std::size_t size() const noexcept { return count_; }
    csv_row_view operator[](std::size_t index) const noexcept {
        assert(index < size());
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

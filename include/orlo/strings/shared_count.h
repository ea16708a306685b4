#pragma once

#include <atomic>
#include <cstdint>

namespace Orlo {

/// Handle on the heap cell that counts the owners of one shared resource.
///
/// The resource itself (a text block, a descriptor, an object) is kept by the class that uses the handle;
/// `shared_count` only knows how many holders there are. It is one word and does nothing by itself: its
/// holder calls `share` when it is copied and `release` when it is destroyed, and frees the resource when
/// `release` says so. A null handle means that nobody counts, and so that nothing will be freed.
///
/// ```cpp
/// shared_count owners = shared_count::create(); // one owner
/// shared_count second = owners;
/// second.share();                               // two
/// if (!second.release()) {}                     // one again: nothing to free yet
/// if (owners.release()) {}                      // none: now free the resource
/// ```
///
/// Threads: every change of the counter is a sequentially consistent read-modify-write. Two handles on one
/// cell may be used from two threads; one handle may not.
class shared_count {
public:
    constexpr shared_count() noexcept = default;

    /// A new cell of value 1. Throws `std::bad_alloc`.
    [[nodiscard]] static shared_count create() {
        shared_count made;
        made.cell_ = new std::atomic<std::int64_t>(1);
        return made;
    }

    /// True when a cell is held.
    explicit operator bool() const noexcept { return cell_ != nullptr; }

    /// Counts one more owner; does nothing on a null handle.
    void share() const noexcept {
        if (cell_ != nullptr) cell_->fetch_add(1);
    }

    /// Gives up one ownership and becomes null. True when that was the last one: the cell is freed then, and
    /// the caller frees the resource. False on a null handle.
    bool release() noexcept {
        std::atomic<std::int64_t>* const cell = cell_;
        cell_ = nullptr;
        if (cell == nullptr || cell->fetch_sub(1) != 1) return false;
        delete cell;
        return true;
    }

    /// True when a cell is held and this is its only owner. A stale answer can only be a false one.
    bool unique() const noexcept { return cell_ != nullptr && cell_->load(std::memory_order_acquire) == 1; }

    /// True when a cell is held that has further owners.
    bool shared() const noexcept { return cell_ != nullptr && cell_->load(std::memory_order_acquire) != 1; }

private:
    std::atomic<std::int64_t>* cell_ = nullptr;
};

}  // namespace Orlo

#pragma once

#include <cstdint>

// The rows of the array in which a thread notes its read holds on each `CFastWriterSpinLock`. A row belongs
// to one lock for as long as the lock lives, in all threads at once.

namespace Orlo::IMPL {

/// Takes a free row for the lock at `address`. Fails with `rwlExp`, code 2, when there is none.
std::uint64_t take_rw_row(const void* address);
/// Gives the row back.
void give_rw_row(std::uint64_t row);

}  // namespace Orlo::IMPL

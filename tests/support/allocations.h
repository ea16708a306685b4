#pragma once

/// Allocations that fail when a test says so. Works in the programs of cmake/wrapped_calls.cmake's
/// ORLO_ALLOCATION_FOLDERS: `malloc`, `realloc` and `operator new` as the library and the test call them.
/// Each thread counts for itself.
namespace testing_support::allocations {

/// Lets the allocation number `n` (from 0) of this thread fail, once.
void fail_nth(int n);

/// Takes the fault back. True if it happened.
bool fault_happened();

}  // namespace testing_support::allocations

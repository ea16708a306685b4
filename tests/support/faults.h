#pragma once

#include <string_view>

/// System calls that fail when a test says so. Works in the programs that are linked with the wraps of
/// cmake/wrapped_calls.cmake; a call is named by its function ("read"). Safe from several threads.
namespace testing_support::faults {

/// The call that `new (std::nothrow)` makes.
inline constexpr std::string_view NOTHROW_NEW = "_ZnwmRKSt9nothrow_t";

/// Lets the next `times` calls fail with `error`, without making them, after letting `skip` pass. A call that
/// answers with an error number (posix_fadvise) answers with it. One fault a call at a time: a new one
/// replaces the old.
void fail_next(std::string_view call, int error, int times = 1, int skip = 0);

/// How often it was called since the last `reset`, failed ones included.
int calls(std::string_view call);

/// How many faults were asked for and did not happen yet.
int pending();

/// Takes all faults back and counts from 0.
void reset();

/// Begins and ends a test without faults: a base of fixtures, or a local object.
struct clean_slate {
    clean_slate() { reset(); }
    clean_slate(const clean_slate&) = delete;
    clean_slate& operator=(const clean_slate&) = delete;
    ~clean_slate() { reset(); }
};

}  // namespace testing_support::faults

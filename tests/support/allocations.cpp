#include "support/allocations.h"

#include <cerrno>
#include <cstddef>
#include <new>

namespace testing_support::allocations {
namespace {

constexpr int NEVER = -1;
constexpr int DONE = -2;
thread_local int left = NEVER;

bool failing() {
    if (left < 0 || left-- > 0) return false;
    left = DONE;
    return true;
}

}  // namespace

void fail_nth(int n) {
    left = n;
}

bool fault_happened() {
    const bool happened = left == DONE;
    left = NEVER;
    return happened;
}

}  // namespace testing_support::allocations

using testing_support::allocations::failing;

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __real__Znwm(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void* __wrap__Znwm(std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return failing() ? (errno = ENOMEM, nullptr) : __real_malloc(size);
}

void* __wrap_realloc(void* block, std::size_t size) {
    return failing() ? (errno = ENOMEM, nullptr) : __real_realloc(block, size);
}

void* __wrap__Znwm(std::size_t size) {
    if (failing()) throw std::bad_alloc();
    return __real__Znwm(size);
}
}

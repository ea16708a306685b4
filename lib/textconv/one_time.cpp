#include "textconv/one_time.h"

#include <utility>

namespace Orlo::IMPL {
namespace {

constinit CLightMutex the_lock;
constinit one_time_entry* built = nullptr;

void free_all() {
    const CLockGuard guard(the_lock);
    while (one_time_entry* const entry = std::exchange(built, built != nullptr ? built->next : nullptr))
        entry->free(*entry);
}

}  // namespace

CLightMutex& one_time_lock() noexcept {
    return the_lock;
}

void free_at_exit(one_time_entry& entry) {
    static const int registered = std::atexit(free_all);
    static_cast<void>(registered);
    entry.next = std::exchange(built, &entry);
}

}  // namespace Orlo::IMPL

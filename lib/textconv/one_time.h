#pragma once

#include <atomic>
#include <cstdlib>

#include "orlo/threads/light_mutex.h"
#include "orlo/threads/lock_guard.h"

namespace Orlo::IMPL {

/// What is to be freed at exit; entries form a list.
struct one_time_entry {
    one_time_entry* next = nullptr;
    void (*free)(one_time_entry&) = nullptr;
};

/// The lock under which everything of this folder is built that is built once. It nests, as the making does:
/// the default converter needs the default encoding.
CLightMutex& one_time_lock() noexcept;
/// Has the entry freed at exit; the lock is held.
void free_at_exit(one_time_entry& entry);

/// A value that is made at its first use and freed at exit. Who asks for it later still, from a destructor
/// of static storage, has it made again.
///
/// For static storage, where it needs no initialiser. Threads: any.
template <class T>
class built_once : one_time_entry {
public:
    constexpr built_once() noexcept = default;

    template <class Make>
    T& get(Make make) {
        if (T* const made = m_value.load(std::memory_order_acquire)) return *made;
        const CLockGuard guard(one_time_lock());
        if (T* const made = m_value.load(std::memory_order_relaxed)) return *made;
        T* const made = new T(make());
        m_value.store(made, std::memory_order_release);
        if (free == nullptr) {
            free = [](one_time_entry& entry) {
                delete static_cast<built_once&>(entry).m_value.exchange(nullptr, std::memory_order_acq_rel);
            };
            free_at_exit(*this);
        }
        return *made;
    }

private:
    std::atomic<T*> m_value{nullptr};
};

}  // namespace Orlo::IMPL

#pragma once

#include <atomic>

#include "orlo/export.h"
#include "orlo/threads/sem.h"

namespace Orlo {

/// A semaphore that is made when the first thread needs it: one word, null until then. It keeps a
/// lock small that is rarely contended.
///
/// ```cpp
/// static CLazySem sem;
/// sem.Get().P();
/// sem.Get().Wait();
/// ```
///
/// Threads: `Get` from any thread. The destructor must be alone.
class ORLO_API CLazySem {
public:
    constexpr CLazySem() noexcept = default;
    /// Frees the semaphore, if it was made.
    ~CLazySem() { delete m_sem.exchange(nullptr); }
    CLazySem(const CLazySem&) = delete;
    CLazySem& operator=(const CLazySem&) = delete;

    /// The semaphore, made with no permits if this is the first call. A thread asks for it when it is already
    /// counted as a waiter or owes a waiter its permit, where neither can step back any more; therefore a
    /// call that finds no memory sleeps and tries again, and never fails.
    CSem& Get() {
        CSem* const made = m_sem.load(std::memory_order_acquire);
        return made != nullptr ? *made : _Make();
    }

    /// True once the semaphore was made.
    bool IsMade() const noexcept { return m_sem.load(std::memory_order_acquire) != nullptr; }

private:
    CSem& _Make();

    std::atomic<CSem*> m_sem{nullptr};
};

}  // namespace Orlo

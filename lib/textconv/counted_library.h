#pragma once

#include <cstddef>
#include <utility>

#include "orlo/process/dll_loader.h"
#include "orlo/strings/destructor_guard.h"
#include "orlo/threads/light_mutex.h"
#include "orlo/threads/lock_guard.h"

namespace Orlo::IMPL {

/// A library that is looked for when the first converter needs it and given up with the last one.
///
/// `Api` holds its functions and what keeps it loaded; `api.Load()` fills it or throws, `api.Unload()` gives it
/// up. A load that failed is not tried again: every later converter is refused at once by `early_fault`.
///
/// Threads: any. The functions are constant for whoever is counted.
template <class Api>
class CCountedLibrary {
public:
    constexpr CCountedLibrary() noexcept = default;

    /// Counts one converter more. On a failure the count is as it was.
    template <class Failure>
    void AddRef(const Failure& early_fault) {
        const CLockGuard guard(m_lock);
        if (m_count == 0) {
            if (m_failed) early_fault.raise();
            try {
                m_api.Load();
            } catch (...) {
                m_failed = true;
                m_api = {};
                throw;
            }
        }
        ++m_count;
    }

    void Release() {
        const CLockGuard guard(m_lock);
        if (--m_count != 0) return;
        Api unused = std::exchange(m_api, {});
        unused.Unload();
    }

    const Api& Functions() const noexcept { return m_api; }

    /// How many converters are counted.
    std::size_t Count() {
        const CLockGuard guard(m_lock);
        return m_count;
    }

private:
    CLightMutex m_lock;
    std::size_t m_count = 0;
    bool m_failed = false;
    Api m_api{};
};

/// One converter's count on a library.
template <class Library>
class CLibraryRef {
public:
    template <class Failure>
    CLibraryRef(Library& library, const Failure& early_fault) : m_library(library) {
        m_library.AddRef(early_fault);
    }
    CLibraryRef(const CLibraryRef&) = delete;
    CLibraryRef& operator=(const CLibraryRef&) = delete;
    ~CLibraryRef() noexcept(false) {
        finish_in_destructor([this] { m_library.Release(); });
    }

private:
    Library& m_library;
};

}  // namespace Orlo::IMPL

#pragma once

#include "orlo/strings/exceptions.h"

namespace Orlo {

/// A shared library, loaded by name for as long as the object lives.
///
/// Addresses that `GetProc` gave end with the object that gave them.
///
/// Threads: constant after construction; look-ups may come from any thread.
///
/// Failures are `dlllExp`: code 1 for a library that cannot be loaded, 2 for one that cannot be released, 3
/// for a missing symbol.
class CDllLoader {
public:
    /// The process itself: the program and all libraries that it was linked with.
    CDllLoader();
    /// Loads the file `name`, searched as the system does; where that fails and the name neither begins with
    /// "/" or "." nor with "lib", the file "lib" + `name`. Fails with code 1.
    explicit CDllLoader(const stringEx& name);
    /// The same by a wide name, in the default encoding; `tconvExp` where that lacks a character of it.
    explicit CDllLoader(const wstringEx& name);
    /// Fails with code 2, but not while another exception is in flight.
    ~CDllLoader() noexcept(false);
    CDllLoader(const CDllLoader&) = delete;
    CDllLoader& operator=(const CDllLoader&) = delete;

    /// The address of the symbol `name`, never null. Fails with code 3.
    void* GetProc(const stringEx& name) const;
    /// The same, or null when there is no such symbol.
    void* TryGetProc(const stringEx& name) const;

private:
    void* m_handle = nullptr;
};

}  // namespace Orlo

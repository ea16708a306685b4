#pragma once

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"

namespace Orlo {

/// The codes of `dlllExp`.
namespace dlll_code {
enum : std::int32_t {
    load = 1,     ///< a library cannot be loaded
    release = 2,  ///< a library cannot be released
    symbol = 3,   ///< a library has no such symbol
};
}  // namespace dlll_code

/// A shared library, loaded by name for as long as the object lives.
///
/// ```cpp
/// const CDllLoader math("m.so.6"_lit);  // finds libm.so.6
/// const auto root = reinterpret_cast<double (*)(double)>(math.GetProc("sqrt"_lit));
/// const double two = root(4);
/// static_cast<void>(two);
/// ```
///
/// Addresses that `GetProc` gave end with the object that gave them.
///
/// Threads: constant after construction; look-ups may come from any thread.
///
/// Failures are `dlllExp` with a code of `dlll_code`.
class ORLO_API CDllLoader {
public:
    /// The process itself: the program and all libraries that it was linked with.
    CDllLoader();
    /// Loads the file `name`, searched as the system does; where that fails and the name neither begins with
    /// "/" or "." nor with "lib", the file "lib" + `name`. Throws
    /// `dlll_code::load`.
    explicit CDllLoader(const stringEx& name);
    /// The same by a wide name, in the default encoding; `tconvExp` where that lacks a character of it.
    explicit CDllLoader(const wstringEx& name);
    /// Throws `dlll_code::release`, but not while another exception is in flight.
    ~CDllLoader() noexcept(false);
    CDllLoader(const CDllLoader&) = delete;
    CDllLoader& operator=(const CDllLoader&) = delete;

    /// The address of the symbol `name`, never null. Throws `dlll_code::symbol`.
    void* GetProc(const stringEx& name) const;
    /// The same, or null when there is no such symbol.
    [[nodiscard]] void* TryGetProc(const stringEx& name) const;

private:
    void* m_handle = nullptr;
};

}  // namespace Orlo

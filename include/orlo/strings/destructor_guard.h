#pragma once

#include <exception>
#include <utility>

namespace Orlo {

/// Runs the part of a destructor that may fail. Its exception passes through, unless another one is in flight,
/// where a second would end the program; then it is dropped. The destructor is declared `noexcept(false)`.
///
/// ```cpp
/// struct holder {
///     void Close() {}                           // may throw
///     ~holder() noexcept(false) {
///         finish_in_destructor([this] { Close(); });
///     }
/// };
/// const holder held;
/// ```
template <class Action>
void finish_in_destructor(Action&& action) {
    if (std::uncaught_exceptions() == 0) {
        std::forward<Action>(action)();
        return;
    }
    try {
        std::forward<Action>(action)();
    } catch (...) {
        // the exception in flight tells what went wrong first
    }
}

}  // namespace Orlo

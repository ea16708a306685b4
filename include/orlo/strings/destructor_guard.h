#pragma once

#include <exception>
#include <utility>

namespace Orlo {

/// Runs the failing part of a destructor: its exception is let through, unless another one is in flight and
/// the program would end for it; then it is dropped. The destructor is declared `noexcept(false)`.
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

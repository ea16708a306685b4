#pragma once

#include <cerrno>

namespace Orlo {

/// Makes a system call, a callable that answers -1 and sets `errno` on failure, and repeats it for as long as
/// a signal interrupts it. Returns its result. The one place that repeats EINTR.
template <class Call>
auto retry_interrupted(Call&& call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

}  // namespace Orlo

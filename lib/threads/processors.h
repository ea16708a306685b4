#pragma once

#include <unistd.h>

namespace Orlo::IMPL {

/// Whether spinning can pay: on a single processor nothing changes while a thread spins.
inline bool more_than_one_processor() noexcept {
    return sysconf(_SC_NPROCESSORS_ONLN) > 1;
}

}  // namespace Orlo::IMPL

#pragma once

#include <cstdint>

#include "strings/decimal.h"

namespace Orlo::IMPL {

/// A zone as its sign, two digits of hours, or three, and two of minutes: "-0530".
template <class T>
T* put_zone(T* to, std::int32_t minutes) noexcept {
    const auto distance = static_cast<std::uint32_t>(minutes < 0 ? -minutes : minutes);
    *to = minutes < 0 ? T('-') : T('+');
    return put_natural(put_natural(to + 1, distance / 60, 2), distance % 60, 2);
}

}  // namespace Orlo::IMPL

#pragma once

#include <cstdint>
#include <limits>

#include "orlo/time/time_span.h"

namespace Orlo {

/// The milliseconds that stand for no limit at all.
inline constexpr std::uint32_t WAIT_FOREVER = 0xFFFFFFFFu;

/// How long a timed operation may wait. Built where it is needed from what callers have: milliseconds, with 0
/// for a try and `WAIT_FOREVER` for no limit, or a `CTimeSpan`, of which zero and less mean a try.
///
/// Threads: a plain value.
class CTimeLimit {
public:
    constexpr CTimeLimit(std::uint32_t milliseconds) noexcept
        : microseconds_(milliseconds == WAIT_FOREVER ? endless : milliseconds * US_PER_MILLISECOND) {}
    constexpr CTimeLimit(CTimeSpan span) noexcept
        : microseconds_(span.GetValue() > 0 ? span.GetValue() : 0) {}

    constexpr bool IsTry() const noexcept { return microseconds_ == 0; }
    constexpr bool IsForever() const noexcept { return microseconds_ == endless; }
    /// Microseconds, not below 0; the largest value for no limit.
    constexpr std::int64_t GetMicroseconds() const noexcept { return microseconds_; }

private:
    static constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

    std::int64_t microseconds_;
};

}  // namespace Orlo

#pragma once

#include <chrono>
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

/// What is left of a limit, for an operation that waits several times within it. Counts from construction on
/// the monotonic clock.
///
/// Threads: a plain value.
class CTimeLeft {
public:
    explicit CTimeLeft(CTimeLimit limit) noexcept : limit_(limit) {
        if (!_IsConstant()) start_ = clock::now();
    }

    /// The limit for the next wait: a try when the time is up.
    CTimeLimit Get() const noexcept {
        if (_IsConstant()) return limit_;
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - start_);
        return CTimeSpan(limit_.GetMicroseconds() - passed.count());
    }

private:
    using clock = std::chrono::steady_clock;

    bool _IsConstant() const noexcept { return limit_.IsTry() || limit_.IsForever(); }

    CTimeLimit limit_;
    clock::time_point start_{};
};

}  // namespace Orlo

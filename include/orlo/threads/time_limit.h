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
/// ```cpp
/// constexpr CTimeLimit half_a_second = 500u, for_ever = WAIT_FOREVER;
/// static_assert(half_a_second.GetMicroseconds() == 500'000 && for_ever.IsForever());
/// ```
///
/// Threads: a plain value.
class CTimeLimit {
public:
    constexpr CTimeLimit(std::uint32_t milliseconds) noexcept
        : m_microseconds(milliseconds == WAIT_FOREVER ? endless : milliseconds * US_PER_MILLISECOND) {}
    constexpr CTimeLimit(CTimeSpan span) noexcept
        : m_microseconds(span.GetValue() > 0 ? span.GetValue() : 0) {}

    constexpr bool IsTry() const noexcept { return m_microseconds == 0; }
    constexpr bool IsForever() const noexcept { return m_microseconds == endless; }
    /// Microseconds, not below 0; the largest value for no limit.
    constexpr std::int64_t GetMicroseconds() const noexcept { return m_microseconds; }

private:
    static constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

    std::int64_t m_microseconds;
};

/// What is left of a limit, for an operation that waits several times within it. Counts from construction on
/// the monotonic clock.
///
/// ```cpp
/// const CTimeLeft time(500u);
/// while (!time.Get().IsTry()) {
///     // wait for something else, time.Get() at most
/// }
/// ```
///
/// Threads: a plain value.
class CTimeLeft {
public:
    explicit CTimeLeft(CTimeLimit limit) noexcept : m_limit(limit) {
        if (!_IsConstant()) m_start = clock::now();
    }

    /// The limit for the next wait: a try when the time is up.
    CTimeLimit Get() const noexcept {
        if (_IsConstant()) return m_limit;
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - m_start);
        return CTimeSpan(m_limit.GetMicroseconds() - passed.count());
    }

private:
    using clock = std::chrono::steady_clock;

    bool _IsConstant() const noexcept { return m_limit.IsTry() || m_limit.IsForever(); }

    CTimeLimit m_limit;
    clock::time_point m_start{};
};

}  // namespace Orlo

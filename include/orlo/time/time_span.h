#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/time/wrapping.h"

namespace Orlo {

inline constexpr std::int64_t US_PER_MILLISECOND = 1'000;
inline constexpr std::int64_t US_PER_SECOND = 1'000'000;
inline constexpr std::int64_t US_PER_MINUTE = 60 * US_PER_SECOND;
inline constexpr std::int64_t US_PER_HOUR = 60 * US_PER_MINUTE;
inline constexpr std::int64_t US_PER_DAY = 24 * US_PER_HOUR;
inline constexpr std::int64_t US_PER_WEEK = 7 * US_PER_DAY;

/// A length of time: a signed 64-bit count of microseconds and nothing else.
///
/// It is copied by value, compared as an integer and never allocated. It reaches about 292,000 years either
/// way; what goes beyond wraps around, without a failure. Lengths of <chrono> convert to it by themselves.
///
/// ```cpp
/// CTimeSpan pause = std::chrono::minutes(90);
/// pause += CTimeSpan().Set(1, 2);                // 1 day, 2 hours
/// stringEx text;
/// pause.ToStr(text, "%TD days %PH:%PM");         // 1 days 03:30
/// const std::chrono::minutes whole = std::chrono::floor<std::chrono::minutes>(pause.ToChrono());
/// static_cast<void>(whole);                      // 1650 min
/// ```
///
/// Threads: a plain value; one object may not be written by one thread while another uses it.
class ORLO_API CTimeSpan {
public:
    /// The empty span.
    constexpr CTimeSpan() noexcept = default;
    constexpr explicit CTimeSpan(std::int64_t microseconds) noexcept : m_value(microseconds) {}

    /// A length of <chrono> that is a whole number of microseconds, and fits into 64 bits of them.
    template <class Rep, class Period>
    requires std::is_convertible_v<std::chrono::duration<Rep, Period>, std::chrono::microseconds>
    constexpr CTimeSpan(std::chrono::duration<Rep, Period> length) noexcept
        : m_value(std::chrono::microseconds(length).count()) {}

    [[nodiscard]] static constexpr CTimeSpan FromMilliseconds(std::int64_t milliseconds) noexcept {
        return CTimeSpan(IMPL::wrap_mul(milliseconds, US_PER_MILLISECOND));
    }

    /// The count of microseconds, negative for a span that points backwards.
    [[nodiscard]] constexpr std::int64_t GetValue() const noexcept { return m_value; }
    /// The same for <chrono>.
    [[nodiscard]] constexpr std::chrono::microseconds ToChrono() const noexcept {
        return std::chrono::microseconds(m_value);
    }

    /// Makes the span the sum of its arguments, none of which has to stay below the next larger unit, and
    /// each of which may be negative. Returns the object.
    constexpr CTimeSpan& Set(std::int32_t days, std::int64_t hours = 0, std::int64_t minutes = 0,
                             std::int64_t seconds = 0, std::int64_t milliseconds = 0,
                             std::int64_t microseconds = 0) noexcept {
        m_value = microseconds;
        m_value = IMPL::wrap_add(m_value, IMPL::wrap_mul(days, US_PER_DAY));
        m_value = IMPL::wrap_add(m_value, IMPL::wrap_mul(hours, US_PER_HOUR));
        m_value = IMPL::wrap_add(m_value, IMPL::wrap_mul(minutes, US_PER_MINUTE));
        m_value = IMPL::wrap_add(m_value, IMPL::wrap_mul(seconds, US_PER_SECOND));
        m_value = IMPL::wrap_add(m_value, IMPL::wrap_mul(milliseconds, US_PER_MILLISECOND));
        return *this;
    }

    constexpr CTimeSpan& operator+=(CTimeSpan other) noexcept {
        m_value = IMPL::wrap_add(m_value, other.m_value);
        return *this;
    }
    constexpr CTimeSpan& operator-=(CTimeSpan other) noexcept {
        m_value = IMPL::wrap_sub(m_value, other.m_value);
        return *this;
    }
    friend constexpr CTimeSpan operator+(CTimeSpan a, CTimeSpan b) noexcept { return a += b; }
    friend constexpr CTimeSpan operator-(CTimeSpan a, CTimeSpan b) noexcept { return a -= b; }
    constexpr CTimeSpan operator-() const noexcept { return CTimeSpan() - *this; }
    friend constexpr auto operator<=>(CTimeSpan, CTimeSpan) noexcept = default;

    /// Appends the span to `out` by `format`, in which "%" begins an escape:
    ///
    /// | escape | output                             | escape | output                                     |
    /// |--------|------------------------------------|--------|--------------------------------------------|
    /// | `%W`   | whole weeks                        |        |                                            |
    /// | `%TD`  | whole days                         | `%PD`  | days within the week                       |
    /// | `%TH`  | whole hours, two digits at least   | `%PH`  | hours within the day, two digits           |
    /// | `%sTH` | whole hours, unpadded              |        |                                            |
    /// | `%TM`  | whole minutes                      | `%PM`  | minutes within the hour, two digits        |
    /// | `%TS`  | whole seconds                      | `%PS`  | seconds within the minute, two digits      |
    /// | `%Tms` | whole milliseconds                 | `%Pms` | milliseconds within the second, three      |
    /// | `%Tus` | all microseconds                   | `%Pus` | microseconds within the millisecond, three |
    ///
    /// "%%" is one "%", a "%" at the very end is dropped, and an unknown escape loses only its "%". The sign
    /// is not shown: a negative span reads as the positive one. Throws only `std::bad_alloc`.
    void ToStr(stringEx& out, std::string_view format) const;
    void ToStr(wstringEx& out, std::wstring_view format) const;

private:
    std::int64_t m_value = 0;
};

}  // namespace Orlo

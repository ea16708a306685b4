#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

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
/// Copied by value, compared as an integer, never allocates. It reaches about 292,000 years either way; what
/// goes beyond wraps around, without a failure.
///
/// Threads: a plain value; one object may not be written by one thread while another uses it.
class CTimeSpan {
public:
    /// The empty span.
    constexpr CTimeSpan() noexcept = default;
    constexpr explicit CTimeSpan(std::int64_t microseconds) noexcept : value_(microseconds) {}

    static constexpr CTimeSpan FromMilliseconds(std::int64_t milliseconds) noexcept {
        return CTimeSpan(IMPL::wrap_mul(milliseconds, US_PER_MILLISECOND));
    }

    /// The count of microseconds, negative for a span that points backwards.
    constexpr std::int64_t GetValue() const noexcept { return value_; }

    /// Makes the span the sum of its arguments, none of which has to stay below the next larger unit, and
    /// each of which may be negative. Returns the object.
    constexpr CTimeSpan& Set(std::int32_t days, std::int64_t hours = 0, std::int64_t minutes = 0,
                             std::int64_t seconds = 0, std::int64_t milliseconds = 0,
                             std::int64_t microseconds = 0) noexcept {
        value_ = microseconds;
        value_ = IMPL::wrap_add(value_, IMPL::wrap_mul(days, US_PER_DAY));
        value_ = IMPL::wrap_add(value_, IMPL::wrap_mul(hours, US_PER_HOUR));
        value_ = IMPL::wrap_add(value_, IMPL::wrap_mul(minutes, US_PER_MINUTE));
        value_ = IMPL::wrap_add(value_, IMPL::wrap_mul(seconds, US_PER_SECOND));
        value_ = IMPL::wrap_add(value_, IMPL::wrap_mul(milliseconds, US_PER_MILLISECOND));
        return *this;
    }

    constexpr CTimeSpan& operator+=(CTimeSpan other) noexcept {
        value_ = IMPL::wrap_add(value_, other.value_);
        return *this;
    }
    constexpr CTimeSpan& operator-=(CTimeSpan other) noexcept {
        value_ = IMPL::wrap_sub(value_, other.value_);
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
    std::int64_t value_ = 0;
};

}  // namespace Orlo

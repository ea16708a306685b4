#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Orlo::IMPL {

/// Days from 1 January of year 1 to 1970-01-01.
inline constexpr std::int64_t EPOCH_DAY = 719162;

/// Indexed by month - 1 + 12 x leap: how far the first day's day-of-year index lies from (month - 1) x 31.
inline constexpr std::array<std::int16_t, 24> g_monthCorrection = {
    0, 0, -3, -3, -4, -4, -5, -5, -5, -6, -6, -7,  //
    0, 0, -2, -2, -3, -3, -4, -4, -4, -5, -5, -6};

/// Indexed likewise: the month's length.
inline constexpr std::array<std::int16_t, 24> g_monthDays = {
    31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31,  //
    31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr std::size_t month_index(std::int64_t month, bool leap) noexcept {
    return static_cast<std::size_t>(month - 1 + (leap ? 12 : 0));
}

/// The length of a month from 1 to 12.
constexpr std::uint16_t month_length(std::int64_t month, bool leap) noexcept {
    return static_cast<std::uint16_t>(g_monthDays[month_index(month, leap)]);
}

constexpr bool is_month(std::int64_t month) noexcept {
    return month >= 1 && month <= 12;
}

/// Whether a year other than 0 has 366 days.
constexpr bool is_leap_year(std::int32_t year) noexcept {
    const std::int32_t moved = year < 0 ? year + 1 : year;
    return moved % 4 == 0 && (moved % 100 != 0 || moved % 400 == 0);
}

/// The century: 1 for the years 1 to 99, 2 from 100 on, and -1, -2 ... before year 1.
constexpr std::int32_t century_of(std::int32_t year) noexcept {
    return year / 100 + (year < 0 ? -1 : 1);
}

struct calendar_date {
    std::int32_t year;
    std::int32_t month;
    std::int32_t day;
    std::int32_t dayOfYear;
    std::uint32_t weekDay;
};

/// The date of a day counted from 1970-01-01, for every day that a `CTime` reaches.
calendar_date date_of_day(std::int64_t days) noexcept;

/// The day, counted from 1970-01-01, of a date whose month is 1 to 12; wraps in 32 bits. `leap` tells whether
/// the year is a leap year.
std::int32_t day_of_date(std::int32_t year, std::int32_t month, std::int32_t day, bool leap) noexcept;

}  // namespace Orlo::IMPL

// The calendar: from a count of days to a date and back.
//
// Proleptic Gregorian: the leap years of today reach back for ever. There is no year 0; -1 comes before 1. To
// tell whether a negative year is a leap year it is moved up by one: -1, astronomically 0, is one.
//
// A date is found from d, the days since 1 January of year 1, in two steps. First the year: 400 years are
// 146097 days, so d x 400 / 146097 + 1 is the year or, in its first days, the one before. The day of the year
// tells which, because it is too large then. Next the month: months are taken for 31 days, and a table holds by
// how much that is wrong. On each side of each seam (days from 1970-01-01 in brackets):
//
//      1970-01-01 (0)        d = 719162: 1969.0005, year 1969. Day 365 is past its end: year 1970, day 0.
//      1969-12-31 (-1)       d = 719161: 1968.9978, year 1969, day 364. 364 / 31 is 11, rest 23; December
//                            begins 7 days early: rest 30, the 31st.
//      2000-02-29 (11016)    d = 730178: year 2000, day 59. 59 / 31 is 1, rest 28; of 29 days: the 29th.
//      2000-03-01 (11017)    day 60, rest 29, no day of February: March, rest 0, the 1st.
//      0001-01-01 (-719162)  d = 0: year 1, day 0.
//     -0001-12-31 (-719163)  d = -1: from here on the remote past. e = (-400 + 303) / 146097 is 0, year -1,
//                            which begins at -366: day 365 of 366.
//     -0001-01-01 (-719528)  d = -366: e is -1, year -2, which begins at -731: day 365 is past its end:
//                            year -1, day 0.
//     -0002-12-31 (-719529)  d = -367: e is -1, year -2, day 364.
//
// In the remote past e is the astronomical year, and all divisions truncate towards zero. That gives the
// calendar above but for two oddities. Both are kept on purpose: files hold dates that were written so.
//
//   - A year that is a full hundred, astronomically, and no leap year (-101, -201, -301, -501) is taken to
//     begin a day early: its 1 January reads as the 2nd, and its 31 December as 1 January of the next.
//   - Where the estimate is a year too late (32 years of 400: -205, -209 ... -233, -304, -305, -308 ...), the
//     correction goes back one day too far: 31 December reads as a second 30 December.
//
// The way back has neither, so encoding a decoded date gives the day back on all days but those.
//
// Cost: a few divisions by constants, both ways; no loop.

#include "time/calendar.h"

namespace Orlo::IMPL {
namespace {

constexpr std::int64_t DAYS_OF_400_YEARS = 146097;

/// A year, the day in it from 0, and whether the year that was estimated first is a leap year. The months are
/// found by that one's table, which only matters where the estimate was a year too late.
struct year_and_day {
    std::int32_t year;
    std::int32_t dayOfYear;
    bool leap;
};

constexpr std::int32_t year_length(bool leap) noexcept {
    return leap ? 366 : 365;
}

/// `d` is not negative.
year_and_day year_of_day(std::int64_t d) noexcept {
    const std::int64_t before = d * 400 / DAYS_OF_400_YEARS;
    year_and_day found{};
    found.year = static_cast<std::int32_t>(before + 1);
    found.dayOfYear =
        static_cast<std::int32_t>(d - (before * 365 + before / 4 - before / 100 + before / 400));
    found.leap = is_leap_year(found.year);
    if (found.dayOfYear >= year_length(found.leap)) {
        ++found.year;
        found.dayOfYear -= year_length(found.leap);
    }
    return found;
}

/// `d` is negative.
year_and_day year_of_remote_day(std::int64_t d) noexcept {
    const std::int64_t e = (d * 400 + 303) / DAYS_OF_400_YEARS;
    year_and_day found{};
    found.year = static_cast<std::int32_t>(e - 1);
    found.dayOfYear = static_cast<std::int32_t>(d - (e * 365 + e / 4 - (e + 1) / 100 + (e + 1) / 400 - 366));
    found.leap = is_leap_year(found.year);
    if (found.dayOfYear < 0) {
        --found.year;
        found.dayOfYear += year_length(found.leap) - 1;  // a day too far on purpose: see the head
    } else if (found.dayOfYear >= year_length(found.leap)) {
        ++found.year;
        found.dayOfYear -= year_length(found.leap);
    }
    return found;
}

}  // namespace

calendar_date date_of_day(std::int64_t days) noexcept {
    const std::int64_t d = days + EPOCH_DAY;
    const year_and_day found = d >= 0 ? year_of_day(d) : year_of_remote_day(d);

    calendar_date date{};
    date.year = found.year;
    date.dayOfYear = found.dayOfYear + 1;
    date.weekDay = static_cast<std::uint32_t>(((d + 1) % 7 + 7) % 7);
    date.month = found.dayOfYear / 31 + 1;
    std::size_t month = month_index(date.month, found.leap);
    std::int32_t rest = found.dayOfYear % 31 - g_monthCorrection[month];
    if (rest >= g_monthDays[month]) {
        rest -= g_monthDays[month];
        ++date.month;
    }
    date.day = rest + 1;
    return date;
}

std::int32_t day_of_date(std::int32_t year, std::int32_t month, std::int32_t day, bool leap) noexcept {
    // year 0 is counted like the year before year 1, but by the rule of the years after it
    const std::int64_t y = year < 0 ? std::int64_t{year} + 1 : std::int64_t{year} - 1;
    const std::int64_t from_year_1 = y * 365 + y / 4 - y / 100 + y / 400;
    const std::int64_t year_begin = from_year_1 - (year < 0 ? EPOCH_DAY + 366 : EPOCH_DAY);
    return static_cast<std::int32_t>(year_begin + (month - 1) * 31 +
                                     g_monthCorrection[month_index(month, leap)] + day - 1);
}

}  // namespace Orlo::IMPL

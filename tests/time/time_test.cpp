#include "orlo/time/time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <tuple>

#include "support/expect_throw.h"

using namespace Orlo;

namespace {

constexpr std::int32_t MOST_32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t LEAST_32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

std::string show(const CTime& time, std::int16_t zone = 0) {
    stringEx text;
    time.ToStr(text, "%Y-%M-%d %H:%T:%S.%us", zone);
    return std::string(text.view());
}

/// Noon and some, in zone 0.
CTime on(std::int32_t year, std::int32_t month, std::uint16_t day, std::uint16_t hour = 12) {
    return CTime().Set(year, month, day, hour, 34, 56, 789012, 0);
}

}  // namespace

TEST(time_change, table) {
    CTime::SetLocalTimeZone(0);
    const std::tuple<CTime, void (*)(CTime&), const char*> rows[] = {
        {on(2024, 2, 29), [](CTime& t) { t.SetYear(2023); }, "2023-02-28 12:34:56.789012"},
        {on(2023, 1, 31), [](CTime& t) { t.SetMonth(2); }, "2023-02-28 12:34:56.789012"},
        {on(2023, 1, 5), [](CTime& t) { t.SetMonth(2); }, "2023-02-05 12:34:56.789012"},
        {on(-1, 1, 31), [](CTime& t) { t.SetMonth(2); }, "-1-02-29 12:34:56.789012"},
        {on(2023, 2, 5), [](CTime& t) { t.SetDay(29); }, "2023-03-01 12:34:56.789012"},
        {on(2023, 2, 5), [](CTime& t) { t.SetDayOfYear(0); }, "2022-12-31 12:34:56.789012"},
        {on(2024, 2, 5), [](CTime& t) { t.SetDayOfYear(366); }, "2024-12-31 12:34:56.789012"},
        {on(2023, 2, 5, 23), [](CTime& t) { t.SetDate(1999, 12, 31, 60); }, "1999-12-30 23:34:56.789012"},
        {on(2023, 2, 5), [](CTime& t) { t.SetHour(0, 90); }, "2023-02-04 22:34:56.789012"},
        {on(2023, 2, 5), [](CTime& t) { t.SetMinute(61); }, "2023-02-05 13:01:56.789012"},
        {on(2023, 2, 5), [](CTime& t) { t.SetSecond(7); }, "2023-02-05 12:34:07.000000"},
        {CTime(-1), [](CTime& t) { t.SetSecond(7); }, "1970-01-01 00:00:07.000000"},
        {on(2023, 2, 5), [](CTime& t) { t.SetMicrosecond(7); }, "2023-02-05 12:34:56.000007"},
        {CTime(-1), [](CTime& t) { t.SetMicrosecond(7); }, "1970-01-01 00:00:00.000007"},
        {on(2024, 2, 29), [](CTime& t) { t.AddYears(1); }, "2025-02-28 12:34:56.789012"},
        {on(2023, 2, 28), [](CTime& t) { t.AddMonths(1); }, "2023-03-31 12:34:56.789012"},
        {on(2023, 1, 30), [](CTime& t) { t.AddMonths(1); }, "2023-02-28 12:34:56.789012"},
        {on(2023, 5, 15), [](CTime& t) { t.AddMonths(8); }, "2024-01-15 12:34:56.789012"},
        {on(2023, 5, 15), [](CTime& t) { t.AddMonths(-17); }, "2021-12-15 12:34:56.789012"},
        {on(1, 1, 15), [](CTime& t) { t.AddMonths(-13); }, "-1-12-15 12:34:56.789012"},
        {on(2024, 1, 31, 23), [](CTime& t) { t.AddMonths(1, 60); }, "2024-02-29 23:34:56.789012"},
        {on(2023, 2, 28, 23), [](CTime& t) { t = t.GetMonthBegin(60); }, "2023-02-28 23:00:00.000000"},
    };
    for (const auto& [start, change, expected] : rows) {
        CTime time = start;
        change(time);
        EXPECT_EQ(show(time), expected) << "from " << show(start);
    }
}

TEST(time_change, far_counts_wrap_without_a_trap) {
    for (const std::int32_t count : {MOST_32, LEAST_32}) {
        for (const std::int64_t value : {LEAST, -(LEAST + 1), std::int64_t{0}}) {
            CTime months(value), years(value);
            months.AddMonths(count / 12 * 12, 0);
            years.AddYears(count / 12, 0);
            EXPECT_EQ(months.GetDayOfYear(0), years.GetDayOfYear(0)) << value << " by " << count;
            static_cast<void>(months.AddMonths(count, 0).AddYears(count, 0).GetMonthSpan(years, 0));
        }
    }
    EXPECT_EQ(CTime(LEAST) - CTimeSpan(1), CTime(-(LEAST + 1)));
    EXPECT_EQ((-CTimeSpan(LEAST)).GetValue(), LEAST);
    EXPECT_EQ(CTimeSpan().Set(LEAST_32, LEAST, 1, -2, 3, 4).GetValue(),
              static_cast<std::int64_t>(0ull - (1ull << 31) * 86400000000ull + 58003004));
}

TEST(time_change, day_after_the_years_end) {
    CTime::SetLocalTimeZone(-90);
    CTime time = on(2023, 5, 5);
    for (const std::int16_t zone : {std::int16_t{-90}, TZ_LOCAL}) {
        EXPECT_FAILURE(time.SetDayOfYear(366, zone), timeExp, time_code::bad_value,
                       "CTime::SetDayOfYear - Invalid day of year\n"
                       "  current obj's year          = 2023\n"
                       "  current timezone in minutes = -90\n"
                       "  the day of year value       = 366");
    }
    EXPECT_EQ(time, on(2023, 5, 5));
    CTime::SetLocalTimeZone(0);
}

// Before the epoch they mirror the time; what is decoded does not.
TEST(time_reading, cheap_ones) {
    const std::pair<std::int64_t, std::string> rows[] = {
        {45296000007, "12:34:56.7"}, {86400000000, "0:0:0.0"},           {-1, "0:0:0.1000001"},
        {-1000000, "0:0:1.1000000"}, {-45296000007, "12:34:56.1000007"}, {-86400000000, "0:0:0.1000000"},
        {LEAST, "4:0:54.1775808"},
    };
    for (const auto& [value, expected] : rows) {
        const CTime t(value);
        stringEx text;
        text.format(99, "%u:%u:%u.%u", t.GetHour(0), t.GetMinute(0), t.GetSecond(), t.GetMicrosecond());
        EXPECT_EQ(text.view(), expected);
    }
    EXPECT_TRUE(CTime(0).GetHour(-90) == 1 && CTime(0).GetMinute(100) == 40);
}

TEST(time_reading, fields) {
    const CTime time = on(2024, 12, 31), march = on(2024, 3, 31);
    EXPECT_EQ((time.GetYear(0) * 100 + time.GetMonth(0)) * 100 + time.GetDay(0), 20241231);
    EXPECT_EQ(time.GetDayOfYear(0) * 100u + time.GetDayOfWeek(0), 36602u);
    EXPECT_TRUE(time.GetQuarter(0) == 4 && march.GetQuarter(0) == 1 && time.GetYear(12 * 60) == 2025);
    for (const auto& [year, century] : {std::pair(2000, 21), {1999, 20}, {1, 1}, {-1, -1}, {-100, -2}})
        EXPECT_EQ(on(year, 6, 1).GetCentury(0), century) << year;
    EXPECT_TRUE(on(2024, 1, 1).IsSameQuarter(march, 0) && !march.IsSameQuarter(on(2024, 4, 1), 0));
    EXPECT_FALSE(march.IsSameQuarter(on(2023, 3, 31), 0) || march.IsSameMonth(on(2025, 3, 31), 0));
    EXPECT_TRUE(march.IsSameMonth(on(2024, 4, 1, 0), -60));
    EXPECT_EQ(CTime::GetNumOfDays(2, 2000) + CTime::GetNumOfDays(2, 1900) * 100, 2829u);
}

TEST(time_weeks, numbers) {
    const std::tuple<CTime, unsigned, unsigned> rows[] = {
        {on(2023, 1, 1), 1, 1},  {on(2023, 1, 2), 1, 1},     {on(2023, 1, 8), 1, 2},
        {on(2023, 1, 9), 2, 2},  {on(2024, 1, 7), 1, 1},     {on(2024, 1, 13), 2, 1},
        {on(2024, 1, 14), 2, 2}, {on(2024, 12, 31), 53, 52}, {on(2023, 12, 31), 52, 53},
    };
    for (const auto& [time, from_monday, from_sunday] : rows) {
        EXPECT_EQ(time.GetWeekOfYear(1, 0), from_monday) << show(time);
        EXPECT_EQ(time.GetWeekOfYear(0, 0), from_sunday) << show(time);
    }
}

TEST(time_weeks, days) {
    const std::uint32_t SUNDAY = 0, WEDNESDAY = 3, THURSDAY = 4, FRIDAY = 5;
    CTime::SetLocalTimeZone(600);
    const CTime wednesday = on(2024, 3, 6), before_epoch = on(1969, 12, 31), january = on(2024, 1, 31, 20);
    const std::pair<CTime, std::string> rows[] = {
        {wednesday.GetWeekBegin(THURSDAY, 0), "2024-02-29 00:00"},
        {wednesday.GetWeekBegin(7, 0), "2024-03-03 00:00"},
        {wednesday.GetWeekBegin(THURSDAY, 12 * 60), "2024-03-06 12:00"},
        {before_epoch.GetWeekBegin(SUNDAY, 0), "1969-12-28 00:00"},
        {wednesday.GetNearestWeekDay(SUNDAY, 0), "2024-03-03 00:00"},
        {on(2024, 3, 7).GetNearestWeekDay(SUNDAY, 0), "2024-03-10 00:00"},
        // its begin counts as its end before the epoch
        {before_epoch.GetNearestWeekDay(SUNDAY, 0), "1970-01-04 00:00"},
        {wednesday.GetNthWeekDayOfMonth(1, THURSDAY, 0), "2024-03-07 00:00"},
        {wednesday.GetNthWeekDayOfMonth(5, THURSDAY, 0), "2024-04-04 00:00"},
        {wednesday.GetNthWeekDayOfMonth(0, FRIDAY, 0), "3280-03-01 00:00"},
        // the month is the local zone's: in zone +10 it is February already
        {january.GetLastWeekDayOfMonth(THURSDAY, TZ_LOCAL), "2024-02-28 14:00"},
        {january.GetLastWeekDayOfMonth(FRIDAY, TZ_LOCAL), "2024-02-22 14:00"},
        {january.GetLastWeekDayOfMonth(THURSDAY, 0), "2024-02-29 00:00"},
        {on(2024, 12, 5).GetLastWeekDayOfMonth(WEDNESDAY, 600), "2024-12-24 14:00"},
        {on(-1, 12, 5).GetLastWeekDayOfMonth(SUNDAY, 600), "-1-12-30 14:00"},
    };
    for (const auto& [found, expected] : rows)
        EXPECT_EQ(show(found), expected + ":00.000000");
    CTime::SetLocalTimeZone(0);
}

// An operation resolves the local zone once, so a zone that changes meanwhile gives the result of one of the
// two, never a mixture.
TEST(time_zone, changes_while_it_is_used) {
    const CTime evening = on(2024, 2, 29, 20), early = on(2024, 3, 1, 1), april = on(2024, 4, 1, 20);
    const auto results = [&] {
        return std::array{
            april.GetNthWeekDayOfMonth(2, 1).GetValue(),
            evening.GetLastWeekDayOfMonth(4).GetValue(),
            evening.GetNearestWeekDay(1).GetValue(),
            static_cast<std::int64_t>(1e6 * early.GetMonthSpan(evening)),
            std::int64_t{evening.IsSameMonth(early)},
            std::int64_t{on(2024, 3, 31, 20).IsSameQuarter(on(2024, 4, 1, 1))},
        };
    };
    CTime::SetLocalTimeZone(0);
    const auto in_utc = results();
    CTime::SetLocalTimeZone(600);
    const auto in_east = results();
    std::atomic<bool> done = false;
    std::thread changes([&done] {
        while (!done) {
            CTime::SetLocalTimeZone(0);
            CTime::SetLocalTimeZone(600);
        }
    });
    for (int i = 0; i < 30000 && !HasFailure(); ++i) {
        const auto now = results();
        for (std::size_t which = 0; which < now.size(); ++which)
            EXPECT_TRUE(now[which] == in_utc[which] || now[which] == in_east[which]) << which;
    }
    done = true;
    changes.join();
    CTime::SetLocalTimeZone(0);
}

TEST(time_months, distance) {
    const std::tuple<CTime, CTime, double> rows[] = {
        {on(2024, 12, 12), on(2024, 12, 12), 0},
        {on(2024, 2, 15), on(2024, 1, 15), 1 + 1 / 29.0},
        {on(2024, 3, 31), on(2023, 3, 1), 12 + 1},
        {on(2023, 3, 10), on(2023, 1, 20), 1 + 19 / 28.0},
        {on(2024, 2, 29), on(2024, 1, 31), 1},
        {on(2023, 3, 5), on(2023, 1, 31), 1 + 6 / 31.0},
        {on(2024, 1, 10), on(2023, 12, 31), 11 / 31.0},
        {on(2024, 4, 20), on(2024, 3, 10), 1 + 11 / 30.0},
        {on(2024, 5, 10), on(2024, 3, 20), 1 + 21 / 30.0},
        {on(2024, 3, 10), on(2024, 1, 20), 1 + 20 / 29.0},
    };
    for (const auto& [later, earlier, months] : rows) {
        EXPECT_DOUBLE_EQ(later.GetMonthSpan(earlier, 0), months) << show(later);
        EXPECT_DOUBLE_EQ(earlier.GetMonthSpan(later, 0), -months) << show(later);
    }
}

TEST(time_forms, of_the_system) {
    struct tm tm;
    on(2024, 12, 31).GetTm(tm, 60);
    EXPECT_EQ(tm.tm_year * 10000 + tm.tm_mon * 100 + tm.tm_mday, 124 * 10000 + 11 * 100 + 31);
    EXPECT_EQ(tm.tm_hour * 10000 + tm.tm_min * 100 + tm.tm_sec, 133456);
    EXPECT_EQ((tm.tm_wday * 1000 + tm.tm_yday) * tm.tm_isdst, -2365);
    EXPECT_EQ(tm.tm_gmtoff, 3600);

    for (const std::int64_t value : {1700000000123456l, -1l, LEAST}) {
        struct timespec as_spec;
        struct timeval val;
        const CTime time(value);
        CTime of_spec, of_val;
        time.GetTimeSpec(as_spec), of_spec.SetTimeSpec(as_spec);
        time.GetTimeVal(val), of_val.SetTimeVal(val);
        EXPECT_TRUE(as_spec.tv_nsec == val.tv_usec * 1000 && of_spec == time && of_val == time) << value;
    }
    using namespace std::chrono;
    const CTime time = on(2024, 12, 31);
    EXPECT_EQ(time.ToChrono(), sys_days(2024y / 12 / 31) + 12h + 34min + 56s + 789012us);
    EXPECT_EQ(CTime(system_clock::time_point(time.ToChrono()) + 999ns), time);
    EXPECT_EQ(CTime(system_clock::time_point(-1ns)).GetValue(), -1) << "towards the past";
    EXPECT_EQ((time + 90min - time).ToChrono(), 5400s);
    static_assert(!std::is_convertible_v<nanoseconds, CTimeSpan>);

    CTime back;
    back.SetFileTime(on(1500, 1, 1).GetFileTime(-330), -330);
    EXPECT_EQ(back, on(1500, 1, 1));
    EXPECT_EQ(CTime(0).GetFileTime(60) - CTime(0).GetFileTime(0), 36000000000);
    EXPECT_EQ(CTime(0).GetFileTime(0), 116444736000000000);
    EXPECT_EQ(CTime(LEAST).GetFileTime(-1), 116444735400000000);
}

TEST(time_clock, runs) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    const CTime before(now.tv_sec * US_PER_SECOND + now.tv_usec);
    EXPECT_LE(before, CTime::GetCurrent());
    EXPECT_LT(CTime::GetCurrent() - before, CTimeSpan(US_PER_MINUTE));
    std::uint64_t ticks = 0;
    CTime::GetTickMs(&ticks);
    EXPECT_LT(CTime::GetTickMs() - ticks, 60000u);
}

// The value is none that a clock can be set to, and setting it may be forbidden altogether.
TEST(time_clock, refused) {
    const auto text = [](int error) {
        return "SetSysTime - system error, failed set system time\n"
               "             may be out of range\n"
               "  microseconds since unix epoch = -1\n"
               "  system error                  = " +
               std::to_string(error) + "\n  system error description      = " + std::strerror(error);
    };
    const auto set = [] { CTime::SetSysTime(CTime(-1)); };
    using testing_support::fails_with;
    if (fails_with<timeExp>(set, time_code::clock_refused, text(EPERM))) return;
    EXPECT_TRUE(fails_with<timeExp>(set, time_code::clock_refused, text(EINVAL)));
}

// Dates against the calendar of <chrono>, which shares nothing with the library's and is carried over the whole
// range of 64 bits by its period of 400 years.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <random>

#include "orlo/time/time.h"
#include "support/expect_throw.h"

using namespace Orlo;

namespace {

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t CYCLE_DAYS = 146097;

/// Year, counted astronomically (0 comes before 1), month, day and day of the year.
using date = std::array<std::int64_t, 4>;

std::int64_t floor_div(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

date chrono_date(std::int64_t days) {
    using namespace std::chrono;
    const std::int64_t cycle = floor_div(days, CYCLE_DAYS);
    const sys_days day{std::chrono::days(static_cast<int>(days - cycle * CYCLE_DAYS))};
    const year_month_day ymd(day);
    const auto of_year = (day - sys_days(ymd.year() / January / 1)).count() + 1;
    return {int(ymd.year()) + cycle * 400, unsigned(ymd.month()), unsigned(ymd.day()), of_year};
}

std::int64_t chrono_day(std::int64_t year, int month, int day) {
    using namespace std::chrono;
    const std::int64_t cycle = floor_div(year, 400);
    const sys_days first = std::chrono::year(static_cast<int>(year - cycle * 400)) / month / 1;
    return first.time_since_epoch().count() + cycle * CYCLE_DAYS + day - 1;
}

/// Astronomical years, modulo 400, whose 31 December reads as a second 30 December in the remote past.
constexpr int REPEATING[] = {36, 40, 44, 48, 52, 56, 60, 64, 68,  72,  76,  80,  84,  88,  92,  96,
                             69, 73, 77, 81, 85, 89, 93, 97, 168, 172, 176, 180, 184, 188, 192, 196};

/// What a day reads as, and whether that is no oddity.
std::pair<date, bool> expected_date(std::int64_t days) {
    const date d = chrono_date(days);
    const std::int64_t year = d[0] - floor_div(d[0], 400) * 400;
    if (d[0] >= 1) return {d, true};
    if (year != 0 && year % 100 == 0) return {chrono_date(days + 1), false};
    const bool repeats = d[1] == 12 && d[2] == 31 && std::ranges::count(REPEATING, year) != 0;
    return {repeats ? date{d[0], 12, 30, 364} : d, !repeats};
}

date read_date(const TIME_FIELDS& f) {
    return {f.year < 0 ? f.year + 1 : f.year, f.month, f.day, f.dayOfYear};
}

/// The sum modulo 2 to the 64th.
std::int64_t wrapped_sum(std::uint64_t a, std::uint64_t b) {
    return static_cast<std::int64_t>(a + b);
}

/// Decodes one value and checks every field, and that encoding gives it back where the date is no oddity.
void check_value(std::int64_t value, std::int16_t zone) {
    TIME_FIELDS f;
    const std::int64_t seconds = CTime(value).Decode(f, zone);
    const std::int64_t local = wrapped_sum(static_cast<std::uint64_t>(value),
                                           static_cast<std::uint64_t>(zone * std::int64_t{60000000}));
    const std::int64_t days = floor_div(local, US_PER_DAY);
    const std::int64_t time = (local % US_PER_DAY + US_PER_DAY) % US_PER_DAY;
    const std::int64_t fields_time =
        ((f.hour * 60 + f.minute) * 60 + f.second) * std::int64_t{1000000} + f.microsecond;

    const auto [expected, regular] = expected_date(days);
    ASSERT_EQ(read_date(f), expected) << value << " in " << zone;
    ASSERT_EQ(fields_time, time) << value << " in " << zone;
    ASSERT_EQ(CTime::IsLeapYear(f.year),
              std::chrono::year(static_cast<int>(read_date(f)[0] % 400)).is_leap());
    ASSERT_TRUE(f.year != 0 && f.hour < 24 && f.minute < 60 && f.second < 60 && f.microsecond < 1000000);
    ASSERT_TRUE(seconds == time / 1000000 && f.timeZone == zone && f.weekDay == ((days + 4) % 7 + 7) % 7);
    const CTime back = CTime().Set(f.year, f.month, f.day, f.hour, f.minute, f.second, f.microsecond, zone);
    ASSERT_TRUE(!regular || back == CTime(value)) << value << " in " << zone;
}

}  // namespace

TEST(calendar, agrees_with_chrono_on_every_day_of_28_centuries) {
    std::mt19937_64 random(4);
    const std::int64_t end = chrono_day(2401, 1, 1);
    for (std::int64_t days = chrono_day(-400, 1, 1); days < end; ++days) {
        const auto time = static_cast<std::int64_t>(days % 2 == 0 ? 0 : random() % US_PER_DAY);
        ASSERT_NO_FATAL_FAILURE(check_value(days * US_PER_DAY + time, 0));
    }
}

TEST(calendar, agrees_with_chrono_over_the_whole_range_in_any_zone) {
    for (const std::int64_t value : {LEAST, LEAST + 1, MOST, MOST - 1, std::int64_t{0}, std::int64_t{-1}}) {
        for (const std::int16_t zone : {0, 480, -330, 32767, -32767})
            ASSERT_NO_FATAL_FAILURE(check_value(value, zone));
    }
    std::mt19937_64 random(11);
    for (int i = 0; i < 300000; ++i) {
        const auto value = static_cast<std::int64_t>(random()) >> random() % 24;
        const auto zone = static_cast<std::int16_t>(random() % 65535 - 32767);
        ASSERT_NO_FATAL_FAILURE(check_value(value, zone));
    }
}

TEST(calendar, any_date_encodes_and_wraps_around_both_ends) {
    std::mt19937_64 random(12);
    const auto any = [&] { return static_cast<std::uint16_t>(random()); };
    for (int i = 0; i < 200000; ++i) {
        const auto year = static_cast<std::int32_t>(random() | 1) >> random() % 24 | 1;
        const auto month = static_cast<int>(random() % 12 + 1);
        const std::uint16_t day = any(), hour = any(), minute = any(), second = any();
        const auto microsecond = static_cast<std::uint32_t>(random());
        const auto zone = static_cast<std::int16_t>(any() % 65535 - 32767);

        const std::int64_t days = chrono_day(year < 0 ? std::int64_t{year} + 1 : year, month, day);
        const std::int64_t minutes =
            static_cast<std::int32_t>(days) * std::int64_t{1440} + hour * 60 + minute - zone;
        ASSERT_EQ(CTime().Set(year, month, day, hour, minute, second, microsecond, zone).GetValue(),
                  wrapped_sum(static_cast<std::uint64_t>(minutes * 60 + second) * 1000000, microsecond))
            << year << "-" << month << "-" << day;
    }
}

// Year 0 is reckoned as 365 days before year 1, with a 29 February if the current year has one.
TEST(calendar, year_0_is_accepted_and_never_read) {
    TIME_FIELDS f;
    EXPECT_EQ(CTime().Set(0, 1, 1, 0, 0, 0, 0, 0).GetValue(), -719527 * US_PER_DAY);
    CTime(-719527 * US_PER_DAY).Decode(f, 0);
    EXPECT_EQ(read_date(f), (date{0, 1, 2, 2}));

    const bool leap = CTime::IsLeapYear(CTime::GetCurrent().GetYear());
    EXPECT_EQ(CTime::IsLeapYear(0), leap);
    EXPECT_EQ(CTime().Set(0, 3, 1, 0, 0, 0, 0, 0).GetValue(), (-719527 + 59 + (leap ? 1 : 0)) * US_PER_DAY);
}

TEST(calendar, only_the_month_is_checked) {
    const auto day_of = [](std::int32_t month, std::uint16_t day) {
        return CTime().Set(2023, month, day, 25, 0, 0, 0, 0).GetValue() / US_PER_DAY;
    };
    EXPECT_EQ(day_of(1, 32), chrono_day(2023, 2, 1) + 1);
    EXPECT_EQ(day_of(2, 29), chrono_day(2023, 3, 1) + 1);
    EXPECT_EQ(day_of(3, 0), chrono_day(2023, 2, 28) + 1);
    CTime time(77);
    for (const std::int32_t month : {0, 13, -1, std::numeric_limits<std::int32_t>::min()}) {
        const char* const text = "CTime::Set - invalid month value";
        EXPECT_FAILURE(time.Set(2023, month, 1, 0, 0, 0, 0, 0), timeExp, time_code::bad_month, text);
        EXPECT_FAILURE(time.SetDate(2023, month, 1, 0), timeExp, time_code::bad_month, text);
        EXPECT_FAILURE(time.SetMonth(month, 0), timeExp, time_code::bad_month,
                       "CTime::SetMonth - invalid month value");
        EXPECT_FAILURE(CTime::GetNumOfDays(month), timeExp, time_code::bad_month,
                       "CTime::GetNumOfDays - invalid month value");
    }
    EXPECT_EQ(time.GetValue(), 77);
}

// Zones and names as text, and the local zone.

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "orlo/strings/environment.h"
#include "orlo/time/time.h"
#include "support/expect_throw.h"

using namespace Orlo;

namespace {

std::wstring widened(std::string_view text) {
    return std::wstring(text.begin(), text.end());
}

using number_row = std::pair<std::string_view, std::int32_t>;

}  // namespace

TEST(time_names, week_days) {
    const number_row rows[] = {{" Sunday ", 0}, {"7", 0},           {"SAT", 6},
                               {"6", 6},        {"\twednesday", 3}, {"7abc", 0}};
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(CTime::StrToWeekDay(text), static_cast<std::uint32_t>(expected)) << text;
    std::string all;
    for (std::int32_t i = 0; i < 7; ++i) {
        all += CTime::WeekDayToStr(i).view();
        EXPECT_EQ(CTime::StrToWeekDay(CTime::WeekDayToStr<wstringEx>(i)), static_cast<std::uint32_t>(i));
    }
    EXPECT_EQ(all, "SunMonTueWedThuFriSat");
    for (const std::string_view text : {"0", "8", "", "Wednes", "-1"}) {
        const std::string message = "CTime::StrToWeekDay - Unknown Weekday : " + std::string(text);
        EXPECT_FAILURE(CTime::StrToWeekDay(text), timeExp, time_code::bad_value, message);
        EXPECT_FAILURE(CTime::StrToWeekDay(widened(text)), timeExp, time_code::bad_value, message);
    }
    EXPECT_FAILURE(CTime::WeekDayToStr(7), timeExp, time_code::bad_value,
                   "CTime::WeekDayToStr - Unknown Weekday : 7");
    EXPECT_FAILURE(CTime::WeekDayToStr(-1), timeExp, time_code::bad_value,
                   "CTime::WeekDayToStr - Unknown Weekday : -1");
}

TEST(time_names, months) {
    const number_row rows[] = {{"january", 1}, {"MAY", 5}, {"12", 12}, {" 09 ", 9}, {"December\n", 12}};
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(CTime::StrToMonth(text), expected) << text;
    std::string all;
    for (std::int32_t i = 1; i <= 12; ++i) {
        all += CTime::MonthToStr(i).view();
        EXPECT_EQ(CTime::StrToMonth(CTime::MonthToStr<wstringEx>(i)), i);
    }
    EXPECT_EQ(all, "JanFebMarAprMayJunJulAugSepOctNovDec");
    EXPECT_FAILURE(CTime::MonthToStr(0), timeExp, time_code::bad_value,
                   "CTime::MonthToStr - Unknown Month : 0");
    EXPECT_FAILURE(CTime::StrToMonth(" Sept "), timeExp, time_code::bad_value,
                   "CTime::StrToMonth - Unknown Month :  Sept ");
    EXPECT_FAILURE(CTime::StrToMonth(L"J\u00e4n\u20ac\xD800"), timeExp, time_code::bad_value,
                   "CTime::StrToMonth - Unknown Month : J\u00e4n\u20ac\uFFFD");
}

TEST(time_zone, from_text) {
    const number_row rows[] = {
        {"", TZ_LOCAL}, {"  ", TZ_LOCAL}, {"foo", TZ_LOCAL}, {":30", TZ_LOCAL},   {"U", TZ_LOCAL},
        {"UTC", 0},     {"utc+8", 480},   {"+0800", 480},    {"GMT-05:30", -330}, {"0530", 330},
        {" ut1 ", 60},  {"cut", 0},       {"TAI-1", -60},    {"notz+5", 0},       {"+", 0},
        {"UTC-", 0},    {"UTC +8", 0},    {"+x:30", 0},      {"UTx", 0},          {"-5:", -300},
        {"+5:7", 307},  {"+5x7", 300},    {"+5x:07", 307},   {"99999", 6039},     {"-9999", -6039},
        {"8:", 480},    {"08::30", 480},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(CTime::StrToTimeZone(text), expected) << text;
        EXPECT_EQ(CTime::StrToTimeZone(widened(text)), expected) << text;
    }
}

TEST(time_zone, to_text) {
    const number_row rows[] = {{"Local", TZ_LOCAL}, {"UTC", 0},      {"UTC+0800", 480},
                               {"UTC-0530", -330},  {"UTC+0001", 1}, {"UTC-54607", -32767}};
    for (const auto& [expected, minutes] : rows) {
        const auto zone = static_cast<std::int16_t>(minutes);
        EXPECT_EQ(CTime::TimeZoneToStr(zone), stringEx(expected));
        EXPECT_EQ(CTime::TimeZoneToStr<wstringEx>(zone), wstringEx(widened(expected)));
    }
}

TEST(time_zone, local_is_read_once_until_asked_again) {
    const stringEx before = GetEnv("TZ");
    SetEnv("TZ", "XXX-5:30YYY");  // has daylight-saving time, which does not count
    CTime::RefreshLocalTimeZone();
    SetEnv("TZ", "XXX8");
    EXPECT_TRUE(CTime::GetLocalTimeZone() == 330 && CTime(0).GetHour() == 5);
    CTime::RefreshLocalTimeZone();
    EXPECT_EQ(CTime::GetLocalTimeZone(), -480);
    CTime::SetLocalTimeZone(-90);
    TIME_FIELDS fields;
    CTime(0).Decode(fields);
    EXPECT_TRUE(fields.timeZone == -90 && CTime(0).GetHour(TZ_LOCAL) == 1);

    // each thread changes TZ while the other reads it
    const auto change = [](const char* zone) {
        for (int i = 0; i < 300; ++i) {
            SetEnv("TZ", zone);
            CTime::RefreshLocalTimeZone();
            const std::int32_t minutes = CTime::GetLocalTimeZone();
            EXPECT_TRUE(minutes == 60 || minutes == -120 || minutes == -90) << minutes;
        }
    };
    std::thread east(change, "XXX-1"), west(change, "XXX2");
    east.join();
    west.join();

    before.empty() ? UnsetEnv("TZ") : SetEnv("TZ", before);
    CTime::SetLocalTimeZone(0);
}

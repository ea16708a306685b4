#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "orlo/time/time.h"

namespace Orlo {
namespace {

constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

/// The narrow text, which the wide one must equal.
template <class Value, class... Zone>
std::string in_both(const Value& value, std::string_view format, Zone... zone) {
    stringEx narrow("<");
    wstringEx wide(L"<");
    value.ToStr(narrow, format, zone...);
    value.ToStr(wide, std::wstring(format.begin(), format.end()), zone...);
    EXPECT_EQ(std::wstring(narrow.begin(), narrow.end()), std::wstring(wide.view()));
    return std::string(narrow.view().substr(1));
}

struct time_row {
    std::string_view format;
    CTime time;
    std::int16_t zone;
    std::string_view wanted;
};

CTime at(std::int32_t year, std::int32_t month, std::uint16_t day, std::uint16_t hour) {
    return CTime().Set(year, month, day, hour, 8, 9, 12345, 0);
}

TEST(time_text, of_times) {
    const CTime t = at(2024, 3, 5, 7);
    const time_row rows[] = {
        {"%Y-%M-%d %H:%T:%S.%ms", t, 0, "2024-03-05 07:08:09.012"},
        {"[%Y-%M-%d %H:%T:%S.%us UTC%Z][", t, 480, "[2024-03-05 15:08:09.012345 UTC+0800]["},
        {"%y %A %D %W %B %wm %ws %C", t, 0, "24 Mar 065 2 Tue 10 09 21"},
        {"%h%P %h%p", at(2024, 3, 5, 0), 0, "12AM 12am"},
        {"%h%P %h%p", at(2024, 3, 5, 12), 0, "12PM 12pm"},
        {"%h%P %h%p", at(2024, 3, 5, 13), 0, "1PM 1pm"},
        {"%W %B", at(2024, 3, 3, 13), 0, "7 Sun"},
        {"%Z %z", t, -330, "-0530 -330"},
        {"%Z %z", t, 0, "+0000 0"},
        {"%y %y %Y", at(1969, 3, 5, 7), 0, "1969 1969 1969"},
        {"%y", at(1970, 3, 5, 7), 0, "70"},
        {"%y", at(2038, 3, 5, 7), 0, "38"},
        {"%y", at(2039, 3, 5, 7), 0, "2039"},
        {"%Y %y %C", at(-44, 3, 15, 7), 0, "-44 -44 -1"},
        {"%Y %y", at(5, 3, 15, 7), 0, "5 05"},
        {"%Y", CTime(LEAST), 0, "-290309"},
        {"%Q", t, 0, "Q"},
        {"%m %u %w %wx", t, 0, "m u w wx"},
        {"100%%", t, 0, "100%"},
        {"%%Y%Y%", t, 0, "%Y2024"},
        {"%\x7f", t, 0, "\x7f"},
        {"", t, 0, ""},
        {"no mark", t, 0, "no mark"},
    };
    for (const time_row& row : rows)
        EXPECT_EQ(in_both(row.time, row.format, row.zone), row.wanted) << row.format;
}

TEST(time_text, odd_formats) {
    stringEx text("%H%%");
    at(2024, 3, 5, 7).ToStr(text, text, 0);
    EXPECT_EQ(text, "%H%%07%");

    text.clear();
    wstringEx wide;
    CTime().ToStr(text, "%\xff%\x80");
    CTime().ToStr(wide, L"%\u20ac%\U0001F600");
    EXPECT_EQ(text, "\xff\x80");
    EXPECT_EQ(wide, L"\u20ac\U0001F600");
}

// However much ordinary text stands between two escapes, and wherever a command's own room ends.
TEST(time_text, long_formats) {
    for (std::size_t n = 0; n < 150; ++n) {
        const std::string text(n, 'x');
        EXPECT_EQ(in_both(at(2024, 3, 5, 7), "%H" + text + "%us%Q%%%Y%", 0), "07" + text + "012345Q%2024");
    }
}

struct span_row {
    std::string_view format;
    CTimeSpan span;
    std::string_view wanted;
};

TEST(time_text, of_spans) {
    const CTimeSpan span = CTimeSpan().Set(1, 2, 3, 4, 5);
    const CTimeSpan days = CTimeSpan().Set(16, 5, 6, 7, 8, 9);
    const span_row rows[] = {
        {"%TD Days %PH:%PM:%PS.%Pms", span, "1 Days 02:03:04.005"},
        {"%TD Days %PH:%PM:%PS.%Pms", -span, "1 Days 02:03:04.005"},
        {"%W %TD %PD %TH %sTH %PH", days, "2 16 2 389 389 05"},
        {"%TM %PM %TS %PS", days, "23346 06 1400767 07"},
        {"%Tms %Pms %Tus %Pus", days, "1400767008 008 1400767008009 009"},
        {"%TH %sTH", CTimeSpan().Set(0, 5), "05 5"},
        {"%TH %sTH", CTimeSpan(), "00 0"},
        {"%TH %sTH", CTimeSpan().Set(0, 123), "123 123"},
        {"%T %P %sT %s %%%", days, "T P sT s %"},
        {"%Tus %TD", CTimeSpan(LEAST), "9223372036854775808 106751991"},
    };
    for (const span_row& row : rows)
        EXPECT_EQ(in_both(row.span, row.format), row.wanted) << row.format;
}

}  // namespace
}  // namespace Orlo

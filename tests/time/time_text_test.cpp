#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "orlo/time/time.h"

using namespace Orlo;

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

CTime at(std::int32_t year, std::int32_t month, std::uint16_t day, std::uint16_t hour) {
    return CTime().Set(year, month, day, hour, 8, 9, 12345, 0);
}

}  // namespace

TEST(time_text, of_times) {
    const CTime t = at(2024, 3, 5, 7), sunday = at(2024, 3, 3, 13);
    const struct {
        std::string_view format;
        CTime time;
        std::int16_t zone;
        std::string_view wanted;
    } rows[] = {
        {"%Y-%M-%d %H:%T:%S.%ms", t, 0, "2024-03-05 07:08:09.012"},
        {"[%Y-%M-%d %H:%T:%S.%us UTC%Z][", t, 480, "[2024-03-05 15:08:09.012345 UTC+0800]["},
        {"%y %A %D %W %B %wm %ws %C", t, 0, "24 Mar 065 2 Tue 10 09 21"},
        {"%Y %y %C", at(-44, 3, 15, 7), 0, "-44 -44 -1"},
        {"%m %u %w %wx %Q 100%% %%Y%Y%", t, 0, "m u w wx Q 100% %Y2024"},
        {"%W %B %h%P %h%p", sunday, 0, "7 Sun 1PM 1pm"},
    };
    for (const auto& [format, time, zone, wanted] : rows)
        EXPECT_EQ(in_both(time, format, zone), wanted) << format;
    const struct {
        std::string_view format;
        CTime time;
        std::string_view wanted;
    } short_rows[] = {
        {"%h%P %h%p", at(2024, 3, 5, 0), "12AM 12am"},
        {"%h%P %h%p", at(2024, 3, 5, 12), "12PM 12pm"},
        {"%y %Y", at(1969, 3, 5, 7), "1969 1969"},
        {"%y", at(1970, 3, 5, 7), "70"},
        {"%y", at(2038, 3, 5, 7), "38"},
        {"%y", at(2039, 3, 5, 7), "2039"},
        {"%Y %y", at(5, 3, 15, 7), "5 05"},
        {"%Y", CTime(LEAST), "-290309"},
        {"%\x7f", t, "\x7f"},
        {"", t, ""},
        {"no mark", t, "no mark"},
    };
    for (const auto& [format, time, wanted] : short_rows)
        EXPECT_EQ(in_both(time, format, std::int16_t{0}), wanted) << format;
    EXPECT_EQ(in_both(t, "%Z %z", std::int16_t{-330}) + in_both(t, " %Z %z", std::int16_t{0}),
              "-0530 -330 +0000 0");
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

TEST(time_text, of_spans) {
    const CTimeSpan span = CTimeSpan().Set(1, 2, 3, 4, 5);
    const CTimeSpan days = CTimeSpan().Set(16, 5, 6, 7, 8, 9);
    const struct {
        std::string_view format;
        CTimeSpan span;
        std::string_view wanted;
    } rows[] = {
        {"%TD Days %PH:%PM:%PS.%Pms", span, "1 Days 02:03:04.005"},
        {"%TD Days %PH:%PM:%PS.%Pms", -span, "1 Days 02:03:04.005"},
        {"%W %TD %PD %TH %sTH %PH", days, "2 16 2 389 389 05"},
        {"%TM %PM %TS %PS", days, "23346 06 1400767 07"},
        {"%Tms %Pms %Tus %Pus", days, "1400767008 008 1400767008009 009"},
        {"%T %P %sT %s %%% %TH %sTH", CTimeSpan().Set(0, 5), "T P sT s % 05 5"},
        {"%TH %sTH", CTimeSpan().Set(0, 123), "123 123"},
        {"%Tus %TD", CTimeSpan(LEAST), "9223372036854775808 106751991"},
    };
    for (const auto& [format, value, wanted] : rows)
        EXPECT_EQ(in_both(value, format), wanted) << format;
}

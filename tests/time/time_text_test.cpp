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
    const CTime t = at(2024, 3, 5, 7);
    EXPECT_EQ(in_both(t, "%Y-%M-%d %H:%T:%S.%ms", 0), "2024-03-05 07:08:09.012");
    EXPECT_EQ(in_both(t, "[%Y-%M-%d %H:%T:%S.%us UTC%Z][", 480), "[2024-03-05 15:08:09.012345 UTC+0800][");
    EXPECT_EQ(in_both(t, "%y %A %D %W %B %wm %ws %C", 0), "24 Mar 065 2 Tue 10 09 21");
    EXPECT_EQ(in_both(t, "%m %u %w %wx %Q 100%% %%Y%Y%", 0), "m u w wx Q 100% %Y2024");
    EXPECT_EQ(in_both(t, "%Z %z", -330), "-0530 -330");
    EXPECT_EQ(in_both(t, "%Z %z no mark", 0), "+0000 0 no mark");
    EXPECT_EQ(in_both(t, "%\x7f", 0) + in_both(t, "", 0), "\x7f");
    EXPECT_EQ(in_both(at(2024, 3, 3, 13), "%W %B %h%P %h%p", 0), "7 Sun 1PM 1pm");
    EXPECT_EQ(in_both(at(2024, 3, 5, 0), "%h%P %h%p", 0), "12AM 12am");
    EXPECT_EQ(in_both(at(2024, 3, 5, 12), "%h%P %h%p", 0), "12PM 12pm");
    EXPECT_EQ(in_both(at(-44, 3, 15, 7), "%Y %y %C", 0), "-44 -44 -1");
    EXPECT_EQ(in_both(CTime(LEAST), "%Y", 0), "-290309");
    for (const auto& [year, expected] :
         {std::pair(5, "05"), {-5, "-5"}, {1969, "1969"}, {1970, "70"}, {2038, "38"}, {2039, "2039"}})
        EXPECT_EQ(in_both(at(year, 3, 5, 7), "%y", 0), expected);
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
        std::string text(n, 'x');
        for (int i = 0; i < 60; ++i)
            text += "-Y";
        EXPECT_EQ(in_both(at(2024, 3, 5, 7), "%H" + text + "%us%Q%%%Y%", 0), "07" + text + "012345Q%2024");
    }
}

TEST(time_text, of_spans) {
    const CTimeSpan span = CTimeSpan().Set(1, 2, 3, 4, 5), days = CTimeSpan().Set(16, 5, 6, 7, 8, 9);
    EXPECT_EQ(in_both(span, "%TD Days %PH:%PM:%PS.%Pms"), "1 Days 02:03:04.005");
    EXPECT_EQ(in_both(-span, "%TD Days %PH:%PM:%PS.%Pms"), "1 Days 02:03:04.005");
    EXPECT_EQ(in_both(days, "%W %TD %PD %TH %sTH %PH"), "2 16 2 389 389 05");
    EXPECT_EQ(in_both(days, "%TM %PM %TS %PS"), "23346 06 1400767 07");
    EXPECT_EQ(in_both(days, "%Tms %Pms %Tus %Pus"), "1400767008 008 1400767008009 009");
    EXPECT_EQ(in_both(CTimeSpan().Set(0, 5), "%T %P %sT %s %%% %TH %sTH"), "T P sT s % 05 5");
    EXPECT_EQ(in_both(CTimeSpan().Set(0, 123), "%TH %sTH"), "123 123");
    EXPECT_EQ(in_both(CTimeSpan(LEAST), "%Tus %TD"), "9223372036854775808 106751991");
    for (const std::int64_t value : {4294967295l, 4294967296l, 999999999l, 1000000000l, 10l})
        EXPECT_EQ(in_both(CTimeSpan(value), "%Tus"), std::to_string(value));
}

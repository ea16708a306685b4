// Names of week days and months, in English, whatever the locale.

#include <array>

#include "orlo/time/time.h"
#include "strings/failure.h"
#include "strings/literal.h"
#include "strings/utf8.h"

namespace Orlo {
namespace {

constexpr failure<timeExp> WEEK_DAY_NUMBER = {
    {.code = time_code::bad_value, .head = "CTime::WeekDayToStr - Unknown Weekday : ", .keys = {""}}};
constexpr failure<timeExp> MONTH_NUMBER = {
    {.code = time_code::bad_value, .head = "CTime::MonthToStr - Unknown Month : ", .keys = {""}}};
constexpr failure<timeExp> WEEK_DAY_TEXT = {
    {.code = time_code::bad_value, .head = "CTime::StrToWeekDay - Unknown Weekday : ", .keys = {""}}};
constexpr failure<timeExp> MONTH_TEXT = {
    {.code = time_code::bad_value, .head = "CTime::StrToMonth - Unknown Month : ", .keys = {""}}};

/// A name as it is shown, and in full as it is read; its first three letters are read too.
template <class T>
struct name_pair {
    std::basic_string_view<T> shown;
    std::basic_string_view<T> full;
};

#define ORLO_NAME(shown, full) \
    { ORLO_LITERAL(T, shown), ORLO_LITERAL(T, full) }

/// From 1, Monday, to 7, Sunday.
template <class T>
constexpr std::array<name_pair<T>, 7> WEEK_DAYS = {{
    ORLO_NAME("Mon", "monday"),
    ORLO_NAME("Tue", "tuesday"),
    ORLO_NAME("Wed", "wednesday"),
    ORLO_NAME("Thu", "thursday"),
    ORLO_NAME("Fri", "friday"),
    ORLO_NAME("Sat", "saturday"),
    ORLO_NAME("Sun", "sunday"),
}};

template <class T>
constexpr std::array<name_pair<T>, 12> MONTHS = {{
    ORLO_NAME("Jan", "january"),
    ORLO_NAME("Feb", "february"),
    ORLO_NAME("Mar", "march"),
    ORLO_NAME("Apr", "april"),
    ORLO_NAME("May", "may"),
    ORLO_NAME("Jun", "june"),
    ORLO_NAME("Jul", "july"),
    ORLO_NAME("Aug", "august"),
    ORLO_NAME("Sep", "september"),
    ORLO_NAME("Oct", "october"),
    ORLO_NAME("Nov", "november"),
    ORLO_NAME("Dec", "december"),
}};

#undef ORLO_NAME

/// The place in `names`, from 1, that a text tells by its number or its name; 0 for none.
template <class T, std::size_t N>
std::size_t find_name(const std::array<name_pair<T>, N>& names, std::basic_string_view<T> original) {
    basic_buffer<T> text(original);
    text.trim();
    text.to_lower();
    const std::int64_t number = parse_int64(text);
    if (number >= 1 && number <= static_cast<std::int64_t>(N)) return static_cast<std::size_t>(number);
    for (std::size_t i = 0; i < N; ++i) {
        if (text.view() == names[i].full || text.view() == names[i].full.substr(0, 3)) return i + 1;
    }
    return 0;
}

std::string_view as_narrow(std::string_view text) {
    return text;
}

stringEx as_narrow(std::wstring_view text) {
    return IMPL::wide_to_utf8(text);
}

template <class T>
std::uint32_t week_day_named(std::basic_string_view<T> text) {
    const std::size_t found = find_name(WEEK_DAYS<T>, text);
    if (found == 0) WEEK_DAY_TEXT.raise({as_narrow(text)});
    return static_cast<std::uint32_t>(found % 7);
}

template <class T>
std::int32_t month_named(std::basic_string_view<T> text) {
    const std::size_t found = find_name(MONTHS<T>, text);
    if (found == 0) MONTH_TEXT.raise({as_narrow(text)});
    return static_cast<std::int32_t>(found);
}

}  // namespace

template <class S>
S CTime::WeekDayToStr(std::int32_t weekDay) {
    if (weekDay < 0 || weekDay > 6) WEEK_DAY_NUMBER.raise({weekDay});
    return S::borrow(WEEK_DAYS<typename S::value_type>[static_cast<std::size_t>(weekDay + 6) % 7].shown);
}

template <class S>
S CTime::MonthToStr(std::int32_t month) {
    if (month < 1 || month > 12) MONTH_NUMBER.raise({month});
    return S::borrow(MONTHS<typename S::value_type>[static_cast<std::size_t>(month - 1)].shown);
}

template ORLO_API stringEx CTime::WeekDayToStr(std::int32_t);
template ORLO_API wstringEx CTime::WeekDayToStr(std::int32_t);
template ORLO_API stringEx CTime::MonthToStr(std::int32_t);
template ORLO_API wstringEx CTime::MonthToStr(std::int32_t);

std::uint32_t CTime::StrToWeekDay(std::string_view text) {
    return week_day_named(text);
}

std::uint32_t CTime::StrToWeekDay(std::wstring_view text) {
    return week_day_named(text);
}

std::int32_t CTime::StrToMonth(std::string_view text) {
    return month_named(text);
}

std::int32_t CTime::StrToMonth(std::wstring_view text) {
    return month_named(text);
}

}  // namespace Orlo

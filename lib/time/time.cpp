// Times taken apart, put together and read. The calendar itself is in calendar.cpp.
//
// A time before the epoch is taken apart by the floor: -1 us is 1969-12-31 23:59:59.999999, and its midnights
// have hour 0. The cheap readings and the setters of second and microsecond truncate towards zero instead and
// so mirror such a time. That has to stay: log files and file names were written by it.

#include "orlo/time/time.h"

#include <algorithm>

#include "strings/failure.h"
#include "time/calendar.h"
#include "time/zone.h"

namespace Orlo {

using IMPL::wrap_add;
using IMPL::wrap_mul;
using IMPL::wrap_sub;

namespace {

constexpr failure<timeExp> DAYS_MONTH = {
    {.code = time_code::bad_month, .head = "CTime::GetNumOfDays - invalid month value"}};
constexpr failure<timeExp> SET_MONTH_OF_DATE = {
    {.code = time_code::bad_month, .head = "CTime::Set - invalid month value"}};
constexpr failure<timeExp> SET_MONTH = {
    {.code = time_code::bad_month, .head = "CTime::SetMonth - invalid month value"}};
constexpr failure<timeExp> SET_DAY_OF_YEAR = {{
    .code = time_code::bad_value,
    .head = "CTime::SetDayOfYear - Invalid day of year\n",
    .keys = {"  current obj's year          = ", "  current timezone in minutes = ",
             "  the day of year value       = "},
}};

TIME_FIELDS decoded(const CTime& time, std::int16_t zone) {
    TIME_FIELDS fields;
    time.Decode(fields, zone);
    return fields;
}

/// A unit of the time of day as it is read without a decode: counted after midnight from the epoch on, and
/// before midnight ahead of it.
std::uint32_t read_mirrored(std::int64_t time, std::int64_t larger, std::int64_t unit) noexcept {
    const std::int64_t rest = time % larger;
    return static_cast<std::uint32_t>((rest < 0 ? -rest : rest) / unit);
}

}  // namespace

bool CTime::IsLeapYear(std::int32_t year) {
    return IMPL::is_leap_year(year != 0 ? year : GetCurrent().GetYear());
}

std::uint32_t CTime::GetNumOfDays(std::int32_t month, std::int32_t year) {
    if (!IMPL::is_month(month)) DAYS_MONTH.raise();
    return IMPL::month_length(month, IsLeapYear(year));
}

std::int64_t CTime::Decode(TIME_FIELDS& fields, std::int16_t zone) const {
    const std::int16_t minutes = IMPL::resolve_zone(zone);
    const std::int64_t local = wrap_add(m_value, minutes * US_PER_MINUTE);
    std::int64_t days = local / US_PER_DAY;
    std::int64_t time = local % US_PER_DAY;
    if (time < 0) {
        --days;
        time += US_PER_DAY;
    }

    const IMPL::calendar_date date = IMPL::date_of_day(days);
    fields.year = date.year;
    fields.month = date.month;
    fields.dayOfYear = static_cast<std::uint16_t>(date.dayOfYear);
    fields.day = static_cast<std::uint16_t>(date.day);
    fields.weekDay = date.weekDay;
    fields.hour = static_cast<std::uint16_t>(time / US_PER_HOUR);
    fields.minute = static_cast<std::uint16_t>(time % US_PER_HOUR / US_PER_MINUTE);
    fields.second = static_cast<std::uint16_t>(time % US_PER_MINUTE / g_usPerSecond);
    fields.microsecond = static_cast<std::uint32_t>(time % g_usPerSecond);
    fields.timeZone = minutes;
    return time / g_usPerSecond;
}

CTime& CTime::Set(std::int32_t year, std::int32_t month, std::uint16_t day, std::uint16_t hour,
                  std::uint16_t minute, std::uint16_t second, std::uint32_t microsecond, std::int16_t zone) {
    if (!IMPL::is_month(month)) SET_MONTH_OF_DATE.raise();
    const std::int64_t time =
        hour * US_PER_HOUR + minute * US_PER_MINUTE + second * g_usPerSecond + microsecond;
    const std::int64_t days = IMPL::day_of_date(year, month, day, IsLeapYear(year));
    m_value = wrap_sub(wrap_add(wrap_mul(days, US_PER_DAY), time), IMPL::zone_offset(zone));
    return *this;
}

void CTime::_Encode(const TIME_FIELDS& fields) {
    Set(fields.year, fields.month, fields.day, fields.hour, fields.minute, fields.second, fields.microsecond,
        fields.timeZone);
}

// --- reading -------------------------------------------------------------------------------------------

std::int32_t CTime::GetYear(std::int16_t zone) const {
    return decoded(*this, zone).year;
}

std::int32_t CTime::GetMonth(std::int16_t zone) const {
    return decoded(*this, zone).month;
}

std::uint16_t CTime::GetDay(std::int16_t zone) const {
    return decoded(*this, zone).day;
}

std::uint16_t CTime::GetDayOfYear(std::int16_t zone) const {
    return decoded(*this, zone).dayOfYear;
}

std::uint32_t CTime::GetDayOfWeek(std::int16_t zone) const {
    return decoded(*this, zone).weekDay;
}

std::int32_t CTime::GetCentury(std::int16_t zone) const {
    return IMPL::century_of(GetYear(zone));
}

std::int32_t CTime::GetQuarter(std::int16_t zone) const {
    return (GetMonth(zone) - 1) / 3 + 1;
}

std::uint32_t CTime::GetHour(std::int16_t zone) const {
    return read_mirrored(wrap_add(m_value, IMPL::zone_offset(zone)), US_PER_DAY, US_PER_HOUR);
}

std::uint32_t CTime::GetMinute(std::int16_t zone) const {
    return read_mirrored(wrap_add(m_value, IMPL::zone_offset(zone)), US_PER_HOUR, US_PER_MINUTE);
}

std::uint32_t CTime::GetSecond() const noexcept {
    return read_mirrored(m_value, US_PER_MINUTE, g_usPerSecond);
}

std::uint32_t CTime::GetMicrosecond() const noexcept {
    const std::int64_t rest = m_value % g_usPerSecond;
    return static_cast<std::uint32_t>(m_value < 0 ? g_usPerSecond - rest : rest);
}

// --- changing a field ----------------------------------------------------------------------------------

void CTime::SetDate(std::int32_t year, std::int32_t month, std::uint16_t day, std::int16_t zone) {
    TIME_FIELDS fields = decoded(*this, zone);
    fields.year = year;
    fields.month = month;
    fields.day = day;
    _Encode(fields);
}

void CTime::SetYear(std::int32_t year, std::int16_t zone) {
    TIME_FIELDS fields = decoded(*this, zone);
    fields.year = year;
    if (fields.month == 2 && fields.day == 29 && !IsLeapYear(year)) fields.day = 28;
    _Encode(fields);
}

void CTime::SetMonth(std::int32_t month, std::int16_t zone) {
    if (!IMPL::is_month(month)) SET_MONTH.raise();
    TIME_FIELDS fields = decoded(*this, zone);
    fields.month = month;
    fields.day = std::min(fields.day, IMPL::month_length(month, IMPL::is_leap_year(fields.year)));
    _Encode(fields);
}

void CTime::SetDay(std::uint16_t day, std::int16_t zone) {
    TIME_FIELDS fields = decoded(*this, zone);
    fields.day = day;
    _Encode(fields);
}

void CTime::SetDayOfYear(std::uint16_t day, std::int16_t zone) {
    const TIME_FIELDS fields = decoded(*this, zone);
    if (day > (IMPL::is_leap_year(fields.year) ? 366 : 365))
        SET_DAY_OF_YEAR.raise({fields.year, fields.timeZone, day});
    *this += CTimeSpan((day - fields.dayOfYear) * US_PER_DAY);
}

void CTime::SetHour(std::uint16_t hour, std::int16_t zone) {
    TIME_FIELDS fields = decoded(*this, zone);
    fields.hour = hour;
    _Encode(fields);
}

void CTime::SetMinute(std::uint16_t minute, std::int16_t zone) {
    TIME_FIELDS fields = decoded(*this, zone);
    fields.minute = minute;
    _Encode(fields);
}

// The microseconds are cleared on purpose: who sets a second means the full one.
void CTime::SetSecond(std::uint16_t second) noexcept {
    m_value = wrap_add(m_value / US_PER_MINUTE * US_PER_MINUTE, second * g_usPerSecond);
}

void CTime::SetMicrosecond(std::uint32_t microsecond) noexcept {
    m_value = wrap_add(m_value / g_usPerSecond * g_usPerSecond, microsecond);
}

}  // namespace Orlo

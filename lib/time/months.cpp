// Months and years as distances.
//
// The distance of two times in months is whole months and a fraction of one. From 20 January to 10 March of a
// common year: one whole month, for the 20th of March is not reached. February, the month before, has 28
// days; k = 28 - 20 + 1 = 9 of them remain from the 20th on. A full step would be these k and the 19 days of
// March before the 20th: the fraction is (10 + 9) / (9 + 19), and the distance 1.679.

#include <algorithm>

#include "orlo/time/time.h"
#include "time/calendar.h"

namespace Orlo {
namespace {

/// Moves the fields on by `count` months. Years are counted through 0.
void move_months(TIME_FIELDS& fields, std::int32_t count) {
    const std::int64_t month = std::int64_t{fields.month} + count;
    if (month >= 1) {
        fields.year += static_cast<std::int32_t>((month - 1) / 12);
        fields.month = static_cast<std::int32_t>((month - 1) % 12 + 1);
    } else {
        fields.year += static_cast<std::int32_t>(month / 12 - 1);
        fields.month = static_cast<std::int32_t>(month % 12 + 12);
    }
}

/// The months from `early` to `late`, which is the later one.
double months_between(const TIME_FIELDS& early, const TIME_FIELDS& late) {
    const bool leap = IMPL::is_leap_year(late.year);
    const std::int32_t length = IMPL::month_length(late.month, leap);
    std::int32_t whole = (late.year - early.year) * 12 + late.month - early.month;
    if (late.day >= early.day) return whole + (late.day - early.day + 1) / double(length);

    --whole;
    const std::int32_t length_before = late.month == 1 ? 31 : IMPL::month_length(late.month - 1, leap);
    const std::int32_t limit = std::min<std::int32_t>(early.day - 1, length);
    if (late.day >= limit) return whole + 1.0;
    const std::int32_t k = length_before > early.day ? length_before - early.day + 1 : 1;
    return whole + (late.day + k) / double(k + limit);
}

}  // namespace

bool CTime::IsSameMonth(CTime other, std::int16_t zone) const {
    TIME_FIELDS a, b;
    Decode(a, zone);
    other.Decode(b, a.timeZone);
    return a.year == b.year && a.month == b.month;
}

bool CTime::IsSameQuarter(CTime other, std::int16_t zone) const {
    TIME_FIELDS a, b;
    Decode(a, zone);
    other.Decode(b, a.timeZone);
    return a.year == b.year && (a.month - 1) / 3 == (b.month - 1) / 3;
}

CTime& CTime::AddYears(std::int32_t count, std::int16_t zone) {
    if (count == 0) return *this;
    TIME_FIELDS fields;
    Decode(fields, zone);
    fields.year = static_cast<std::int32_t>(std::int64_t{fields.year} + count);
    if (fields.month == 2 && fields.day == 29 && !IsLeapYear(fields.year)) fields.day = 28;
    _Encode(fields);
    return *this;
}

CTime& CTime::AddMonths(std::int32_t count, std::int16_t zone) {
    if (count == 0) return *this;
    TIME_FIELDS fields;
    Decode(fields, zone);
    const std::uint16_t old_length = IMPL::month_length(fields.month, IMPL::is_leap_year(fields.year));
    const bool at_end = fields.day == old_length;
    move_months(fields, count);
    const std::uint16_t length = IMPL::month_length(fields.month, IsLeapYear(fields.year));
    if (at_end || fields.day > length) fields.day = length;
    _Encode(fields);
    return *this;
}

double CTime::GetMonthSpan(CTime other, std::int16_t zone) const {
    if (*this == other) return 0.0;
    TIME_FIELDS mine, others;
    Decode(mine, zone);
    other.Decode(others, mine.timeZone);
    return *this > other ? months_between(others, mine) : -months_between(mine, others);
}

}  // namespace Orlo

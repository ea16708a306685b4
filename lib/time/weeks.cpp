// Weeks: where they begin, their numbers, and week days within a month.
//
// All rests on one distance: how many days ago the latest week began. On a Thursday, 2026-01-01, weeks that
// begin on Monday began 3 days ago, and weeks that begin on Friday 6.

#include "orlo/time/time.h"
#include "time/zone.h"

namespace Orlo {
namespace {

/// Days since the latest `first` day of a week.
std::uint32_t days_since(std::uint32_t first, std::uint32_t weekDay) noexcept {
    return (weekDay + 7 - first % 7) % 7;
}

}  // namespace

std::uint32_t CTime::GetWeekOfYear(std::uint32_t firstDay, std::int16_t zone) const {
    TIME_FIELDS fields;
    Decode(fields, zone);
    const std::uint32_t days = days_since(firstDay, fields.weekDay);
    return days >= fields.dayOfYear ? 1 : (fields.dayOfYear - days + 6) / 7;
}

CTime CTime::GetMonthBegin(std::int16_t zone) const {
    TIME_FIELDS fields;
    Decode(fields, zone);
    return CTime().Set(fields.year, fields.month, 1, 0, 0, 0, 0, fields.timeZone);
}

CTime CTime::GetWeekBegin(std::uint32_t weekDay, std::int16_t zone) const {
    TIME_FIELDS fields;
    const std::int64_t seconds = Decode(fields, zone);
    const std::int64_t days = days_since(weekDay, fields.weekDay);
    return *this - CTimeSpan(days * US_PER_DAY + seconds * g_usPerSecond + fields.microsecond);
}

CTime CTime::GetNearestWeekDay(std::uint32_t weekDay, std::int16_t zone) const {
    const std::int16_t resolved = IMPL::resolve_zone(zone);
    const std::int64_t offset = resolved * US_PER_MINUTE;
    const CTime before = GetWeekBegin(weekDay, resolved);
    const CTime after = before + CTimeSpan(US_PER_WEEK);
    // truncated, so that before the epoch the day's end stands for its begin; kept like the mirrored readings
    const std::int64_t local = IMPL::wrap_add(m_value, offset);
    const CTime day(IMPL::wrap_sub(local / US_PER_DAY * US_PER_DAY, offset));
    return after - day > day - before ? before : after;
}

CTime CTime::GetNthWeekDayOfMonth(std::uint16_t n, std::uint32_t weekDay, std::int16_t zone) const {
    const std::int16_t resolved = IMPL::resolve_zone(zone);
    CTime first = GetMonthBegin(resolved);
    if (first.GetDayOfWeek(resolved) != weekDay % 7) {
        first = first.GetWeekBegin(weekDay, resolved) + CTimeSpan(US_PER_WEEK);
    }
    // in 16 bits: n = 0 asks for week 65536, not for one before the month
    return first + CTimeSpan(static_cast<std::uint16_t>(n - 1) * US_PER_WEEK);
}

// The month is the local zone's whatever zone is asked for: clients rely on it.
CTime CTime::GetLastWeekDayOfMonth(std::uint32_t weekDay, std::int16_t zone) const {
    TIME_FIELDS fields;
    Decode(fields, TZ_LOCAL);
    std::int32_t year = fields.year;
    std::int32_t month = fields.month + 1;
    if (month > 12) {
        month = 1;
        year = year == -1 ? 1 : year + 1;
    }
    const CTime next = CTime().Set(year, month, 1, 0, 0, 0, 0, fields.timeZone);
    const CTime found = next.GetWeekBegin(weekDay, zone == TZ_LOCAL ? fields.timeZone : zone);
    return found == next ? found - CTimeSpan(US_PER_WEEK) : found;
}

}  // namespace Orlo

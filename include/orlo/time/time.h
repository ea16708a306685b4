#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <ctime>
#include <string_view>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/time/time_span.h"

struct timeval;

namespace Orlo {

/// The codes of `timeExp`.
namespace time_code {
enum : std::int32_t {
    bad_month = 3,      ///< a month is not 1 to 12
    bad_value = 4,      ///< no day of the year, no week day or month of that number or name
    clock_refused = 8,  ///< the system's clock cannot be set
};
}  // namespace time_code

/// The zone argument that means the process's local zone.
inline constexpr std::int16_t TZ_LOCAL = -32768;

/// Microseconds in a second.
inline constexpr std::int64_t g_usPerSecond = US_PER_SECOND;
/// Microseconds from 1601-01-01 to 1970-01-01: from the start of file times to that of `CTime`.
inline constexpr std::int64_t g_filetimeEpochDelta = 11644473600000000;

/// A time taken apart for one zone: what `CTime::Decode` fills. There is no year 0: the year before year 1
/// is -1.
///
/// ```cpp
/// TIME_FIELDS fields;
/// CTime::GetCurrent().Decode(fields);
/// const bool new_year = fields.month == 1 && fields.day == 1;
/// static_cast<void>(new_year);
/// ```
struct TIME_FIELDS {
    std::int32_t year = 0;
    std::int32_t month = 0;            ///< 1 to 12
    std::uint16_t dayOfYear = 1;       ///< 1 to 366
    std::uint16_t day = 1;             ///< day of the month, from 1
    std::uint32_t weekDay = 7;         ///< 0 Sunday to 6 Saturday; 7 is "unset"
    std::uint16_t hour = 0;            ///< 0 to 23
    std::uint16_t minute = 0;          ///< 0 to 59
    std::uint16_t second = 0;          ///< 0 to 59
    std::uint32_t microsecond = 0;     ///< 0 to 999999
    std::int16_t timeZone = TZ_LOCAL;  ///< the applied zone in minutes; never `TZ_LOCAL` once decoded
};

/// A point in time: a signed 64-bit count of microseconds since 1970-01-01 00:00:00 UTC and nothing else.
///
/// It is copied by value, compared as an integer and never allocated. All calendar work is done on demand, in
/// the proleptic Gregorian calendar, for the zone that the operation is given: minutes east of UTC, or
/// `TZ_LOCAL` for the local zone of the process. Daylight-saving time is never applied.
///
/// ```cpp
/// CTime release;
/// release.Set(2024, 2, 29, 18, 30, 0, 0, 60);       // 18:30 in the zone UTC+0100
/// release.AddMonths(1, 60);                         // 31 March: a month's end stays one
/// stringEx text;
/// release.ToStr(text, "%Y-%M-%d %H:%T UTC%Z", 60);  // 2024-03-31 18:30 UTC+0100
/// const CTimeSpan waited = CTime::GetCurrent() - release;
/// waited.ToStr(text, ", %TD days ago");
/// ```
///
/// Nothing enforces the range of years: what goes beyond 64 bits wraps around to the other end, without a
/// failure. Before year 1 the calendar has peculiarities on which stored times rely; they are described in
/// lib/time/calendar.cpp.
///
/// Failures are `timeExp`; an object whose setter throws is unchanged. Where an operation names no failure it
/// has none.
///
/// Threads: a plain value; one object may not be written by one thread while another uses it. The static
/// functions may be called from any thread; the local zone is shared by all. An operation reads the local
/// zone once, so one that runs while the zone changes uses the old or the new one throughout.
class ORLO_API CTime {
public:
    /// 1970-01-01 00:00:00 UTC.
    constexpr CTime() noexcept = default;
    constexpr explicit CTime(std::int64_t microseconds) noexcept : m_value(microseconds) {}
    /// The time of the system's clock in <chrono>; parts of a microsecond are dropped, towards the past. It
    /// has to fit into 64 bits of microseconds.
    template <class Duration>
    constexpr explicit CTime(std::chrono::sys_time<Duration> time) noexcept
        : m_value(std::chrono::floor<std::chrono::microseconds>(time).time_since_epoch().count()) {}

    /// The count of microseconds.
    [[nodiscard]] constexpr std::int64_t GetValue() const noexcept { return m_value; }
    /// The same for <chrono>. It converts to `std::chrono::system_clock::time_point`, which reaches from 1677
    /// to 2262.
    [[nodiscard]] constexpr std::chrono::sys_time<std::chrono::microseconds> ToChrono() const noexcept {
        return std::chrono::sys_time<std::chrono::microseconds>(std::chrono::microseconds(m_value));
    }

    // --- order and distance -----------------------------------------------------------------------------

    friend constexpr auto operator<=>(CTime, CTime) noexcept = default;
    constexpr CTime& operator+=(CTimeSpan span) noexcept {
        m_value = IMPL::wrap_add(m_value, span.GetValue());
        return *this;
    }
    constexpr CTime& operator-=(CTimeSpan span) noexcept {
        m_value = IMPL::wrap_sub(m_value, span.GetValue());
        return *this;
    }
    friend constexpr CTime operator+(CTime time, CTimeSpan span) noexcept { return time += span; }
    friend constexpr CTime operator-(CTime time, CTimeSpan span) noexcept { return time -= span; }
    friend constexpr CTimeSpan operator-(CTime a, CTime b) noexcept {
        return CTimeSpan(IMPL::wrap_sub(a.m_value, b.m_value));
    }

    // --- clocks -----------------------------------------------------------------------------------------

    /// Now, by the system's clock; the smallest 64-bit value if it cannot be read.
    [[nodiscard]] static CTime GetCurrent() noexcept;
    /// Milliseconds of a clock that never goes back, from an arbitrary start and in steps of a few.
    [[nodiscard]] static std::uint64_t GetTickMs() noexcept;
    /// The same, stored at `milliseconds`, which is not null.
    static void GetTickMs(std::uint64_t* milliseconds) noexcept;
    /// Sets the system's clock. Throws `clock_refused`, 8, if the system refuses.
    static void SetSysTime(CTime time);

    // --- the local zone ---------------------------------------------------------------------------------

    /// Minutes east of UTC of the local zone's standard time. It is read from the system (TZ or its default)
    /// on the first use and kept until one of the next two is called.
    [[nodiscard]] static std::int32_t GetLocalTimeZone();
    /// Reads the local zone again. Other threads may change TZ by `SetEnv` at the same time.
    static void RefreshLocalTimeZone();
    /// Makes `minutes` the local zone of the library, whatever the system says.
    static void SetLocalTimeZone(std::int16_t minutes) noexcept;

    // --- the calendar -----------------------------------------------------------------------------------

    /// Every day between these years has a value; nothing enforces them.
    static constexpr std::int32_t GetMaxYear() noexcept { return 293640; }
    static constexpr std::int32_t GetMinYear() noexcept { return -289700; }

    /// Whether `year` has a 29 February. 0 stands for the current year; -1, the year before year 1, has one.
    [[nodiscard]] static bool IsLeapYear(std::int32_t year);
    /// The length of a month; year 0 stands for the current one. Throws `bad_month`, 3, for a month outside
    /// 1 to 12.
    static std::uint32_t GetNumOfDays(std::int32_t month, std::int32_t year = 0);

    // --- names and zones as text: `S` is `stringEx` or `wstringEx` ---------------------------------------

    /// "Sun" for 0 to "Sat" for 6. Throws `bad_value`, 4, for other numbers.
    template <class S = stringEx>
    static S WeekDayToStr(std::int32_t weekDay);
    /// "Jan" for 1 to "Dec" for 12. Throws `bad_value`, 4, for other numbers.
    template <class S = stringEx>
    static S MonthToStr(std::int32_t month);

    /// The week day, 0 to 6, by its English name or the name's first three letters, in any case and with
    /// blanks around, or by its number, 1 Monday to 7 Sunday. Throws `bad_value`, 4, for anything else.
    static std::uint32_t StrToWeekDay(std::string_view text);
    static std::uint32_t StrToWeekDay(std::wstring_view text);
    /// The month, 1 to 12, by its name as above or its number. Throws `bad_value`, 4, for anything else.
    static std::int32_t StrToMonth(std::string_view text);
    static std::int32_t StrToMonth(std::wstring_view text);

    /// The zone in minutes that a text names: "UTC+8", "+0800", "GMT-05:30", "0530". UTC, GMT, CUT, TAI and
    /// UT alone, and whatever begins with NOTZ, are 0. `TZ_LOCAL` for an empty or another text.
    [[nodiscard]] static std::int16_t StrToTimeZone(std::string_view text);
    [[nodiscard]] static std::int16_t StrToTimeZone(std::wstring_view text);
    /// "Local", "UTC", or the distance from UTC as in "UTC+0800".
    template <class S = stringEx>
    [[nodiscard]] static S TimeZoneToStr(std::int16_t minutes);

    // --- taking apart -----------------------------------------------------------------------------------

    /// Fills `fields` for `zone`. Returns the seconds since the day's begin.
    std::int64_t Decode(TIME_FIELDS& fields, std::int16_t zone = TZ_LOCAL) const;

    [[nodiscard]] std::int32_t GetYear(std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] std::int32_t GetMonth(std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] std::uint16_t GetDay(std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] std::uint16_t GetDayOfYear(std::int16_t zone = TZ_LOCAL) const;
    /// 0 Sunday to 6 Saturday.
    [[nodiscard]] std::uint32_t GetDayOfWeek(std::int16_t zone = TZ_LOCAL) const;
    /// 21 in 2024, and 21 in 2000 as well: the year's hundreds and one more, away from 0.
    [[nodiscard]] std::int32_t GetCentury(std::int16_t zone = TZ_LOCAL) const;
    /// 1 to 4.
    [[nodiscard]] std::int32_t GetQuarter(std::int16_t zone = TZ_LOCAL) const;
    /// The number of the week in the year, from 1. `firstDay` begins a week: 0 Sunday, 1 Monday. Week 1 holds
    /// all days before the year's first whole week, and that week too.
    [[nodiscard]] std::uint32_t GetWeekOfYear(std::uint32_t firstDay, std::int16_t zone = TZ_LOCAL) const;

    // Cheap readings without a decode. From the epoch on they are the decoded fields. Before it they are not:
    // they read the distance from the epoch, mirrored around midnight, the full hour, minute or second.

    [[nodiscard]] std::uint32_t GetHour(std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] std::uint32_t GetMinute(std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] std::uint32_t GetSecond() const noexcept;
    /// Before the epoch between 1000000, for a full second, and 1999999.
    [[nodiscard]] std::uint32_t GetMicrosecond() const noexcept;

    [[nodiscard]] bool IsSameMonth(CTime other, std::int16_t zone = TZ_LOCAL) const;
    [[nodiscard]] bool IsSameQuarter(CTime other, std::int16_t zone = TZ_LOCAL) const;

    // --- putting together -------------------------------------------------------------------------------

    /// Makes the object the time that the fields name in `zone`. Only the month is checked: `bad_month`, 3,
    /// is thrown if it is not 1 to 12. Other fields run on: 32 January is 1 February. Year 0 is accepted: its
    /// days are counted as those before year 1, and it has a 29 February if the current year has one. Returns
    /// the object.
    CTime& Set(std::int32_t year, std::int32_t month, std::uint16_t day, std::uint16_t hour,
               std::uint16_t minute, std::uint16_t second, std::uint32_t microsecond,
               std::int16_t zone = TZ_LOCAL);
    /// Keeps the time of day. Throws as `Set`.
    void SetDate(std::int32_t year, std::int32_t month, std::uint16_t day, std::int16_t zone = TZ_LOCAL);

    // These keep the other fields.

    /// 29 February becomes 28 where the new year has none.
    void SetYear(std::int32_t year, std::int16_t zone = TZ_LOCAL);
    /// A day after the new month's end becomes its last. Throws `bad_month`, 3, for a month outside 1 to 12.
    void SetMonth(std::int32_t month, std::int16_t zone = TZ_LOCAL);
    /// A day after the month's end runs on into the next month.
    void SetDay(std::uint16_t day, std::int16_t zone = TZ_LOCAL);
    /// 0 is the last day of the year before. Throws `bad_value`, 4, for a day after the year's end.
    void SetDayOfYear(std::uint16_t day, std::int16_t zone = TZ_LOCAL);
    /// Larger values run on into the next day, or hour.
    void SetHour(std::uint16_t hour, std::int16_t zone = TZ_LOCAL);
    void SetMinute(std::uint16_t minute, std::int16_t zone = TZ_LOCAL);
    /// Sets the seconds since the full minute and clears the microseconds.
    void SetSecond(std::uint16_t second) noexcept;
    /// Sets the microseconds since the full second.
    void SetMicrosecond(std::uint32_t microsecond) noexcept;

    // --- moving about: week days are 0 Sunday to 6 Saturday, larger numbers count on modulo 7 -------------

    /// The 1st of the month, 00:00:00.
    [[nodiscard]] CTime GetMonthBegin(std::int16_t zone = TZ_LOCAL) const;
    /// The latest 00:00:00 of that week day at or before this time.
    [[nodiscard]] CTime GetWeekBegin(std::uint32_t weekDay, std::int16_t zone = TZ_LOCAL) const;
    /// The 00:00:00 of that week day that is nearest to the begin of this day; before the epoch, to its end.
    [[nodiscard]] CTime GetNearestWeekDay(std::uint32_t weekDay, std::int16_t zone = TZ_LOCAL) const;
    /// The 00:00:00 of the month's `n`-th such week day, from 1; after the month's end if it has fewer.
    [[nodiscard]] CTime GetNthWeekDayOfMonth(std::uint16_t n, std::uint32_t weekDay,
                                             std::int16_t zone = TZ_LOCAL) const;
    /// The 00:00:00 of the last such week day of the month that this time lies in by the local zone, whatever
    /// `zone` says; `zone` only rules where the week day begins.
    [[nodiscard]] CTime GetLastWeekDayOfMonth(std::uint32_t weekDay, std::int16_t zone = TZ_LOCAL) const;

    /// Moves by years; 29 February becomes 28 where the new year has none. Returns the object.
    CTime& AddYears(std::int32_t count, std::int16_t zone = TZ_LOCAL);
    /// Moves by months. A month's end stays a month's end: 28 February of a common year becomes 31 March.
    /// Years are counted through 0 (see `Set`). Returns the object.
    CTime& AddMonths(std::int32_t count, std::int16_t zone = TZ_LOCAL);
    /// The distance from `other` to this time in months with a fraction; negative if this is the earlier one.
    [[nodiscard]] double GetMonthSpan(CTime other, std::int16_t zone = TZ_LOCAL) const;

    // --- other forms of a time --------------------------------------------------------------------------

    /// Fills `tm` by the fields in `zone`; whether daylight-saving time holds is left open (-1), and
    /// `tm_gmtoff` is the zone.
    void GetTm(struct tm& tm, std::int16_t zone = TZ_LOCAL) const;

    /// Units of 100 ns since 1601-01-01, by the clock on the wall in `zone`. Wraps beyond 29,000 years of
    /// 1601.
    void SetFileTime(std::int64_t count, std::int16_t zone = TZ_LOCAL);
    [[nodiscard]] std::int64_t GetFileTime(std::int16_t zone = TZ_LOCAL) const;

    /// Before the epoch both parts are negative or 0.
    void GetTimeSpec(struct timespec& to) const noexcept;
    void SetTimeSpec(const struct timespec& from) noexcept;
    void GetTimeVal(struct timeval& to) const noexcept;
    void SetTimeVal(const struct timeval& from) noexcept;

    /// Appends the time to `out` by `format`, in which "%" begins an escape:
    ///
    /// | escape | output                                       | escape | output                    |
    /// |--------|----------------------------------------------|--------|---------------------------|
    /// | `%Y`   | year                                         | `%H`   | hour, 00 to 23            |
    /// | `%y`   | year, two digits from 1970 to 2038           | `%h`   | hour, 1 to 12             |
    /// | `%C`   | century                                      | `%P`   | AM or PM                  |
    /// | `%M`   | month, 01 to 12                              | `%p`   | am or pm                  |
    /// | `%A`   | month, Jan to Dec                            | `%T`   | minute, two digits        |
    /// | `%d`   | day, 01 to 31                                | `%S`   | second, two digits        |
    /// | `%D`   | day of the year, 001 to 366                  | `%ms`  | milliseconds, 3 digits    |
    /// | `%W`   | week day, 1 Monday to 7 Sunday               | `%us`  | microseconds, 6 digits    |
    /// | `%B`   | week day, Sun to Sat                         | `%Z`   | zone, as in +0530         |
    /// | `%wm`  | week of the year, weeks beginning on Monday  | `%z`   | zone in minutes           |
    /// | `%ws`  | week of the year, weeks beginning on Sunday  |        |                           |
    ///
    /// "%%" is one "%", a "%" at the very end is dropped, and an unknown escape loses only its "%". `format`
    /// may lie inside `out`. Throws only `std::bad_alloc`.
    void ToStr(stringEx& out, std::string_view format, std::int16_t zone = TZ_LOCAL) const;
    void ToStr(wstringEx& out, std::wstring_view format, std::int16_t zone = TZ_LOCAL) const;

private:
    void _Encode(const TIME_FIELDS& fields);

    std::int64_t m_value = 0;
};

}  // namespace Orlo

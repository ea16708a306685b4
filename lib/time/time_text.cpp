// The text of times and spans.
//
// A format is walked once. At each "%" a command is asked, which finds the row of its table that the text
// behind begins with, and writes what the row says. In "%Y-%M" at 2024-03-05 the first key is "Y-%M": row Y,
// one character, "2024"; the second is "M": "03". No name begins another one, so at most one row fits, and
// the order of the rows is free.
//
// The tables are the language: a row of times has a name, a width and what to read, a row of spans a name, a
// width and two units, the one to count in and the one whose multiples are left out. Names are ASCII, so one
// table serves both kinds of text; numbers are written into the command's own room, from where the walker
// copies them: nothing is allocated but the text itself.
//
// Cost: one decode a text, one more for each week number; for each escape a look at the rows that begin with
// its letter.

#include <array>

#include "orlo/strings/match_cmd.h"
#include "orlo/time/time.h"
#include "strings/literal.h"
#include "time/calendar.h"
#include "time/digits.h"

namespace Orlo {
namespace {

// --- tables
// -------------------------------------------------------------------------------------------------

/// What an escape of a time shows. All but the last five are numbers.
enum class shown {
    year,
    year_short,
    month,
    day,
    day_of_year,
    week_day,
    week_from_monday,
    week_from_sunday,
    hour,
    hour_of_12,
    minute,
    second,
    millisecond,
    microsecond,
    zone_minutes,
    century,
    month_name,
    week_day_name,
    half_day_upper,
    half_day_lower,
    zone
};

struct time_escape {
    std::string_view name;
    std::uint32_t width;
    shown what;
};

constexpr std::array<time_escape, 21> TIME_ESCAPES = {{
    {"Y", 1, shown::year},
    {"y", 2, shown::year_short},
    {"M", 2, shown::month},
    {"A", 0, shown::month_name},
    {"d", 2, shown::day},
    {"D", 3, shown::day_of_year},
    {"W", 1, shown::week_day},
    {"wm", 2, shown::week_from_monday},
    {"ws", 2, shown::week_from_sunday},
    {"B", 0, shown::week_day_name},
    {"H", 2, shown::hour},
    {"h", 1, shown::hour_of_12},
    {"T", 2, shown::minute},
    {"S", 2, shown::second},
    {"ms", 3, shown::millisecond},
    {"us", 6, shown::microsecond},
    {"P", 0, shown::half_day_upper},
    {"p", 0, shown::half_day_lower},
    {"Z", 0, shown::zone},
    {"z", 1, shown::zone_minutes},
    {"C", 1, shown::century},
}};

/// Shows the span, less the multiples of `within` if there is one, in whole `unit`s.
struct span_escape {
    std::string_view name;
    std::uint32_t width;
    std::int64_t unit;
    std::int64_t within;
};

constexpr std::array<span_escape, 14> SPAN_ESCAPES = {{
    {"W", 1, US_PER_WEEK, 0},
    {"TD", 1, US_PER_DAY, 0},
    {"PD", 1, US_PER_DAY, US_PER_WEEK},
    {"TH", 2, US_PER_HOUR, 0},
    {"PH", 2, US_PER_HOUR, US_PER_DAY},
    {"TM", 1, US_PER_MINUTE, 0},
    {"PM", 2, US_PER_MINUTE, US_PER_HOUR},
    {"TS", 1, US_PER_SECOND, 0},
    {"PS", 2, US_PER_SECOND, US_PER_MINUTE},
    {"Tms", 1, US_PER_MILLISECOND, 0},
    {"Pms", 3, US_PER_MILLISECOND, US_PER_SECOND},
    {"Tus", 1, 1, 0},
    {"Pus", 3, 1, US_PER_MILLISECOND},
    {"sTH", 1, US_PER_HOUR, 0},
}};

/// For each ASCII character the first row whose name begins with it, and the row behind the last one.
struct row_range {
    std::uint8_t first = 0;
    std::uint8_t end = 0;
};
using row_index = std::array<row_range, 128>;

template <class Row, std::size_t N>
consteval row_index index_rows(const std::array<Row, N>& rows) {
    row_index index{};
    for (std::uint8_t i = 0; i < N; ++i) {
        row_range& range = index[static_cast<std::size_t>(rows[i].name[0])];
        if (range.end == 0) range.first = i;
        range.end = static_cast<std::uint8_t>(i + 1);
    }
    return index;
}

template <class Row, std::size_t N>
consteval bool none_begins_another(const std::array<Row, N>& rows) {
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j) {
            if (i != j && rows[i].name.starts_with(rows[j].name)) return false;
        }
    }
    return true;
}

/// The rows of one language, ready to be searched.
template <class Row, std::size_t N>
class escape_table {
public:
    consteval explicit escape_table(const std::array<Row, N>& rows) : rows_(rows), index_(index_rows(rows)) {}

    /// The row that `key` begins with, null for none.
    template <class T>
    const Row* find(std::basic_string_view<T> key) const noexcept {
        const auto letter = static_cast<std::make_unsigned_t<T>>(key[0]);
        if (letter >= index_.size()) return nullptr;
        const row_range range = index_[letter];
        for (std::size_t i = range.first; i < range.end; ++i) {
            if (begins_with(key, rows_[i].name)) return &rows_[i];
        }
        return nullptr;
    }

private:
    template <class T>
    static bool begins_with(std::basic_string_view<T> key, std::string_view name) noexcept {
        if (key.size() < name.size()) return false;
        for (std::size_t i = 0; i < name.size(); ++i) {
            if (key[i] != static_cast<T>(name[i])) return false;
        }
        return true;
    }

    std::array<Row, N> rows_;
    row_index index_;
};

static_assert(none_begins_another(TIME_ESCAPES) && none_begins_another(SPAN_ESCAPES));
constexpr escape_table TIME_TABLE(TIME_ESCAPES);
constexpr escape_table SPAN_TABLE(SPAN_ESCAPES);

// --- commands
// -----------------------------------------------------------------------------------------------

/// What both languages share: finding the row. An unknown escape is replaced by nothing and consumes nothing,
/// so that it loses its "%" alone. `Derived` writes a row: `S write(row)`, which may be a view of its room.
template <class Derived, class S, const auto& TABLE>
class escape_cmd : public IStrMatchCmd<S> {
public:
    std::int32_t Match(const S& key, S& out) final {
        const auto* const row = m_table->find(key.view());
        if (row == nullptr) {
            out.clear();
            m_matchLen = 0;
        } else {
            out = static_cast<Derived*>(this)->write(*row);
            m_matchLen = row->name.size();
        }
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const final { return m_matchLen; }

protected:
    std::uint64_t m_matchLen = 0;
    const std::remove_reference_t<decltype(TABLE)>* m_table = &TABLE;
    IMPL::time_digits<typename S::value_type> m_digits;
};

template <class S>
class CTimeStrEscapeCmd final : public escape_cmd<CTimeStrEscapeCmd<S>, S, TIME_TABLE> {
public:
    CTimeStrEscapeCmd(const TIME_FIELDS& fields, const CTime& time) : m_fields(&fields), m_time(&time) {}

    S write(const time_escape& row) {
        using T = typename S::value_type;
        const bool morning = m_fields->hour < 12;
        switch (row.what) {
            case shown::month_name:
                return CTime::MonthToStr<S>(m_fields->month);
            case shown::week_day_name:
                return CTime::WeekDayToStr<S>(static_cast<std::int32_t>(m_fields->weekDay));
            case shown::half_day_upper:
                return S::borrow(morning ? ORLO_LITERAL(T, "AM") : ORLO_LITERAL(T, "PM"));
            case shown::half_day_lower:
                return S::borrow(morning ? ORLO_LITERAL(T, "am") : ORLO_LITERAL(T, "pm"));
            case shown::zone:
                return S::borrow(this->m_digits.zone(m_fields->timeZone));
            default:
                return S::borrow(this->m_digits.number(number(row.what), row.width));
        }
    }

private:
    std::int64_t number(shown what) const {
        const TIME_FIELDS& f = *m_fields;
        switch (what) {
            case shown::year:
                return f.year;
            case shown::year_short:
                return f.year >= 1970 && f.year <= 2038 ? f.year % 100 : f.year;
            case shown::month:
                return f.month;
            case shown::day:
                return f.day;
            case shown::day_of_year:
                return f.dayOfYear;
            case shown::week_day:
                return f.weekDay == 0 ? 7 : f.weekDay;
            case shown::week_from_monday:
                return m_time->GetWeekOfYear(1, f.timeZone);
            case shown::week_from_sunday:
                return m_time->GetWeekOfYear(0, f.timeZone);
            case shown::hour:
                return f.hour;
            case shown::hour_of_12:
                return f.hour % 12 == 0 ? 12 : f.hour % 12;
            case shown::minute:
                return f.minute;
            case shown::second:
                return f.second;
            case shown::millisecond:
                return f.microsecond / 1000;
            case shown::microsecond:
                return f.microsecond;
            case shown::zone_minutes:
                return f.timeZone;
            case shown::century:
                return IMPL::century_of(f.year);
            default:
                return 0;
        }
    }

    const TIME_FIELDS* m_fields;
    const CTime* m_time;
};

template <class S>
class CTimeSpanStrEscapeCmd final : public escape_cmd<CTimeSpanStrEscapeCmd<S>, S, SPAN_TABLE> {
public:
    /// The magnitude is unsigned: that of the smallest span does not fit into 63 bits.
    explicit CTimeSpanStrEscapeCmd(CTimeSpan span)
        : m_value(static_cast<std::uint64_t>((span.GetValue() < 0 ? -span : span).GetValue())) {}

    S write(const span_escape& row) {
        const std::uint64_t rest =
            row.within != 0 ? m_value % static_cast<std::uint64_t>(row.within) : m_value;
        return S::borrow(this->m_digits.natural(rest / static_cast<std::uint64_t>(row.unit), row.width));
    }

private:
    std::uint64_t m_value;
};

template <class S>
void expand(S& out, typename S::view_type format, IStrMatchCmd<S>& cmd) {
    S::replace_by_cmd(S::borrow(format), out, typename S::value_type('%'), cmd, true, false);
}

template <class S>
void write_time(S& out, typename S::view_type format, const CTime& time, std::int16_t zone) {
    TIME_FIELDS fields;
    time.Decode(fields, zone);
    CTimeStrEscapeCmd<S> cmd(fields, time);
    expand(out, format, cmd);
}

template <class S>
void write_span(S& out, typename S::view_type format, CTimeSpan span) {
    CTimeSpanStrEscapeCmd<S> cmd(span);
    expand(out, format, cmd);
}

}  // namespace

void CTime::ToStr(stringEx& out, std::string_view format, std::int16_t zone) const {
    write_time(out, format, *this, zone);
}

void CTime::ToStr(wstringEx& out, std::wstring_view format, std::int16_t zone) const {
    write_time(out, format, *this, zone);
}

void CTimeSpan::ToStr(stringEx& out, std::string_view format) const {
    write_span(out, format, *this);
}

void CTimeSpan::ToStr(wstringEx& out, std::wstring_view format) const {
    write_span(out, format, *this);
}

}  // namespace Orlo

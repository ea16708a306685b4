// The text of times and spans.
//
// A format is walked once. At a "%" the walker asks a command, which finds the row of its table whose name
// follows the "%", and writes what the row says. The command goes on by itself, over ordinary text and further
// escapes, until it comes to one that it does not know or its room is full: in "%Y-%M at %Q%d" on 2024-03-05
// the first key is "Y-%M at %Q%d", of which "Y-%M at " is matched and becomes "2024-03 at "; then "%Q" is left
// to the walker, which asks again and hears that nothing was recognised. What is no escape, such as "%%" and a
// "%" at the end, is left to the walker. No name begins another one, so at most one row fits, and the order of
// the rows is free.
//
// The tables are the language: a row of times has a name, a width and what to read, a row of spans a name, a
// width and two units, the one to count in and the one whose multiples are left out. Names are ASCII, so one
// table serves both kinds of text; a match is written into the command's own room, from where the walker
// copies it: nothing is allocated but the text itself.
//
// Cost: one decode a text, one more for each week number; for each escape a search in the rows that begin with
// its letter; one call of the command for each stretch that fills the room. One call for each escape would take
// twice the time for a log line's stamp.

#include <algorithm>
#include <array>

#include "orlo/strings/match_cmd.h"
#include "orlo/time/time.h"
#include "strings/literal.h"
#include "time/calendar.h"
#include "time/digits.h"

namespace Orlo {
namespace {

// --- tables --------------------------------------------------------------------------------------------

/// What an escape of a time shows.
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

template <class Row, std::size_t N>
consteval bool none_begins_another(const std::array<Row, N>& rows) {
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < N; ++j) {
            if (i != j && rows[i].name.starts_with(rows[j].name)) return false;
        }
    }
    return true;
}

/// The rows of one language, ready to be searched: sorted by their first letter, with the range of each ASCII
/// character.
template <class Row, std::size_t N>
class escape_table {
public:
    consteval explicit escape_table(const std::array<Row, N>& rows) : rows_(rows) {
        std::ranges::sort(rows_, {}, &Row::name);
        for (std::size_t i = N; i-- > 0;) {
            range& found = ranges_[static_cast<std::size_t>(rows_[i].name[0])];
            if (found.end == 0) found.end = static_cast<std::uint8_t>(i + 1);
            found.first = static_cast<std::uint8_t>(i);
        }
    }

    /// The row whose name stands at `key`, null for none. Moves `key` past the name.
    template <class T>
    const Row* take(const T*& key, const T* end) const noexcept {
        if (key == end) return nullptr;
        const auto letter = static_cast<std::make_unsigned_t<T>>(*key);
        if (letter >= ranges_.size()) return nullptr;
        for (std::size_t i = ranges_[letter].first; i < ranges_[letter].end; ++i) {
            const T* const after = after_rest(key + 1, end, rows_[i].name);
            if (after == nullptr) continue;
            key = after;
            return &rows_[i];
        }
        return nullptr;
    }

private:
    struct range {
        std::uint8_t first = 0;
        std::uint8_t end = 0;
    };

    /// The place after the name whose second letter is expected at `key`, null if it does not stand there.
    /// It steps instead of adding the name's length: the place is known then before the length is read.
    template <class T>
    static const T* after_rest(const T* key, const T* end, std::string_view name) noexcept {
        for (std::size_t i = 1; i < name.size(); ++i, ++key) {
            if (key == end || *key != static_cast<T>(name[i])) return nullptr;
        }
        return key;
    }

    std::array<Row, N> rows_;
    std::array<range, 128> ranges_{};
};

static_assert(none_begins_another(TIME_ESCAPES) && none_begins_another(SPAN_ESCAPES));
constexpr escape_table TIME_TABLE(TIME_ESCAPES);
constexpr escape_table SPAN_TABLE(SPAN_ESCAPES);

// --- commands ------------------------------------------------------------------------------------------

constexpr char ESCAPE = '%';

/// What both languages share: finding the rows. An unknown escape is replaced by nothing and consumes
/// nothing, so it loses only its "%". `Derived::Write(row, to)` writes a row at `to`, at most `LONGEST_NUMBER`
/// characters, and returns the place after them.
template <class Derived, class S, const auto& TABLE>
class CEscapeCmd : public IStrMatchCmd<S> {
public:
    using T = typename S::value_type;

    std::int32_t Match(const S& key, S& out) final {
        const T* const end = key.end();
        const T* const full = m_room + room;
        const T* from = key.begin();
        const T* after = from;
        T* to = m_room;
        while (const auto* const row = m_table->take(from, end)) {
            to = static_cast<Derived*>(this)->Write(*row, to);
            while (from != end && *from != T(ESCAPE) && to < full)
                *to++ = *from++;
            after = from;
            if (from == end || to >= full) break;
            ++from;
        }
        m_matchLen = static_cast<std::uint64_t>(after - key.begin());
        out = S::borrow({m_room, static_cast<std::size_t>(to - m_room)});
        return MATCH_REPLACE;
    }

    std::uint64_t GetMatchedLen() const final { return m_matchLen; }

private:
    std::uint64_t m_matchLen = 0;
    const std::remove_reference_t<decltype(TABLE)>* m_table = &TABLE;
    /// A piece that begins within the first `room` characters fits.
    static constexpr std::size_t room = 64;
    T m_room[room + IMPL::LONGEST_NUMBER];
};

template <class S>
class CTimeStrEscapeCmd final : public CEscapeCmd<CTimeStrEscapeCmd<S>, S, TIME_TABLE> {
public:
    using T = typename S::value_type;

    CTimeStrEscapeCmd(const TIME_FIELDS& fields, const CTime& time) : m_fields(&fields), m_time(&time) {}

    T* Write(const time_escape& row, T* to) const {
        const TIME_FIELDS& f = *m_fields;
        switch (row.what) {
            case shown::year:
                return IMPL::put_number(to, f.year, row.width);
            case shown::year_short:
                return IMPL::put_number(to, f.year >= 1970 && f.year <= 2038 ? f.year % 100 : f.year,
                                        row.width);
            case shown::month:
                return IMPL::put_natural(to, static_cast<std::uint32_t>(f.month), row.width);
            case shown::month_name:
                return put_text(to, CTime::MonthToStr<S>(f.month));
            case shown::day:
                return IMPL::put_natural(to, f.day, row.width);
            case shown::day_of_year:
                return IMPL::put_natural(to, f.dayOfYear, row.width);
            case shown::week_day:
                return IMPL::put_natural(to, f.weekDay == 0 ? 7 : f.weekDay, row.width);
            case shown::week_day_name:
                return put_text(to, CTime::WeekDayToStr<S>(static_cast<std::int32_t>(f.weekDay)));
            case shown::week_from_monday:
                return IMPL::put_natural(to, m_time->GetWeekOfYear(1, f.timeZone), row.width);
            case shown::week_from_sunday:
                return IMPL::put_natural(to, m_time->GetWeekOfYear(0, f.timeZone), row.width);
            case shown::hour:
                return IMPL::put_natural(to, f.hour, row.width);
            case shown::hour_of_12:
                return IMPL::put_natural(to, f.hour % 12 == 0 ? 12 : f.hour % 12, row.width);
            case shown::half_day_upper:
                return put_text(to, f.hour < 12 ? ORLO_LITERAL(T, "AM") : ORLO_LITERAL(T, "PM"));
            case shown::half_day_lower:
                return put_text(to, f.hour < 12 ? ORLO_LITERAL(T, "am") : ORLO_LITERAL(T, "pm"));
            case shown::minute:
                return IMPL::put_natural(to, f.minute, row.width);
            case shown::second:
                return IMPL::put_natural(to, f.second, row.width);
            case shown::millisecond:
                return IMPL::put_natural(to, f.microsecond / 1000, row.width);
            case shown::microsecond:
                return IMPL::put_natural(to, f.microsecond, row.width);
            case shown::zone:
                return IMPL::put_zone(to, f.timeZone);
            case shown::zone_minutes:
                return IMPL::put_number(to, f.timeZone, row.width);
            case shown::century:
                return IMPL::put_number(to, IMPL::century_of(f.year), row.width);
        }
        return to;
    }

private:
    static T* put_text(T* to, std::basic_string_view<T> text) {
        return std::copy(text.begin(), text.end(), to);
    }

    const TIME_FIELDS* m_fields;
    const CTime* m_time;
};

template <class S>
class CTimeSpanStrEscapeCmd final : public CEscapeCmd<CTimeSpanStrEscapeCmd<S>, S, SPAN_TABLE> {
public:
    using T = typename S::value_type;

    /// The magnitude is unsigned: that of the smallest span does not fit into 63 bits.
    explicit CTimeSpanStrEscapeCmd(CTimeSpan span)
        : m_value(static_cast<std::uint64_t>((span.GetValue() < 0 ? -span : span).GetValue())) {}

    T* Write(const span_escape& row, T* to) const {
        const auto unit = static_cast<std::uint64_t>(row.unit);
        const auto within = static_cast<std::uint64_t>(row.within);
        return IMPL::put_natural(to, (within != 0 ? m_value % within : m_value) / unit, row.width);
    }

private:
    std::uint64_t m_value;
};

template <class S>
void expand(S& out, typename S::view_type format, IStrMatchCmd<S>& cmd) {
    S::replace_by_cmd(S::borrow(format), out, typename S::value_type(ESCAPE), cmd, true, false);
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

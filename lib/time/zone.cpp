// The local zone, and zones as text.
//
// The C library reads TZ and keeps what it found in variables of its own, so reading the zone holds the lock
// of the environment: threads that change TZ by `SetEnv` and threads that refresh the zone do not race. A
// zone once read costs one load.
//
// A zone's text is a prefix (none, UTC, GMT, CUT, TAI or UT), a sign, one or two digits of hours and one or
// two of minutes, with or without a ":" between. "gmt-05:30" is -(5 x 60 + 30). If no digit stands where the
// hours should begin, the zone is 0; if none stands where the minutes should begin, it is the hours alone.
// Minutes are searched for after the first ":", however far it is.

#include <atomic>
#include <ctime>
#include <limits>
#include <mutex>

#include "orlo/time/time.h"
#include "strings/env_access.h"
#include "strings/literal.h"
#include "time/digits.h"

namespace Orlo {
namespace {

constexpr std::int32_t NOT_READ = std::numeric_limits<std::int32_t>::max();

/// Minutes east of UTC.
constinit std::atomic<std::int32_t> g_localTzMinutes = NOT_READ;

/// Reads the local zone's standard time from the system. The caller holds the environment's lock.
std::int32_t read_local_zone() {
    tzset();
    return static_cast<std::int32_t>(-(timezone / 60));
}

template <class T>
constexpr bool is_digit(T c) noexcept {
    return c >= T('0') && c <= T('9');
}

/// Takes one or two digits off the front of `rest`.
template <class T>
std::int32_t take_two_digits(std::basic_string_view<T>& rest) noexcept {
    std::int32_t value = 0;
    for (int taken = 0; taken < 2 && !rest.empty() && is_digit(rest.front()); ++taken) {
        value = value * 10 + static_cast<std::int32_t>(rest.front() - T('0'));
        rest.remove_prefix(1);
    }
    return value;
}

/// The minutes that a sign, hours and minutes name.
template <class T>
std::int16_t parse_offset(std::basic_string_view<T> rest) noexcept {
    bool west = false;
    if (!rest.empty() && (rest.front() == T('+') || rest.front() == T('-'))) {
        west = rest.front() == T('-');
        rest.remove_prefix(1);
    }
    if (rest.empty() || !is_digit(rest.front())) return 0;
    std::int32_t minutes = take_two_digits(rest) * 60;
    if (const std::size_t colon = rest.find(T(':')); colon != rest.npos) rest.remove_prefix(colon + 1);
    minutes += take_two_digits(rest);
    return static_cast<std::int16_t>(west ? -minutes : minutes);
}

template <class T>
std::int16_t parse_zone(std::basic_string_view<T> original) {
    basic_buffer<T> text(original);
    text.trim();
    text.to_upper();
    std::basic_string_view<T> rest = text.view();
    if (rest.starts_with(ORLO_LITERAL(T, "NOTZ"))) return 0;

    for (const auto prefix : {ORLO_LITERAL(T, "UTC"), ORLO_LITERAL(T, "GMT"), ORLO_LITERAL(T, "CUT"),
                              ORLO_LITERAL(T, "TAI"), ORLO_LITERAL(T, "UT")}) {
        if (!rest.starts_with(prefix)) continue;
        rest.remove_prefix(prefix.size());
        return parse_offset(rest);
    }
    if (rest.empty() || ORLO_LITERAL(T, "0123456789+-").find(rest.front()) == rest.npos) return TZ_LOCAL;
    return parse_offset(rest);
}

}  // namespace

std::int32_t CTime::GetLocalTimeZone() {
    const std::int32_t known = g_localTzMinutes.load(std::memory_order_relaxed);
    if (known != NOT_READ) return known;
    const std::lock_guard lock(IMPL::environment_mutex());
    std::int32_t expected = NOT_READ;
    const std::int32_t read = read_local_zone();
    // a zone that another thread set meanwhile stays
    return g_localTzMinutes.compare_exchange_strong(expected, read) ? read : expected;
}

void CTime::RefreshLocalTimeZone() {
    const std::lock_guard lock(IMPL::environment_mutex());
    g_localTzMinutes.exchange(read_local_zone());
}

void CTime::SetLocalTimeZone(std::int16_t minutes) noexcept {
    g_localTzMinutes.exchange(minutes);
}

std::int16_t CTime::StrToTimeZone(std::string_view text) {
    return parse_zone(text);
}

std::int16_t CTime::StrToTimeZone(std::wstring_view text) {
    return parse_zone(text);
}

template <class S>
S CTime::TimeZoneToStr(std::int16_t minutes) {
    using T = typename S::value_type;
    if (minutes == TZ_LOCAL) return S::borrow(ORLO_LITERAL(T, "Local"));
    if (minutes == 0) return S::borrow(ORLO_LITERAL(T, "UTC"));
    S text(ORLO_LITERAL(T, "UTC"));
    T digits[IMPL::LONGEST_NUMBER];
    text.append(std::basic_string_view<T>(digits, IMPL::put_zone(digits, minutes)));
    return text;
}

template ORLO_API stringEx CTime::TimeZoneToStr(std::int16_t);
template ORLO_API wstringEx CTime::TimeZoneToStr(std::int16_t);

}  // namespace Orlo

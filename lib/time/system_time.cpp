// The system's clocks, and the forms in which the system and others keep a time.

#include <sys/time.h>

#include <cerrno>
#include <limits>

#include "orlo/time/time.h"
#include "strings/failure.h"
#include "time/zone.h"

namespace Orlo {

using IMPL::wrap_add;
using IMPL::wrap_mul;
using IMPL::wrap_sub;

namespace {

constexpr failure<timeExp> SET_SYS_TIME = {{
    .code = time_code::clock_refused,
    .head = "SetSysTime - system error, failed set system time\n"
            "             may be out of range\n",
    .keys = {"  microseconds since unix epoch = ", "  system error                  = ",
             "  system error description      = "},
}};

}  // namespace

CTime CTime::GetCurrent() noexcept {
    struct timeval now;
    if (gettimeofday(&now, nullptr) != 0) return CTime(std::numeric_limits<std::int64_t>::min());
    return CTime(now.tv_sec * g_usPerSecond + now.tv_usec);
}

// The coarse clock: only deadlines of milliseconds depend on it, and it costs a fifth.
std::uint64_t CTime::GetTickMs() noexcept {
    struct timespec now {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

void CTime::GetTickMs(std::uint64_t* milliseconds) noexcept {
    *milliseconds = GetTickMs();
}

void CTime::SetSysTime(CTime time) {
    struct timeval to;
    time.GetTimeVal(to);
    if (settimeofday(&to, nullptr) == 0) return;
    const int error = errno;
    SET_SYS_TIME.raise({time.m_value, error, strerror_text(error)});
}

void CTime::GetTm(struct tm& tm, std::int16_t zone) const {
    TIME_FIELDS fields;
    Decode(fields, zone);
    tm = {};
    tm.tm_sec = fields.second;
    tm.tm_min = fields.minute;
    tm.tm_hour = fields.hour;
    tm.tm_mday = fields.day;
    tm.tm_mon = fields.month - 1;
    tm.tm_year = fields.year - 1900;
    tm.tm_wday = static_cast<int>(fields.weekDay);
    tm.tm_yday = fields.dayOfYear - 1;
    tm.tm_isdst = -1;
    tm.tm_gmtoff = fields.timeZone * 60L;
}

void CTime::SetFileTime(std::int64_t count, std::int16_t zone) {
    m_value = wrap_sub(wrap_sub(count / 10, g_filetimeEpochDelta), IMPL::zone_offset(zone));
}

std::int64_t CTime::GetFileTime(std::int16_t zone) const {
    return wrap_mul(wrap_add(wrap_add(IMPL::zone_offset(zone), m_value), g_filetimeEpochDelta), 10);
}

void CTime::GetTimeSpec(struct timespec& to) const noexcept {
    to.tv_sec = m_value / g_usPerSecond;
    to.tv_nsec = m_value % g_usPerSecond * 1000;
}

void CTime::SetTimeSpec(const struct timespec& from) noexcept {
    m_value = wrap_add(wrap_mul(from.tv_sec, g_usPerSecond), from.tv_nsec / 1000);
}

void CTime::GetTimeVal(struct timeval& to) const noexcept {
    to.tv_sec = m_value / g_usPerSecond;
    to.tv_usec = m_value % g_usPerSecond;
}

void CTime::SetTimeVal(const struct timeval& from) noexcept {
    m_value = wrap_add(wrap_mul(from.tv_sec, g_usPerSecond), from.tv_usec);
}

}  // namespace Orlo

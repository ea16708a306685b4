// The stamp of a log line, against the ways of the standard library; and the calendar alone.
//
// Each times what a log does per line: a count of microseconds becomes "[2024-03-05 07:08:09.012345
// UTC+0000][". `strftime` and `std::put_time` know no microseconds and write less; they get a `tm` that is
// ready made.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "orlo/time/time.h"

namespace Orlo {
namespace {

constexpr std::int64_t NOW = 1709622489012345;

void log_stamp(benchmark::State& state) {
    CTime::SetLocalTimeZone(0);
    std::int64_t value = NOW;
    stringEx out;
    for (auto _ : state) {
        out.clear();
        CTime(value += 977777).ToStr(out, "[%Y-%M-%d %H:%T:%S.%us UTC%Z][");
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(log_stamp);

void log_stamp_wide(benchmark::State& state) {
    CTime::SetLocalTimeZone(0);
    std::int64_t value = NOW;
    wstringEx out;
    for (auto _ : state) {
        out.clear();
        CTime(value += 977777).ToStr(out, L"[%Y-%M-%d %H:%T:%S.%us UTC%Z][");
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(log_stamp_wide);

struct tm ready_tm(std::int64_t value) {
    struct tm tm;
    CTime(value).GetTm(tm, 0);
    tm.tm_isdst = 0;
    tm.tm_zone = "UTC";
    return tm;
}

void bare_strftime(benchmark::State& state) {
    const struct tm tm = ready_tm(NOW);
    char out[64];
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::strftime(out, sizeof out, "[%Y-%m-%d %H:%M:%S UTC%z][", &tm));
    }
}
BENCHMARK(bare_strftime);

void same_by_strftime(benchmark::State& state) {
    std::int64_t value = NOW;
    char day[64];
    char out[96];
    for (auto _ : state) {
        value += 977777;
        const std::time_t seconds = value / 1000000;
        struct tm tm;
        localtime_r(&seconds, &tm);
        std::strftime(day, sizeof day, "[%Y-%m-%d %H:%M:%S.%%06d UTC%z][", &tm);
        benchmark::DoNotOptimize(std::snprintf(out, sizeof out, day, static_cast<int>(value % 1000000)));
    }
}
BENCHMARK(same_by_strftime);

void bare_put_time(benchmark::State& state) {
    const struct tm tm = ready_tm(NOW);
    std::ostringstream out;
    for (auto _ : state) {
        out.str({});
        out << std::put_time(&tm, "[%Y-%m-%d %H:%M:%S UTC%z][");
        benchmark::DoNotOptimize(out.tellp());
    }
}
BENCHMARK(bare_put_time);

void span_text(benchmark::State& state) {
    std::int64_t value = 93784004005;
    stringEx out;
    for (auto _ : state) {
        out.clear();
        CTimeSpan(value += 977777).ToStr(out, "%TD Days %PH:%PM:%PS.%Pms");
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(span_text);

void decode(benchmark::State& state) {
    std::int64_t value = NOW;
    TIME_FIELDS fields;
    for (auto _ : state) {
        CTime(value += 97777777).Decode(fields, 0);
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(decode);

void decode_by_gmtime(benchmark::State& state) {
    std::int64_t value = NOW;
    struct tm tm;
    for (auto _ : state) {
        const std::time_t seconds = (value += 97777777) / 1000000;
        benchmark::DoNotOptimize(gmtime_r(&seconds, &tm));
    }
}
BENCHMARK(decode_by_gmtime);

void encode(benchmark::State& state) {
    std::uint16_t day = 1;
    CTime time;
    for (auto _ : state) {
        benchmark::DoNotOptimize(time.Set(2024, 3, ++day, 7, 8, 9, 12345, 0));
    }
}
BENCHMARK(encode);

}  // namespace
}  // namespace Orlo

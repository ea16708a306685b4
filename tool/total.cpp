#include "total.h"

#include <algorithm>
#include <optional>

#include "console.h"

namespace tallycsv {
namespace {

constexpr int DONE = 0;
constexpr int IMPOSSIBLE_UNIT = 2;
constexpr std::size_t LONGEST_TOTAL = 64;
/// More decimals than any total divided by any unit has; what is asked for beyond them would only cost
/// memory, since the text is cut long before.
constexpr std::int32_t MOST_DECIMALS = 128;

struct unit_divisor {
    stat_unit unit;
    long double divisor;
};

constexpr unit_divisor DIVISORS[] = {
    {stat_unit::k10, 1000.0L},          {stat_unit::k2, 1024.0L},          {stat_unit::m10, 1000000.0L},
    {stat_unit::m2, 1048576.0L},        {stat_unit::g10, 1000000000.0L},   {stat_unit::g2, 1073741824.0L},
    {stat_unit::t10, 1000000000000.0L}, {stat_unit::t2, 1099511627776.0L},
};

std::optional<long double> divisor_of(stat_unit unit) {
    for (const unit_divisor& known : DIVISORS) {
        if (known.unit == unit) return known.divisor;
    }
    return std::nullopt;
}

}  // namespace

int print_total(std::int64_t total, const run_options& options) {
    if (options.stat_column == run_options::no_statistics) return DONE;

    stringEx text;
    if (options.unit == stat_unit::as_is) {
        text.append_number(total);
    } else {
        const std::optional<long double> divisor = divisor_of(options.unit);
        if (!divisor) return IMPOSSIBLE_UNIT;
        text.format(LONGEST_TOTAL, "%.*Lf", std::min(options.decimals, MOST_DECIMALS),
                    static_cast<long double>(total) / *divisor);
    }
    print_text(text);
    return DONE;
}

}  // namespace tallycsv

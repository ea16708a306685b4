#include "options.h"

namespace tallycsv {
namespace {

struct unit_name {
    const char* name;
    stat_unit unit;
};

constexpr unit_name UNIT_NAMES[] = {
    {"k10", stat_unit::k10}, {"k2", stat_unit::k2}, {"m10", stat_unit::m10}, {"m2", stat_unit::m2},
    {"g10", stat_unit::g10}, {"g2", stat_unit::g2}, {"t10", stat_unit::t10}, {"t2", stat_unit::t2},
};

stat_unit unit_by_name(const stringEx& name) {
    for (const unit_name& known : UNIT_NAMES) {
        if (name == known.name) return known.unit;
    }
    return stat_unit::as_is;
}

std::uint32_t low_32_bits(const stringEx& text) {
    return static_cast<std::uint32_t>(text.to_uint64());
}

/// -c, and if it is given -u and -f.
void read_statistics(const CCmdLineParser& command, run_options& options) {
    const stringEx column = command.GetValue("c"_lit, 0);
    if (column.empty()) return;

    // 32-bit arithmetic: column 0 becomes one that no row has, which is not the value for "no statistics"
    options.stat_column = low_32_bits(column) - 1u;
    options.unit = unit_by_name(command.GetValue("u"_lit, 0));
    const stringEx decimals = command.GetValue("f"_lit, 0);
    if (!decimals.empty()) options.decimals = static_cast<std::int32_t>(decimals.to_int64());
}

}  // namespace

run_options read_options(const CCmdLineParser& command) {
    run_options options;
    options.pattern = command.GetPositional(0);
    options.include_sub_dirs = command.Find("s"_lit, 0) != -1;
    options.skip_first_row = command.Find("i"_lit, 0) != -1;
    const std::uint32_t columns = low_32_bits(command.GetValue("m"_lit, 0));
    if (columns != 0) options.key_columns = columns;
    const stringEx path = command.GetValue("o"_lit, 0);
    if (!path.empty()) options.output_path = path;
    read_statistics(command, options);
    return options;
}

}  // namespace tallycsv

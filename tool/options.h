#pragma once

#include <cstdint>
#include <limits>

#include "cmd_line.h"
#include "orlo/strings/buffer.h"

namespace tallycsv {

/// The unit of the grand total, by the codes of the unit table.
enum class stat_unit : int {
    as_is = 0,
    k10 = 10,
    k2 = 11,
    m10 = 20,
    m2 = 21,
    g10 = 30,
    g2 = 31,
    t10 = 40,
    t2 = 41
};

/// What the command line asks for.
struct run_options {
    static constexpr std::uint64_t no_statistics = std::numeric_limits<std::uint64_t>::max();

    stringEx pattern;
    bool include_sub_dirs = false;              ///< -s
    bool skip_first_row = false;                ///< -i, of every file
    std::uint32_t key_columns = 2;              ///< -m
    stringEx output_path = "merged.csv"_lit;    ///< -o
    std::uint64_t stat_column = no_statistics;  ///< -c, from 0
    stat_unit unit = stat_unit::as_is;          ///< -u
    std::int32_t decimals = 2;                  ///< -f
};

/// Whatever stands in a switch gives some value: reading options cannot fail.
run_options read_options(const CCmdLineParser& command);

}  // namespace tallycsv

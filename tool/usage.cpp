#include "usage.h"

#include <cstdint>

#include "console.h"
#include "orlo/strings/buffer.h"

namespace tallycsv {
namespace {

/// Major 5 bits, minor 5, revision 11, build 11.
constexpr std::uint32_t VERSION_WORD = 1u << 27 | 0u << 22 | 2u << 11 | 516u;

constexpr const char RULE[] =
    "==============================================================================\n";
constexpr const char WEB_ADDRESS[] = "https://tallycsv.example/";

constexpr const char USAGE[] =
    "  Perform cumulative addition for each column in the matched rows\n"
    "\n"
    "USAGE: tallycsv <csv file pattern> [OPTIONS]\n"
    "\n"
    "==============================================================================\n"
    "OPTIONs:\n"
    " -m: how many columns to categorize and summarize, default: 2 (matches the \n"
    "     first two columns).\n"
    " -o: the csv output file path, DEFAULT: 'merged.csv' (pwd).\n"
    " -s  include sub-directories.\n"
    " -i  ignore first row.\n"
    " -c: summarizing statistics column, default: none (from 1).\n"
    " -u: summarizing statistics output unit, can be:\n"
    "     k10: K (decimal measurement);\n"
    "     k2 : K (binary measurement);\n"
    "     m10: M (decimal measurement);\n"
    "     m2 : M (binary measurement);\n"
    "     g10: G (decimal measurement);\n"
    "     g2 : G (binary measurement);\n"
    "     t10: T (decimal measurement);\n"
    "     t2 : T (binary measurement).\n"
    "     default: as is.\n"
    " -f: the number of decimal places retained for floating point numbers in p2p\n"
    "     download statistics output (default: 2).\n"
    "\n";

void append_version(Orlo::stringEx& text) {
    const std::uint32_t build = VERSION_WORD & 0x7FF;
    text.append_number(std::uint64_t{VERSION_WORD >> 27}).append('.');
    text.append_number(std::uint64_t{VERSION_WORD >> 22 & 0x1F}).append('.');
    text.append_number(std::uint64_t{VERSION_WORD >> 11 & 0x7FF}).append('-');
    if (build < 1000) text.append('0');
    text.append_number(std::uint64_t{build});
}

}  // namespace

void print_usage() {
    Orlo::stringEx banner("\n");
    banner.append(RULE).append("  CSV Tally Tool Ver ");
    append_version(banner);
    banner.append(" by Halvard / 2024\n");
    banner.append("                           ").append(WEB_ADDRESS).append('\n');
    banner.append(RULE);
    print_text(banner);
    print_text(Orlo::stringEx::borrow(USAGE));
}

}  // namespace tallycsv

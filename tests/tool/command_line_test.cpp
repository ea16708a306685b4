#include <gtest/gtest.h>

#include <sstream>

#include "cmd_line.h"
#include "fatal_report.h"
#include "support/run_binary.h"
#include "total.h"

using namespace testing_support;

namespace {

const char USAGE[] =
    "\n==============================================================================\n"
    "  CSV Tally Tool Ver 1.0.2-0516 by Halvard / 2024\n"
    "                           https://tallycsv.example/\n"
    "==============================================================================\n"
    R"(  Perform cumulative addition for each column in the matched rows

USAGE: tallycsv <csv file pattern> [OPTIONS]

==============================================================================
OPTIONs:
 -m: how many columns to categorize and summarize, default: 2 (matches the)"
    " \n"
    R"(     first two columns).
 -o: the csv output file path, DEFAULT: 'merged.csv' (pwd).
 -s  include sub-directories.
 -i  ignore first row.
 -c: summarizing statistics column, default: none (from 1).
 -u: summarizing statistics output unit, can be:
     k10: K (decimal measurement);
     k2 : K (binary measurement);
     m10: M (decimal measurement);
     m2 : M (binary measurement);
     g10: G (decimal measurement);
     g2 : G (binary measurement);
     t10: T (decimal measurement);
     t2 : T (binary measurement).
     default: as is.
 -f: the number of decimal places retained for floating point numbers in p2p
     download statistics output (default: 2).

)";

TEST(CommandLine, WrongCountOfPatternsShowsUsage) {
    const run_folder folder{{"a.csv", "a,b,1"}};
    for (const char* const arguments : {"", "-i", "a.csv b.csv", "a.csv -m 1", "a.csv -", "-u k10 a.csv"})
        EXPECT_EQ(folder.run(arguments), ended(255, USAGE));
    EXPECT_EQ(folder.content("merged.csv"), "(none)");
}

TEST(CommandLine, IsSplitIntoSwitchesAndPositions) {
    const struct {
        std::vector<std::string> arguments;
        const char* name;
        std::size_t nth;
        std::string
            answers;  ///< the index and value of the switch, the count of positions and the second one
    } rows[] = {
        {{}, "m", 0, "-1  0 "},
        {{"-m:9"}, "m", 0, "-1  0 "},  // the program's own name takes no part
        {{"tool", "p", "-m=3"}, "m", 0, "2 3 1 "},
        {{"tool", "-m:a=b:c", "q"}, "m", 0, "1 a=b:c 1 "},
        {{"tool", "-m:1", "-m"}, "m", 1, "2  0 "},
        {{"tool", "-mm:1", "-M:2"}, "m", 0, "-1  0 "},
        {{"tool", "--m:1"}, "-m", 0, "1 1 0 "},
        {{"tool", "-", "q"}, "", 0, "-1  2 q"},
        {{"tool", "", "m:1"}, "m", 0, "-1  2 m:1"},
        {{"tool", "p", "-:x", "-=y"}, "", 0, "-1  1 -:x"},
    };
    for (auto [words, name, nth, answers] : rows) {
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        tallycsv::CCmdLineParser parser;
        EXPECT_EQ(parser.Load(static_cast<int>(argv.size()), argv.data()), !argv.empty());
        std::ostringstream given;
        given << parser.Find(name, nth) << ' ' << parser.GetValue(name, nth) << ' '
              << parser.GetPositionalCount() << ' ' << parser.GetPositional(1);
        EXPECT_EQ(given.str(), answers) << testing::PrintToString(words);
    }
}

// What no command line and no failure of the library leads to.
TEST(CommandLine, LastResorts) {
    tallycsv::run_options options;
    options.stat_column = 0;
    options.unit = static_cast<tallycsv::stat_unit>(12);
    EXPECT_EQ(tallycsv::print_total(1, options), 2);

    testing::internal::CaptureStderr();
    EXPECT_EQ(tallycsv::report_unknown_failure(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "## [FATAL ERROR]: unknown system error\n");
}

}  // namespace

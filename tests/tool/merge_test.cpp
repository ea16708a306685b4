// Runs of the program on real files: what is read, how rows become groups, what is written and printed.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <sstream>

#include "support/run_binary.h"

using namespace testing_support;

namespace {

const std::string MAX = "9223372036854775807";
const std::string MIN = "-9223372036854775808";

struct merge_case {
    const char* what;
    std::string inputs;  ///< of 1.csv, 2.csv and so on; a form feed begins the next file
    std::string switches;
    std::string merged;
    std::string total = "";
};

void expect_merge(const merge_case& expected) {
    const run_folder folder;
    std::istringstream inputs(expected.inputs + '\f');
    std::string content;
    for (int number = 1; std::getline(inputs, content, '\f'); ++number)
        folder.write_file(std::to_string(number) + ".csv", content);

    SCOPED_TRACE(expected.what);
    EXPECT_EQ(folder.run("?.csv " + expected.switches), ended(0, expected.total));
    EXPECT_EQ(folder.content("merged.csv"), expected.merged);
}

void expect_merges(std::initializer_list<merge_case> cases) {
    for (const merge_case& expected : cases)
        expect_merge(expected);
}

TEST(Merge, FoldsRowsIntoGroups) {
    expect_merges({
        {"keys sort", "b,x,1\r\na,x,2\r\n\fb,x,10,5\r\na,y,20", "-c:3", "a,x,2,0\r\na,y,20,0\r\nb,x,11,5",
         "33"},
        {"all rows are as wide as the widest", "k,k,1\r\nk,k,1,2,3\r\nk,k,1,2\r\n\fz,z,1,1,1,1,7\r\n", "",
         "k,k,3,4,3,0,0\r\nz,z,1,1,1,1,7"},
        {"rows of just the key have no sum", "a,b,c\r\n", "-m:3 -c:4", "a,b,c", "0"},
        {"keys may collide, and the first row names the group", "a b,c,1\r\na,b c,2\r\n", "", "a b,c,3"},
        {"a blank sorts before other characters, and case counts",
         "a!,x,1\r\na,x,1\r\nA,x,1\r\n\xC3\xA4,x,1\r\n", "", "A,x,1\r\na,x,1\r\na!,x,1\r\n\xC3\xA4,x,1"},
        {"sums wrap, a single cell saturates",
         "w,," + MAX + "\r\nw,,1\r\ns,,99999999999999999999\r\nt,,-99999999999999999999\r\n", "-c:3",
         "s,," + MAX + "\r\nt,," + MIN + "\r\nw,," + MIN, MAX},
        {"a number ends at the first character that is none", "a,,12abc,1.9,abc,,-,+5, \t7,0x10,--3,-0\r\n",
         "", "a,,12,1,0,0,0,5,7,0,0,0"},
        {"an empty file", "", "-c:3", "", "0"},
    });
}

TEST(Merge, ReadsAndWritesTheDialect) {
    const std::string bytes("\xEF\xBB\xBFq,\xFF\0z,1", 10);
    expect_merges({
        {"quotes where they are needed", "\"a,\"\"b\"\"\",\"line\nend\",1\r\np\"q, r ,2", "",
         "\"a,\"\"b\"\"\",\"line\nend\",1\r\n\"p\"\"q\", r ,2"},
        {"LF alone ends no row", "a,b,1\nc,d,2\n", "", "a,b,1,0,2"},
        {"CR alone ends one and takes the next character with it", "a,b,1\rXc,d,2", "", "a,b,1\r\nc,d,2"},
        {"a blank line is a row of one empty cell", "\r\na,1", "-m:1", ",0\r\na,1"},
        {"a delimiter at the end is followed by a cell", "a,b,", "", "a,b,0"},
        {"bytes are kept as they are", bytes, "", bytes},
        {"a row of the longest length", "a,b," + std::string(65531, '1') + "\r\n", "-c:3", "a,b," + MAX, MAX},
    });
}

TEST(Merge, TakesSwitches) {
    const std::string row = "1,2,3,4";
    const std::string rows = "h,h,1\r\na,b,2\r\n";
    expect_merges({
        {"by equals sign", row, "-m=1 -c=2", row, "2"},
        {"none is 2", row, "-m:0 -c:2", row, "0"},
        {"32 bits are kept", row, "-m:4294967297 -c:2", row, "2"},
        {"-1 is huge", row, "-m:-1 -c:3", "", "0"},
        {"the first of two counts", row, "-m:1 -m:3 -c:2", row, "2"},
        {"case counts, and unknown switches are let pass", row, "-M:1 --x -c:2", row, "0"},
        {"a first row less in every file", rows + '\f' + rows + "\f", "-i:0", "a,b,4"},
        {"no output name is the usual one", row, "-o", row},
        {"no column, no unit", row, "-u:k10 -f:1", row},
        {"column 0 matches nothing", row, "-c:0", row, "0"},
        {"32 bits of it are kept", row, "-c:4294967299", row, "3"},
    });
}

TEST(Merge, PrintsTheTotalInUnits) {
    const std::string row = "a,b,1234567890123456,-1500";
    const auto expect_totals = [&](const std::string& before, const std::string& cases) {
        std::istringstream words(cases);
        for (std::string given, total; std::getline(words >> std::ws, given, '>') && words >> total;)
            expect_merge({"total", row, before + given, row, total});
    };
    expect_totals("-c:3 -u:",
                  "k10>1234567890123.46 k2>1205632705198.69 m10>1234567890.12 m2>1177375688.67 "
                  "g10>1234567.89 g2>1149780.95 t10>1234.57 t2>1122.83 K10>1234567890123456");
    expect_totals("-c:4 -u:k10 -f:",
                  ">-1.50 x>-2 -1>-1.500000 4294967297>-1.5 2147483647>-1.5" + std::string(60, '0'));
}

TEST(Merge, WritesWhereItIsTold) {
    const std::pair<const char*, std::string> rows[] = {{"1.csv -o:d\\o.csv", "d/o.csv"},
                                                        {"1.csv -o=$DIR/a=b:c", "a=b:c"},
                                                        {"1.csv -o:d/../old.csv", "old.csv"},
                                                        {"*.csv -o:old.csv", "old.csv"},
                                                        {"*.csv -o:1.csv -o:2.csv", "1.csv"}};
    for (const auto& [arguments, place] : rows) {
        const run_folder folder{{"1.csv", "a,b,1"}, {"old.csv", "a,b,2"}, {"d/x", ""}};
        EXPECT_EQ(folder.run(arguments), ended(0));
        EXPECT_EQ(folder.content(place), place == "1.csv" ? "a,b,2" : "a,b,1") << arguments;
    }
}

// Each file adds a power of ten of its own, so the total tells which ones were read. What "*" stands for ends
// at the first ".csv", so "*.csv" is no mask for d.csv.csv. A switch without a name is taken for the pattern.
TEST(Merge, FindsFilesByPattern) {
    const run_folder folder{{"a.csv", "k,k,1"},          {"b.CSV", "k,k,10"},
                            {".c.csv", "k,k,100"},       {"d.csv.csv", "k,k,1000"},
                            {"e[1].txt", "k,k,10000"},   {"sub/f.csv", "k,k,100000"},
                            {"sub/.g/g", "k,k,1000000"}, {"\xFF\xFE.csv", "k,k,10000000"},
                            {"other/h", "k,k,1"}};
    folder.make_dir("other/folder");
    folder.make_link("other/loop", "loop");
    folder.make_link("other/linked", folder / "b.CSV");
    const std::pair<std::string, std::string> rows[] = {
        {"*.csv", "10000101"},     {"*.CSV", "10"},       {"?.csv", "1"},
        {"''", "10011111"},        {"$DIR", "10011111"},  {"e[1]*", "10000"},
        {"sub/", "100000"},        {"sub\\f*", "100000"}, {".c*", "100"},
        {"\xFF?.csv", "10000000"}, {"sub -s", "1100000"}, {"g -s", "1000000"},
        {"other", "11"},           {"./a.csv", ""},       {"g", ""},
        {"-:x a.csv", ""}};
    for (const auto& [arguments, total] : rows)
        EXPECT_EQ(folder.run(arguments + " -c:3 -o:/dev/null"), ended(total.empty() ? 1 : 0, total))
            << arguments;
    EXPECT_EQ(folder.run("nothing"), ended(1));
    EXPECT_EQ(folder.content("merged.csv"), "(none)");
}

// More files than a process may have open at a time.
TEST(Merge, ThousandsOfFilesInOneFolder) {
    const run_folder folder;
    for (int i = 0; i < 3000; ++i)
        folder.write_file("in/" + std::to_string(i), "a,b,1");
    const auto few_at_a_time = [] {
        const rlimit limit{WITH_SANITIZER ? 1000u : 64u, WITH_SANITIZER ? 1000u : 64u};
        setrlimit(RLIMIT_NOFILE, &limit);
    };
    EXPECT_EQ(folder.run("in -c:3", few_at_a_time), ended(0, "3000"));
}

}  // namespace

// Merging merged files gives what merging all files gives, as long as no two keys read alike when joined.

#include <gtest/gtest.h>

#include <random>

#include "support/run_binary.h"

using namespace testing_support;

namespace {

/// Rows of different widths, with keys that have to be quoted and numbers over the whole range and beyond.
std::string random_rows(std::mt19937& random, int count) {
    static const char* const keys[] = {"a", "\"b,\"\"c\"\"\"", "\"\r\n\"", "", "\xC3\xA4", "p\"q"};
    static const char* const cells[] = {"1",     "-7", "9223372036854775807", "-99999999999999999999",
                                        "12abc", ""};
    const auto pick = [&random](const auto& from) { return from[random() % std::size(from)]; };
    std::string rows;
    for (int i = 0; i < count; ++i) {
        rows += std::string(pick(keys)) + "," + pick(keys);
        for (auto width = random() % 5; width > 0; --width)
            rows += std::string(",") + pick(cells);
        rows += "\r\n";
    }
    return rows;
}

TEST(Split, MergingMergedFilesGivesTheSame) {
    const std::uint32_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 20; ++round) {
        const run_folder folder{{"parts/0", ""}};
        for (const char* const machine : {"0", "1", "2"}) {
            for (const char* const name : {"/1.csv", "/2.csv"})
                folder.write_file(std::string("in/") + machine + name,
                                  "header\r\n" + random_rows(random, 20));
            EXPECT_EQ(folder.run(std::string("in/") + machine + " -i -o:parts/" + machine), ended(0));
        }
        EXPECT_EQ(folder.run("parts -c:4 -o:again.csv"), folder.run("in -s -i -c:4"));
        EXPECT_EQ(folder.content("again.csv"), folder.content("merged.csv"));
    }
}

}  // namespace

// What the program does not carry.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "support/run_binary.h"

TEST(Binary, HasNoTextConverters) {
    std::ifstream file(testing_support::tallycsv_path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    ASSERT_NE(bytes.find("CCsvParser"), std::string::npos);
    EXPECT_EQ(bytes.find("CTextLibI"), std::string::npos) << "a wide form lies beside what the tool uses";
}

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t ALL_ONES = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t TOP_BIT = std::uint64_t{1} << 63;
constexpr std::uint32_t DETECT = stringEx::radix_detect;

struct parse_row {
    std::string_view text;
    std::uint32_t radix;
    std::int64_t as_signed;
    std::uint64_t as_unsigned;
    std::size_t end;
    bool signed_range = false;
    bool unsigned_range = false;
};

const parse_row PARSE_ROWS[] = {
    {"", 10, 0, 0, 0},
    {"12abc", 10, 12, 12, 2},
    {"1.9", 10, 1, 1, 1},
    {"abc", 10, 0, 0, 0},
    {"-", 10, 0, 0, 1},
    {"  ", 10, 0, 0, 2},
    {" -", 10, 0, 0, 2},
    {"--5", 10, 0, 0, 1},
    {"+7", 10, 7, 7, 2},
    {"-7", 10, -7, static_cast<std::uint64_t>(-7), 2},
    {"- 7", 10, 0, 0, 1},
    {std::string_view("\0\t\n\v\r 42", 8), 10, 42, 42, 8},
    {"\f42", 10, 0, 0, 0},
    {"9223372036854775807", 10, MOST, TOP_BIT - 1, 19},
    {"9223372036854775808", 10, MOST, TOP_BIT, 19, true, false},
    {"-9223372036854775808", 10, LEAST, TOP_BIT, 20},
    {"-9223372036854775809", 10, LEAST, TOP_BIT, 20, true, true},
    {"18446744073709551615", 10, MOST, ALL_ONES, 20, true, false},
    {"18446744073709551616", 10, MOST, ALL_ONES, 19, true, true},
    {"-18446744073709551616", 10, LEAST, TOP_BIT, 20, true, true},
    {"99999999999999999999999x", 10, MOST, ALL_ONES, 19, true, true},
    {"00000000000000000000000000012", 10, 12, 12, 29},
    {"fF", 16, 255, 255, 2},
    {"0x10", 16, 0, 0, 1},
    {"zz", 36, 35 * 37, 35 * 37, 2},
    {"1012", 2, 5, 5, 3},
    {"12", 1, 0, 0, 0},
    {"12", 37, 0, 0, 0},
    {"-12", 0, 0, 0, 1},
    {"010", DETECT, 8, 8, 3},
    {"0x10", DETECT, 16, 16, 4},
    {"0B101", DETECT, 5, 5, 5},
    {"b11", DETECT, 3, 3, 3},
    {"X1f", DETECT, 31, 31, 3},
    {"-0x1F", DETECT, -31, static_cast<std::uint64_t>(-31), 5},
    {"0", DETECT, 0, 0, 1},
    {"0x", DETECT, 0, 0, 2},
    {"09", DETECT, 0, 0, 1},
    {"12", DETECT, 12, 12, 2},
};

template <class Text>
void check_parse(const parse_row& row) {
    using T = typename Text::value_type;
    const std::basic_string<T> units(row.text.begin(), row.text.end());
    const Text text(units.data(), units.size());
    std::size_t end = 777;
    errno = 0;
    EXPECT_EQ(text.to_int64(0, Text::npos, row.radix, &end), row.as_signed) << row.text;
    EXPECT_EQ(errno, row.signed_range ? ERANGE : 0) << row.text;
    EXPECT_EQ(end, row.end) << row.text;
    end = 777;
    errno = 0;
    EXPECT_EQ(text.to_uint64(0, Text::npos, row.radix, &end), row.as_unsigned) << row.text;
    EXPECT_EQ(errno, row.unsigned_range ? ERANGE : 0) << row.text;
    EXPECT_EQ(end, row.end) << row.text;
    EXPECT_EQ(parse_int64(text, row.radix), row.as_signed) << row.text;
}

TEST(NumberParse, Table) {
    for (const parse_row& row : PARSE_ROWS) {
        check_parse<stringEx>(row);
        check_parse<wstringEx>(row);
    }
}

TEST(NumberParse, Stretches) {
    const stringEx text("ab-123456");
    std::size_t end = 0;
    EXPECT_EQ(text.to_int64(2, 4, 10, &end), -123);
    EXPECT_EQ(end, 6u);
    EXPECT_EQ(text.to_int64(3, 100), 123456);
    EXPECT_EQ(text.to_int64(9, 5, 10, &end), 0);
    EXPECT_EQ(text.to_int64(2, 0), 0);
}

TEST(NumberText, Table) {
    struct row {
        std::int64_t value;
        std::uint32_t radix;
        const char* as_signed;
        const char* as_unsigned;
    };
    const row rows[] = {
        {0, 10, "0", "0"},
        {-255, 16, "FF", "FFFFFFFFFFFFFF01"},
        {255, 16, "FF", "FF"},
        {-255, 10, "-255", "18446744073709551361"},
        {LEAST, 10, "-9223372036854775808", "9223372036854775808"},
        {MOST, 10, "9223372036854775807", "9223372036854775807"},
        {LEAST, 2, "1000000000000000000000000000000000000000000000000000000000000000",
         "1000000000000000000000000000000000000000000000000000000000000000"},
        {35, 36, "Z", "Z"},
        {-5, 1, "0", "0"},
        {5, 37, "0", "0"},
    };
    for (const row& r : rows) {
        stringEx text("n=");
        text.append_number(r.value, r.radix);
        EXPECT_EQ(text.view(), std::string("n=") + r.as_signed);
        text.assign_number(static_cast<std::uint64_t>(r.value), r.radix);
        EXPECT_EQ(text, r.as_unsigned);
        wstringEx wide;
        wide.append_number(r.value, r.radix);
        EXPECT_TRUE(std::equal(wide.begin(), wide.end(), r.as_signed, r.as_signed + strlen(r.as_signed)));
    }
}

// Text and back in every radix, and against the C library in radix 10.
TEST(NumberText, RoundTripsInEveryRadix) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t value = random() >> (random() % 64);
        const std::uint32_t radix = 2 + static_cast<std::uint32_t>(random() % 35);
        stringEx text;
        text.append_number(value, radix);
        ASSERT_EQ(text.to_uint64(0, stringEx::npos, radix), value) << text;
        text.assign_number(value);
        ASSERT_EQ(std::strtoull(text.c_str(), nullptr, 10), value);
    }
}

}  // namespace
}  // namespace Orlo

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <tuple>
#include <vector>

#include "strings/decimal.h"
#include "strings/twins.h"

using namespace Orlo;

namespace {

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t ALL_ONES = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t TOP_BIT = std::uint64_t{1} << 63;
constexpr std::uint32_t ANY = stringEx::radix_detect;

struct parse_row {
    std::string_view text;
    std::uint32_t radix;
    std::int64_t as_signed;
    std::size_t end;
    std::optional<std::uint64_t> as_unsigned = {};  // if it is not the signed number's bits
    int out_of_range = 0;                           // 1: as a signed number, 2: as both
};

const std::vector<parse_row> SHORT_ROWS = {
    {"", 10, 0, 0},         {"12abc", 10, 12, 2}, {"1.9", 10, 1, 1},   {"abc", 10, 0, 0},
    {"-", 10, 0, 1},        {"  ", 10, 0, 2},     {" -", 10, 0, 2},    {"--5", 10, 0, 1},
    {"+7", 10, 7, 2},       {"-7", 10, -7, 2},    {"- 7", 10, 0, 1},   {"\f42", 10, 0, 0},
    {"fF", 16, 255, 2},     {"0x10", 16, 0, 1},   {"zz", 36, 1295, 2}, {"1012", 2, 5, 3},
    {"12", 1, 0, 0},        {"12", 37, 0, 0},     {"-12", 0, 0, 1},    {"010", ANY, 8, 3},
    {"0x10", ANY, 16, 4},   {"0B101", ANY, 5, 5}, {"b11", ANY, 3, 3},  {"X1f", ANY, 31, 3},
    {"-0x1F", ANY, -31, 5}, {"0", ANY, 0, 1},     {"0x", ANY, 0, 2},   {"09", ANY, 0, 1},
    {"12", ANY, 12, 2},
};
const std::vector<parse_row> LONG_ROWS = {
    {"00000000000000000000000012", 10, 12, 26, 12},
    {"9223372036854775807", 10, MOST, 19, TOP_BIT - 1},
    {"9223372036854775808", 10, MOST, 19, TOP_BIT, 1},
    {"-9223372036854775808", 10, LEAST, 20, TOP_BIT},
    {"-9223372036854775809", 10, LEAST, 20, TOP_BIT, 2},
    {"18446744073709551615", 10, MOST, 20, ALL_ONES, 1},
    {"18446744073709551616", 10, MOST, 19, ALL_ONES, 2},
    {"-18446744073709551616", 10, LEAST, 20, TOP_BIT, 2},
    {"99999999999999999999x", 10, MOST, 19, ALL_ONES, 2},
};

template <class T>
void check_parse(const parse_row& row) {
    SCOPED_TRACE(row.text);
    const basic_buffer<T> text = twin<T>(row.text);
    std::size_t end = 777, unsigned_end = 777;
    errno = 0;
    EXPECT_EQ(text.to_int64(0, text.npos, row.radix, &end), row.as_signed);
    EXPECT_EQ(errno, row.out_of_range >= 1 ? ERANGE : 0);
    errno = 0;
    EXPECT_EQ(text.to_uint64(0, text.npos, row.radix, &unsigned_end),
              row.as_unsigned.value_or(static_cast<std::uint64_t>(row.as_signed)));
    EXPECT_EQ(errno, row.out_of_range == 2 ? ERANGE : 0);
    EXPECT_EQ(std::pair(end, unsigned_end), std::pair(row.end, row.end));
    EXPECT_EQ(parse_int64(text, row.radix), row.as_signed);
}

}  // namespace

TEST(NumberParse, Table) {
    for (const auto* rows : {&SHORT_ROWS, &LONG_ROWS}) {
        for (const parse_row& row : *rows)
            check_parse<char>(row), check_parse<wchar_t>(row);
    }
}

TEST(NumberParse, Stretches) {
    const stringEx text("ab-123456");
    std::size_t end = 0;
    EXPECT_EQ(text.to_int64(2, 4, 10, &end), -123);
    EXPECT_EQ(end, 6u);
    EXPECT_TRUE(text.to_int64(3, 100) == 123456 && text.to_int64(9, 5) == 0 && text.to_int64(2, 0) == 0);
    EXPECT_EQ(stringEx("\0\t\n\v\r 42", 8).to_int64(), 42);
}

TEST(NumberText, Table) {
    const std::string ends_of_64_bits = "1" + std::string(63, '0');
    const std::tuple<std::int64_t, std::uint32_t, std::string, std::string> rows[] = {
        {-255, 16, "FF", "FFFFFFFFFFFFFF01"},
        {-255, 10, "-255", "18446744073709551361"},
        {LEAST, 10, "-9223372036854775808", "9223372036854775808"},
        {MOST, 10, "9223372036854775807", "9223372036854775807"},
        {LEAST, 2, ends_of_64_bits, ends_of_64_bits},
        {35, 36, "Z", "Z"},
        {5, 37, "0", "0"},
        {-5, 1, "0", "0"},
    };
    for (const auto& [value, radix, as_signed, as_unsigned] : rows) {
        stringEx text("n=");
        wstringEx wide;
        EXPECT_EQ(untwin(text.append_number(value, radix)), "n=" + as_signed);
        EXPECT_EQ(untwin(wide.append_number(value, radix)), as_signed);
        EXPECT_EQ(untwin(text.assign_number(static_cast<std::uint64_t>(value), radix)), as_unsigned);
    }
}

// Radix 10 makes two digits at a time.
TEST(NumberText, ValuesOfEverySize) {
    for (std::uint64_t value = ALL_ONES; value != 0; value -= value / 50 + 1)
        ASSERT_EQ(untwin(stringEx().assign_number(value)), std::to_string(value));
}

// At each change of length: as many digits as there are, and as many as are asked for.
TEST(NumberText, DecimalWidths) {
    for (std::uint64_t power = 1; power < TOP_BIT / 10; power *= 10) {
        for (const std::uint64_t value : {power, power * 10 - 1}) {
            char room[IMPL::LONGEST_NUMBER];
            const std::string plain = std::to_string(value), zeros(18 - plain.size(), '0');
            const auto negative = -static_cast<std::int64_t>(value);
            EXPECT_EQ(std::string(room, IMPL::put_natural(room, value)), plain);
            EXPECT_EQ(std::string(room, IMPL::put_number(room, negative, 19)), "-" + zeros + plain);
        }
    }
}

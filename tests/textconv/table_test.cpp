#include <gtest/gtest.h>

#include <set>

#include "orlo/textconv/text_conv.h"
#include "support/expect_throw.h"

using namespace Orlo;

namespace {

TEST(encoding_table, rows) {
    const std::vector<ENCODING_INFO> rows = TTextConv::GetEncodings();
    ASSERT_EQ(rows.size(), 170u);
    EXPECT_TRUE(rows[0].name.empty());
    std::set<std::string> names;
    int right_to_left = 0;
    for (const ENCODING_INFO& row : rows) {
        if (!row.name.empty()) names.emplace(row.name.view());
        right_to_left += static_cast<int>(row.isRightToLeft);
        EXPECT_NE(row.codePage, 0u) << row.name;
        EXPECT_FALSE(row.description.empty()) << row.name;
        EXPECT_EQ(TTextConv::GetEncInfo(row.name).name, row.name);
        EXPECT_FALSE(TTextConv::CPToEnc(row.codePage).empty()) << row.codePage;
    }
    EXPECT_EQ(names.size(), 167u);
    EXPECT_EQ(right_to_left, 11);
}

TEST(encoding_table, look_ups_by_name) {
    const struct {
        const char* asked_for;
        std::uint32_t code_page;
        const char* description;
    } rows[] = {
        {"", 20127, "English - C Default"},
        {"ASCII", 437, "English - ASCII (DOS OEM)"},
        {"US-ASCII", 20127, "English - US-ASCII"},
        {"ANSI_x3.4-1968", 20127, "English - ASCII (x3.4-1968)"},
        {"iso-8859-1", 28591, "Latin 1 (West European) - ISO-8859-1"},
        {"ISO-8859-2", 28592, "Latin 2 (Central and East European) - ISO-8859-2"},
        {"ISO-8859-10", 28594, "Latin 6 (Nordic) - ISO-8859-10"},
        {"iso8859_14", 28591, "Latin 8 (Celtic) - ISO-8859-14"},
        {"KOI8-R", 20866, "Russian - KOI8-R"},
        {"ANSI-LatinI", 1252, "Latin I - ANSI"},
        {"ansi-cyrillic", 1251, "Cyrillic - ANSI"},
        {"MacRoman", 10000, "Roman - MAC"},
        {"OEM-MultlingualLatinI+EuroSymbol", 858, "Multlingual Latin I + Euro symbol - OEM"},
        {"ARMSCII-8", 1254, "Armenian - ARMSCII"},
        {"EBCDIC", 37, "English - EBCDIC"},
        {"utf8", 65001, "Unicode - UTF-8"},
        {"U_T-F8-", 65001, "Unicode - UTF-8"},
        {"GB2312", 936, "Simplified Chinese - GB2312"},  // of two rows the first
    };
    for (const auto& row : rows) {
        const ENCODING_INFO info = TTextConv::GetEncInfo(row.asked_for);
        EXPECT_EQ(info.codePage, row.code_page) << row.asked_for;
        EXPECT_EQ(TTextConv::EncToCP(row.asked_for), row.code_page);
        EXPECT_EQ(info.description, row.description) << row.asked_for;
    }
    const std::string long_name(1 << 20, 'U');
    for (const std::string& name :
         {std::string("UTF-80"), std::string("-"), std::string("UTF-8\0", 6), long_name}) {
        EXPECT_FAILURE(TTextConv::EncToCP(stringEx(name)), tconvExp, 1,
                       "TTextConv::EncToCP - can't convert the encoding to codepage\n"
                       "  corresponding mapping doesn't exist\n  encoding name = " +
                           name);
        EXPECT_FAILURE(TTextConv::GetEncInfo(stringEx(name)), tconvExp, 1,
                       "TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n"
                       "  encoding doesn't exist\n  encoding name = " +
                           name);
    }
}

TEST(encoding_table, look_ups_by_number) {
    const struct {
        std::uint32_t code_page;
        const char* name;
    } rows[] = {{437, "ASCII"},         {20127, "US-ASCII"}, {20866, "KOI8"},   {28591, "ISO-8859-1"},
                {1254, "ANSI-Turkish"}, {65001, "UTF-8"},    {20936, "GB2312"}, {37, "EBCDIC"}};
    for (const auto& row : rows)
        EXPECT_EQ(TTextConv::CPToEnc(row.code_page), row.name);
    for (const std::uint32_t number : {0u, 36u, 0xFFFFFFFFu}) {
        EXPECT_FAILURE(TTextConv::CPToEnc(number), tconvExp, 1,
                       "TTextConv::CPToEnc - can't convert the codepage to encoding\n"
                       "  corresponding mapping doesn't exist\n  code page     = " +
                           std::to_string(number));
    }
}

TEST(encoding_table, groups) {
    const std::pair<const char*, std::size_t> expected[] = {{"Unicode Charset", 15},
                                                            {"Standard English", 8},
                                                            {"West European", 17},
                                                            {"Central and East European", 10},
                                                            {"South European", 14},
                                                            {"North European", 16},
                                                            {"Cyrillic", 10},
                                                            {"Greek", 7},
                                                            {"Arabic", 5},
                                                            {"Hebrew", 5},
                                                            {"Simplified Chinese", 8},
                                                            {"Traditional Chinese", 15},
                                                            {"Korean", 8},
                                                            {"Japanese", 11},
                                                            {"Thai", 4},
                                                            {"Vietnamese", 2},
                                                            {"Indian", 10},
                                                            {"GB Special", 33},
                                                            {"CJK Charset", 32}};
    const std::vector<CHARSET_GROUP> groups = TTextConv::GetCharsetGroups();
    ASSERT_EQ(groups.size(), std::size(expected));
    std::set<std::string> grouped;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        EXPECT_EQ(groups[i].name, expected[i].first);
        EXPECT_EQ(groups[i].encodings.size(), expected[i].second) << groups[i].name;
        std::set<std::string> members;
        for (const stringEx& name : groups[i].encodings) {
            EXPECT_EQ(TTextConv::GetEncInfo(name).name, name);
            members.emplace(name.view());
        }
        EXPECT_EQ(members.size(), expected[i].second) << groups[i].name;
        grouped.merge(members);
    }
    EXPECT_EQ(grouped.size(), 164u) << "three encodings stand in no group";
}

}  // namespace

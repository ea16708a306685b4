#include "orlo/strings/dump.h"

#include <gtest/gtest.h>

#include "strings/twins.h"

using namespace Orlo;

TEST(Dump, CArray) {
    const std::string twelve = "\t0X00, 0X01, 0X02, 0X03, 0X04, 0X05, 0X06, 0X07, 0X08, 0X09, 0X0A, 0XFF";
    const std::string twelve_bytes("\0\1\2\3\4\5\6\7\x8\x9\xA\xFF", 12);
    const struct {
        std::string data;
        bool is_const;
        std::string expected;
    } rows[] = {
        {"", true, "const unsigned char name[] = {\n};\n"},
        {"\xAB", false, "unsigned char name[] = {\n\t0XAB\n};\n"},
        {twelve_bytes, false, "unsigned char name[] = {\n" + twelve + "\n};\n"},
        {twelve_bytes + "z", true, "const unsigned char name[] = {\n" + twelve + ", \n\t0X7A\n};\n"},
    };
    for (const auto& [data, is_const, expected] : rows) {
        stringEx narrow("before ");
        c_array_dump(narrow, twin<unsigned char>(data), "name"_lit, is_const);
        EXPECT_EQ(untwin(narrow), "before " + expected);
        wstringEx wide;
        c_array_dump(wide, twin<unsigned char>(data), L"name"_lit, is_const);
        EXPECT_EQ(untwin(wide), expected);
    }
    stringEx name("n");
    c_array_dump(name, byteEx(), name);
    EXPECT_EQ(untwin(name), "nunsigned char n[] = {\n};\n");
}

TEST(Dump, HexDumpsAreReadBack) {
    std::string all;
    for (int byte = 255; byte >= 0; --byte)
        all += static_cast<char>(byte);
    const byteEx data = twin<unsigned char>(all);
    for (const bool upper : {true, false}) {
        stringEx text("FE"_lit), of_text("FE"_lit);
        wstringEx wide = L"FE"_lit;
        hex_dump(text, data, upper);
        hex_dump(of_text, stringEx(all), upper);
        hex_dump(wide, data, upper);
        EXPECT_EQ(untwin(text).substr(0, 10), upper ? "FEFFFEFDFC" : "FEfffefdfc");
        EXPECT_EQ(untwin(of_text), untwin(text));
        EXPECT_EQ(untwin(wide), untwin(text));

        byteEx read = twin<unsigned char>("+");
        EXPECT_TRUE(hex_read(read, text) && hex_read(read, wide));
        EXPECT_EQ(untwin(read), "+\xFE" + all + "\xFE" + all);
    }
    stringEx self("1a");
    hex_dump(self, self);
    EXPECT_EQ(untwin(self), "1a3161");
}

TEST(Dump, HexReaderRefusesWhatIsNoHexadecimalText) {
    for (const char* const text : {"0", "012", "0g", "g0", "01 2", "0x01", " 01", "-1", "0\xB9"}) {
        byteEx read = twin<unsigned char>("kept");
        EXPECT_FALSE(hex_read(read, stringEx(text))) << text;
        EXPECT_FALSE(hex_read(read, twin<wchar_t>(text))) << text;
        EXPECT_EQ(untwin(read), "kept");
    }
    byteEx read;
    EXPECT_TRUE(hex_read(read, stringEx()));
    EXPECT_TRUE(read.empty());
    EXPECT_FALSE(hex_read(read, L"0\u0130"_lit));
}

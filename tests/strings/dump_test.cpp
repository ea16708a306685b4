#include "orlo/strings/dump.h"

#include <gtest/gtest.h>

#include "strings/twins.h"

using namespace Orlo;

TEST(Dump, CArray) {
    const std::string line = "\t0X00, 0X01, 0X02, 0X03, 0X04, 0X05, 0X06, 0X07, 0X08, 0X09, 0X0A, 0XFF";
    const std::string bytes("\0\1\2\3\4\5\6\7\x8\x9\xA\xFF", 12), head = "unsigned char name[] = {\n";
    const std::pair<std::string, std::string> rows[] = {
        {"", ""}, {"\xAB", "\t0XAB\n"}, {bytes, line + "\n"}, {bytes + "z", line + ", \n\t0X7A\n"}};
    for (const auto& [data, values] : rows) {
        stringEx narrow("name");
        wstringEx wide;
        c_array_dump(narrow, twin<unsigned char>(data), narrow);
        c_array_dump(wide, twin<unsigned char>(data), L"name"_lit, true);
        EXPECT_EQ(untwin(narrow), "name" + head + values + "};\n");
        EXPECT_EQ(untwin(wide), "const " + head + values + "};\n");
    }
}

TEST(Dump, HexDumpsAreReadBack) {
    std::string all;
    for (int byte = 255; byte >= 0; --byte)
        all += static_cast<char>(byte);
    for (const bool upper : {true, false}) {
        stringEx text("FE"), of_text("FE");
        wstringEx wide(L"FE");
        hex_dump(text, twin<unsigned char>(all), upper);
        hex_dump(of_text, stringEx(all), upper);
        hex_dump(wide, twin<unsigned char>(all), upper);
        EXPECT_EQ(untwin(text).substr(0, 10), upper ? "FEFFFEFDFC" : "FEfffefdfc");
        EXPECT_TRUE(untwin(of_text) == untwin(text) && untwin(wide) == untwin(text));
        byteEx read = twin<unsigned char>("+");
        EXPECT_TRUE(hex_read(read, text) && hex_read(read, wide));
        EXPECT_EQ(untwin(read), "+\xFE" + all + "\xFE" + all);
    }
    stringEx self("1a");
    hex_dump(self, self);
    EXPECT_EQ(untwin(self), "1a3161");
}

TEST(Dump, HexReaderRefusesWhatIsNoHexadecimalText) {
    byteEx read = twin<unsigned char>("kept");
    for (const char* const text : {"0", "012", "0g", "g0", "01 2", "0x01", " 01", "-1", "0\xB9"})
        EXPECT_FALSE(hex_read(read, stringEx(text)) || hex_read(read, twin<wchar_t>(text))) << text;
    EXPECT_FALSE(hex_read(read, L"0\u0130"_lit));
    EXPECT_TRUE(hex_read(read, stringEx()));
    EXPECT_EQ(untwin(read), "kept");
}

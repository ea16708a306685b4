#include "orlo/textconv/unicode.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace Orlo;

namespace {

template <class Unit>
stringEx bytes_of(const std::vector<Unit>& units, std::string_view rest = {}) {
    stringEx bytes(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(Unit));
    return bytes.append(rest);
}

std::wstring wide_of(const std::vector<unsigned>& points) {
    return std::wstring(points.begin(), points.end());
}

TEST(unicode, utf16) {
    const struct {
        std::vector<char16_t> units;
        std::vector<unsigned> points;
        std::vector<char16_t> written;
    } rows[] = {
        {{}, {}, {}},
        {{'a', 0xFFFF, 0xFEFF}, {'a', 0xFFFF, 0xFEFF}, {'a', 0xFFFF, 0xFEFF}},
        {{0xD800, 0xDC00, 0xDBFF, 0xDFFF}, {0x10000, 0x10FFFF}, {0xD800, 0xDC00, 0xDBFF, 0xDFFF}},
        {{0xD800}, {0xD800}, {0xFFFD}},
        {{0xDC00, 0xD800, 'a'}, {0xDC00, 0xD800, 'a'}, {0xFFFD, 0xFFFD, 'a'}},
        {{0xD800, 0xD801, 0xDC02}, {0xD800, 0x10402}, {0xFFFD, 0xD801, 0xDC02}},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(UTF16toWC(bytes_of(row.units)).view() == wide_of(row.points));
        EXPECT_EQ(WCtoUTF16(wide_of(row.points)), bytes_of(row.written));
    }
    EXPECT_TRUE(UTF16toWC(bytes_of<char16_t>({'a'}, "\xFF")).view() == L"a\u00FF");
}

TEST(unicode, utf32) {
    const std::vector<unsigned> points = {0, 'a', 0xD800, 0x10FFFF, 0x110000, 0xFFFFFFFF};
    const std::vector<char32_t> units(points.begin(), points.end());
    EXPECT_TRUE(UTF32toWC(bytes_of(units)).view() == wide_of(points));
    EXPECT_EQ(WCtoUTF32(wide_of(points)), bytes_of<char32_t>({0, 'a', 0xFFFD, 0x10FFFF, 0xFFFD, 0xFFFD}));
    EXPECT_TRUE(UTF32toWC(bytes_of<char32_t>({'a'}, "\xFF\xFE\xFD")).view() == L"a\u00FF\u00FE\u00FD");
    EXPECT_TRUE(UTF32toWC("").empty());
}

TEST(unicode, pointer_and_length) {
    EXPECT_EQ(WCtoUTF8(L"\u00E9x", 1), "\xC3\xA9");
    EXPECT_EQ(UTF8toWC("\xC3\xA9x", 2), L"\u00E9");
    EXPECT_EQ(UTF8toWC(WCtoUTF8(std::wstring_view())), L"");
}

}  // namespace

#include "textconv/defaults.h"

#include <gtest/gtest.h>

#include "orlo/textconv/text_conv.h"
#include "orlo/textconv/unicode.h"
#include "textconv/in_environment.h"

using namespace Orlo;
using testing_support::in_environment;
using testing_support::variables;

namespace {

TEST(text_defaults, encoding_and_locale) {
    const std::string megabyte(1 << 20, 'x');
    const struct {
        variables set;
        std::string encoding, locale;
    } rows[] = {
        {{}, "ASCII", "en_US"},
        {{{"LC_CTYPE", "zh_CN.GB18030@euro"}}, "GB18030", "zh_CN"},
        {{{"ORLO_DEFAULT_MBCS", " KOI8-R\t"}, {"LC_CTYPE", "a.b"}}, "KOI8-R", "a"},
        {{{"ORLO_DEFAULT_MBCS", ""}, {"LC_ALL", "C.UTF-8"}}, "UTF-8", "C"},
        {{{"LC_CTYPE", "C"}, {"LANG", "de_DE.UTF-8"}, {"LC_ALL", "x.y"}}, "UTF-8", "de_DE"},
        {{{"LC_CTYPE", ""}, {"LANG", "@.UTF-8"}, {"LC_ALL", "a.b.c @d.e"}}, "c", "a"},
        {{{"LANG", "ru_RU.@x"}, {"LC_CTYPE", " fr_FR .  "}}, "ASCII", "ru_RU"},
        {{{"ORLO_DEFAULT_MBCS", megabyte}, {"LANG", megabyte}}, megabyte, megabyte},
    };
    for (const auto& row : rows) {
        in_environment(row.set, [&row] {
            EXPECT_EQ(std::string(TTextConv::GetDefaultEncoding().view()), row.encoding);
            EXPECT_EQ(std::string(TTextConv::GetDefaultLocale().view()), row.locale);
            EXPECT_EQ(IsDefaultUtf8(), row.encoding == "UTF-8");
            SetEnv("ORLO_DEFAULT_MBCS", "EBCDIC"), SetEnv("LANG", "it_IT");
            EXPECT_EQ(std::string(TTextConv::GetDefaultEncoding().view()), row.encoding) << "read once";
            EXPECT_EQ(std::string(TTextConv::GetDefaultLocale().view()), row.locale) << "read once";
            EXPECT_FALSE(TTextConv::GetDefault().GetEncName().empty());
        });
    }
}

TEST(text_defaults, ignore_list) {
    const struct {
        std::string list;
        std::uint32_t bits;
    } rows[] = {{"iconv;ICU", 6},
                {"", 0},
                {" isoc / Msw ", 9},
                {"ICONV|iconv", 2},
                {"icon;vICU", 0},
                {";;icu//|", 4},
                {std::string(1 << 20, ';') + "ICU", 4}};
    for (const auto& row : rows) {
        in_environment({{"ORLO_TEXTCONV_IGNORE_LIST", row.list}},
                       [&row] { EXPECT_EQ(IMPL::ignored_back_ends(), row.bits); });
    }
}

TEST(text_defaults, utf8_is_known_however_it_is_spelt) {
    for (const char* const name : {"UTF-8", "utf-8", "utf8", "Utf_8"}) {
        in_environment({{"LANG", std::string("xx_XX.") + name}}, [] {
            EXPECT_TRUE(IsDefaultUtf8());
            EXPECT_EQ(TTextConv::GetDefault().MBtoWC("\xC3\xA9\xFF"_lit), L"\u00E9\u00FF");
            EXPECT_TRUE(MBtoUTF8("\xFF"_lit) == "\xFF");
        });
    }
    in_environment({{"ORLO_DEFAULT_MBCS", "KOI8-R"}}, [] {
        EXPECT_TRUE(MBtoUTF8("\xC1"_lit) == "\xD0\xB0");
        EXPECT_TRUE(UTF8toMB("\xD0\xB0\xE2\x82\xAC"_lit) == "\xC1");
    });
}

}  // namespace

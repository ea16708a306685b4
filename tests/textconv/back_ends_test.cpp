// The converters over the real libraries of this machine.

#include <gtest/gtest.h>

#include <clocale>
#include <fstream>
#include <map>
#include <thread>

#include "orlo/textconv/text_conv.h"
#include "support/expect_throw.h"
#include "support/run_binary.h"
#include "textconv/in_environment.h"
#include "textconv/text_lib_iconv.h"
#include "textconv/text_lib_icu.h"

using namespace Orlo;
using testing_support::in_environment;

namespace {

std::string narrowed(const TTextConv& converter, const std::wstring& text) {
    return std::string(converter.WCtoMB(wstringEx(text)).view());
}

std::wstring widened(const TTextConv& converter, std::string_view text) {
    return std::wstring(converter.MBtoWC(stringEx(text)).view());
}

bool process_has_mapped(const char* library) {
    std::ifstream maps("/proc/self/maps");
    const std::string text{std::istreambuf_iterator<char>(maps), {}};
    return text.find(library) != std::string::npos;
}

const std::map<std::string, std::wstring> TEXT_OF_GROUP = {
    {"Unicode Charset", L"\u0416\u4E2D\u00E9A"},
    {"Standard English", L"tea 12%"},
    {"West European", L"\u00FC\u00E9"},
    {"Central and East European", L"\u00E4"},
    {"South European", L"\u00E7"},
    {"North European", L"\u00E5\u00C6"},
    {"Cyrillic", L"\u0416\u044F"},
    {"Greek", L"\u03B1\u03A9"},
    {"Arabic", L"\u0627\u0628"},
    {"Hebrew", L"\u05D0\u05EA"},
    {"Simplified Chinese", L"\u4E2D\u6587"},
    {"Traditional Chinese", L"\u4E2D\u6587"},
    {"Korean", L"\uD55C\uAE00"},
    {"Japanese", L"\u65E5\u672C"},
    {"Thai", L"\u0E01\u0E4F"},
    {"Vietnamese", L"\u1EBF"},
};
/// Encodings that do not have what their group has.
const std::map<std::string, std::wstring> TEXT_OF_ENCODING = {
    {"ARMSCII-8", L"\u0531\u0561"},        {"EBCDIC-Serbian-Bulgarian", L"\u0416"},
    {"MacCentralEurope", L"\u010D\u0158"}, {"MacLatinII", L"\u010D\u0158"},
    {"ISO-8859-13", L"\u0105\u00C6"},      {"ANSI-Baltic", L"\u0105\u00C6"},
    {"OEM-Baltic", L"\u0105\u00C6"},       {"EBCDIC-Greek-423", L"\u03B1\u03C9"},
    {"OEM-Arabic", L"\u0660\u060C"},       {"EBCDIC-Japanese", L"\u30A2\u30A4"},
    {"ISCII-DE", L"\u0928\u092E"},         {"ISCII-BE", L"\u09A8\u09AE"},
    {"ISCII-TA", L"\u0BA8\u0BAE"},         {"ISCII-TE", L"\u0C28\u0C2E"},
    {"ISCII-AS", L"\u09A8\u09AE"},         {"ISCII-OR", L"\u0B28\u0B2E"},
    {"ISCII-KA", L"\u0CA8\u0CAE"},         {"ISCII-MA", L"\u0D28\u0D2E"},
    {"ISCII-GU", L"\u0AA8\u0AAE"},         {"ISCII-PA", L"\u0A28\u0A2E"},
    {"ISO-8859-11", L"\u0E01\u0E4F"},      {"ISO-8859-8-i", L"\u05D0\u05EA"},
};

/// Encodings that neither library knows under any name.
constexpr const char* UNKNOWN[] = {"MacIceland",
                                   "MacCroatian",
                                   "MacRomania",
                                   "IA5-German",
                                   "IA5-Swedish",
                                   "IA5-Norwegian",
                                   "EBCDIC-LatinI-924",
                                   "MacHebrew",
                                   "MacArabic",
                                   "MacChineseSimp",
                                   "EBCDIC-ChineseSimp-50935",
                                   "BIG5-HKSCS:1999",
                                   "BIG5-HKSCS:2001",
                                   "MacChineseTrad",
                                   "CNS-Taiwan",
                                   "TCA-Taiwan",
                                   "Eten-Taiwan",
                                   "IBM-Taiwan",
                                   "TeleText-Taiwan",
                                   "Wang-Taiwan",
                                   "ISO-2022-TW",
                                   "MacKorean",
                                   "Wansung-Korean",
                                   "MacJapanese",
                                   "MacThai"};

std::string icu_open_failed(const std::string& key, const std::string& asked_for) {
    return "CTextLibIcu::CTextLibIcu - failed init encoding convertion\n  " + key + " = " + asked_for +
           "\n  error number  = 4\n  error desc    = U_FILE_ACCESS_ERROR";
}

std::string iconv_open_failed(const std::string& key, const std::string& asked_for) {
    return "CTextLibIConv::CTextLibIConv - failed init encoding convertion\n  " + key + " = " + asked_for +
           "\n  error code    = 22\n  error desc    = unexpect system error: Invalid argument";
}

TEST(converters, every_encoding_both_ways_on_text_of_its_script) {
    in_environment({}, [] {
        std::map<std::string, std::wstring> texts;
        for (const CHARSET_GROUP& group : TTextConv::GetCharsetGroups()) {
            const auto text = TEXT_OF_GROUP.find(std::string(group.name.view()));
            for (const stringEx& name : group.encodings) {
                if (text != TEXT_OF_GROUP.end()) texts.emplace(name.view(), text->second);
            }
        }
        for (const auto& [name, text] : TEXT_OF_ENCODING)
            texts[name] = text;
        for (const char* const name : UNKNOWN) {
            EXPECT_FAILURE(static_cast<void>(TTextConv::Create(stringEx(name))), libicuExp, libicu_code::open,
                           icu_open_failed("encoding name", name));
            texts.erase(name);
        }
        EXPECT_EQ(texts.size() + std::size(UNKNOWN), 167u);
        for (const auto& [name, text] : texts) {
            SCOPED_TRACE(name);
            const shared_ptr<TTextConv> converter = TTextConv::Create(stringEx(name));
            EXPECT_EQ(converter->GetEncName(), stringEx(name));
            EXPECT_EQ(converter->GetCodePage(), TTextConv::EncToCP(stringEx(name)));
            // twice, and in a clone: no state may stay
            const std::string bytes = narrowed(*converter, text);
            EXPECT_EQ(narrowed(*converter, text), bytes);
            EXPECT_EQ(narrowed(*converter->Clone(), text), bytes);
            EXPECT_EQ(widened(*converter, bytes), text);
            EXPECT_EQ(widened(*converter, bytes), text);
            EXPECT_EQ(widened(*converter, ""), L"");
        }
    });
}

TEST(converters, bytes_of_some_encodings) {
    in_environment({}, [] {
        const struct {
            const char* name;
            std::wstring text;
            std::string bytes;
        } rows[] = {
            {"ISO-8859-2", L"\u0141\u00F3d\u017A", "\xA3\xF3\x64\xBC"},
            {"ANSI-LatinI", L"\u20AC\u0153", "\x80\x9C"},
            {"OEM-MultilingualLatinI", L"\u00FC", "\x81"},
            {"EBCDIC", L"A1", "\xC1\xF1"},
            {"MacGreek", L"\u03B1", "\xE1"},
            {"ISO-2022-JP", L"\u65E5", "\x1B$BF|\x1B(B"},
            {"UTF-7", L"\u00E9", "+AOk-"},
            {"TCVN", L"\u1EBF", "\xD5"},
            {"UTF-16LE", L"A\U0001F600", std::string("A\0\x3D\xD8\x00\xDE", 6)},
            {"UCS-4BE", L"A", std::string("\0\0\0A", 4)},
            {"EUC-KR", L"\uD55C", "\xC7\xD1"},
            {"ISCII-DE", L"\u0928", "\xEF\x42\xC6"},
        };
        for (const auto& row : rows) {
            const shared_ptr<TTextConv> converter = TTextConv::Create(stringEx(row.name));
            EXPECT_EQ(narrowed(*converter, row.text), row.bytes) << row.name;
            EXPECT_EQ(widened(*converter, row.bytes), row.text) << row.name;
        }
    });
}

TEST(converters, by_code_page) {
    in_environment({}, [] {
        for (const auto& [number, bytes] :
             {std::pair{28592u, "\xB1"}, {1252u, "\x80"}, {866u, "\xA4"}, {37u, "\xC1"}}) {
            const shared_ptr<TTextConv> by_iconv(new CTextLibIConv(number)), by_icu(new CTextLibIcu(number));
            EXPECT_EQ(by_iconv->GetEncName(), TTextConv::CPToEnc(number));
            EXPECT_EQ(by_icu->GetEncName(), TTextConv::CPToEnc(number));
            const std::wstring text = widened(*by_iconv, bytes);
            EXPECT_EQ(text.size(), 1u) << number;
            for (const auto& converter : {by_icu, by_icu->CloneByCP(number), by_icu->Clone(),
                                          by_iconv->CloneByCP(number), TTextConv::Create(number)})
                EXPECT_EQ(widened(*converter, bytes), text) << number;
        }
        EXPECT_EQ(TTextConv::Create(65001)->GetEncName(), "UTF-8");
        EXPECT_FAILURE(CTextLibIConv(20000u), libiconvExp, libiconv_code::open,
                       iconv_open_failed("code page    ", "20000"));
        EXPECT_FAILURE(static_cast<void>(TTextConv::Create(12345)), libicuExp, libicu_code::open,
                       icu_open_failed("code page    ", "12345"));
    });
}

TEST(converters, a_character_that_the_encoding_lacks) {
    in_environment({}, [] {
        const CTextLibIConv iconv("ISO-8859-1"_lit);
        const CTextLibIcu icu("ISO-8859-1"_lit);
        EXPECT_EQ(narrowed(iconv, L"a\u20AC\u20ACb\u65E5"), "ab");
        EXPECT_EQ(narrowed(icu, L"a\u20ACb"),
                  "a\x1A"
                  "b");
        const CTextLibIConv ascii("ASCII"_lit);
        EXPECT_EQ(widened(ascii,
                          "a\xFF\xFE"
                          "b\x80"),
                  L"ab");
        EXPECT_EQ(widened(CTextLibIConv("EUC-JP"_lit),
                          "\xC6\xFC\xFF"
                          "A\xC6"),
                  L"\u65E5A");
        EXPECT_EQ(widened(CTextLibIConv("UTF-16LE"_lit), std::string("A\0\x00\xD8"
                                                                     "B\0",
                                                                     6)),
                  L"AB");
        EXPECT_EQ(narrowed(TTextConv(), L"a\u00FF\u0100\x7FFFFFFF"), "a\xFF");
        EXPECT_EQ(widened(TTextConv(), "a\xFF"), L"a\u00FF");

        // far into a text, where the C library's iconv stops
        for (const std::size_t at : {std::size_t{0}, std::size_t{8160}, std::size_t{999'999}}) {
            std::wstring text(1'000'000, L'x');
            text[at] = L'\u20AC';
            EXPECT_EQ(narrowed(iconv, text), std::string(999'999, 'x')) << at;
            std::string bytes(1'000'000, 'x');
            bytes[at] = '\xFF';
            EXPECT_EQ(widened(ascii, bytes), std::wstring(999'999, L'x')) << at;
        }
        EXPECT_EQ(widened(ascii, std::string(100'000, '\xFF')), L"");
    });
}

TEST(converters, names_that_never_reach_a_library) {
    in_environment({}, [] {
        const std::string too_long(65, 'x'), huge(1 << 20, 'x');
        for (const std::string& name :
             {std::string("UTF-7//TRANSLIT"), std::string("KOI8-R\0", 7), std::string("/"), too_long, huge}) {
            EXPECT_FAILURE(CTextLibIConv(stringEx(name)), libiconvExp, libiconv_code::open,
                           iconv_open_failed("encoding name", name));
        }
        const CTextLibIConv known_to_iconv_only("CP10007"_lit);
        EXPECT_THROW(known_to_iconv_only.GetCodePage(), tconvExp);
        for (const std::string& name : {std::string("KOI8-R\0", 7), huge})
            EXPECT_THROW(CTextLibIcu(stringEx(name)), libicuExp);
        EXPECT_EQ(IMPL::iconv_library().Count(), 1u);
        EXPECT_EQ(IMPL::icu_library().Count(), 0u);
    });
}

TEST(converters, the_library_goes_with_the_last_one) {
    in_environment({}, [] {
        EXPECT_FALSE(process_has_mapped("libicuuc"));
        shared_ptr<TTextConv> first(new CTextLibIcu("KOI8-R"_lit));
        EXPECT_TRUE(process_has_mapped("libicuuc"));
        shared_ptr<TTextConv> second = first->CloneByName("MacGreek"_lit);
        EXPECT_EQ(IMPL::icu_library().Count(), 2u);
        EXPECT_THROW(static_cast<void>(first->CloneByName("no such"_lit)), libicuExp);
        EXPECT_EQ(IMPL::icu_library().Count(), 2u) << "as before the failure";
        first.reset();
        EXPECT_EQ(widened(*second, "\xE1"), L"\u03B1");
        second.reset();
        EXPECT_EQ(IMPL::icu_library().Count(), 0u);
        EXPECT_FALSE(process_has_mapped("libicuuc"));
        EXPECT_EQ(CTextLibIcu("KOI8-R"_lit).GetCodePage(), 20866u) << "and comes back";
    });
}

TEST(converters, loading_and_unloading_keeps_memory) {
    if (testing_support::WITH_SANITIZER) GTEST_SKIP() << "it keeps what is freed";
    in_environment({}, [] {
        const auto resident = [] {
            std::ifstream status("/proc/self/statm");
            long total = 0, pages = 0;
            status >> total >> pages;
            return pages * 4096;
        };
        const auto make_all = [](int count) {
            for (int i = 0; i < count; ++i) {
                CTextLibIcu("MacGreek"_lit).AppendMBtoWC("\xE1"_lit, *std::make_unique<wstringEx>());
                CTextLibIConv("KOI8-R"_lit).AppendMBtoWC("\xE1"_lit, *std::make_unique<wstringEx>());
            }
        };
        make_all(20);
        const long before = resident();
        make_all(100);
        EXPECT_LT(resident() - before, 512 * 1024);
    });
}

TEST(converters, chosen_by_the_environment) {
    const auto no_converter = [](const std::string& key, const std::string& asked_for) {
        return "TTextConv::Create - no converter for the encoding\n  " + key + " = " + asked_for;
    };
    const auto kind = [](const shared_ptr<TTextConv>& made) {
        return dynamic_cast<CTextLibIConv*>(made.get()) != nullptr ? "iconv"
               : dynamic_cast<CTextLibIcu*>(made.get()) != nullptr ? "icu"
                                                                   : "own";
    };
    const struct {
        const char* ignored;
        const char* koi8;
        const char* utf8;
    } rows[] = {{"", "iconv", "own"},         {"iconv", "icu", "own"},      {"icu", "iconv", "own"},
                {"isoc", "iconv", "iconv"},   {"iconv|isoc", "icu", "icu"}, {"iconv;ICU", "", "own"},
                {"iconv/ICU;ISOC", "", "own"}};
    for (const auto& row : rows) {
        for (const char* const encoding : {"UTF-8", "KOI8-R", "no such"}) {
            in_environment(
                {{"ORLO_TEXTCONV_IGNORE_LIST", row.ignored}, {"ORLO_DEFAULT_MBCS", encoding}}, [&] {
                    const std::string libraries = row.koi8;
                    if (libraries.empty()) {
                        EXPECT_FAILURE(static_cast<void>(TTextConv::Create("KOI8-R"_lit)), tconvExp, 1,
                                       no_converter("encoding name", "KOI8-R"));
                        EXPECT_FAILURE(static_cast<void>(TTextConv::Create(20866)), tconvExp, 1,
                                       no_converter("code page    ", "20866"));
                    } else {
                        EXPECT_EQ(kind(TTextConv::Create("KOI8-R"_lit)), libraries);
                        EXPECT_EQ(kind(TTextConv::Create(20866)), libraries);
                    }
                    EXPECT_EQ(kind(TTextConv::Create("utf8"_lit)), std::string(row.utf8));
                    EXPECT_EQ(widened(*TTextConv::Create("UTF-8"_lit), "\xD0\xB0"), L"\u0430");
                    // without a converter for it the default is the plain one, which takes bytes for Latin
                    const bool plain = encoding[0] == 'n' || (encoding[0] == 'K' && libraries.empty());
                    EXPECT_EQ(widened(TTextConv::GetDefault(), encoding[0] == 'U' ? "\xD0\xB0" : "\xC1"),
                              plain ? L"\u00C1" : L"\u0430");
                });
        }
    }
}

TEST(converters, without_a_library) {
    for (const char* const version : {"1", "72/../72", "-", "1111111111"}) {
        in_environment({{"ORLO_LIBICU_VER", version}, {"ORLO_TEXTCONV_IGNORE_LIST", "iconv"}}, [version] {
            const bool number = std::string_view(version).find_first_of("/-") == std::string_view::npos;
            const std::string file = "libicuuc.so." + std::string(number ? version : "-");
            std::string hex;
            for (const char c : file)
                hex += "0123456789ABCDEF"[c >> 4], hex += "0123456789ABCDEF"[c & 15];
            EXPECT_FAILURE(static_cast<void>(TTextConv::Create("ISO-8859-2"_lit)), libicuExp,
                           libicu_code::load,
                           "CTextLibIcu::__AddRef - failed load dynamic library\n"
                           "@ CDllLoader::CDllLoader - error loading dynamic library\n  dll path       = " +
                               file + "\n  path hex code  = " + hex + "\n  sys error desc = " + file +
                               ": cannot open shared object file: No such file or directory");
            EXPECT_FAILURE(static_cast<void>(TTextConv::Create("ISO-8859-2"_lit)), libicuExp,
                           libicu_code::load,
                           "CTextLibIcu::__AddRef - libicu could not be loaded (early fault)");
            EXPECT_EQ(TTextConv::GetDefault().MBtoWC("tea"_lit), L"tea");
        });
    }
    for (const char* const version : {"72", "72.1"}) {
        in_environment({{"ORLO_LIBICU_VER", version}},
                       [] { EXPECT_EQ(widened(CTextLibIcu("KOI8-R"_lit), "\xC1"), L"\u0430"); });
    }
}

// The C library's converter, in the locales that every system has.
TEST(converters, by_the_locale) {
    in_environment({}, [] {
        TTextConv& ascii = TTextConv::GetDefault();
        EXPECT_EQ(ascii.GetEncName(), "ASCII");
        EXPECT_EQ(widened(ascii, std::string("a\0b\xC3\xA9z", 6)), std::wstring(L"a\0bz", 4));
        EXPECT_EQ(narrowed(ascii, std::wstring(L"a\0\u00E9z", 4)), std::string("a\0z", 3));
        EXPECT_EQ(dynamic_cast<CTextLibIConv*>(&ascii), nullptr);
        // where the locale has another encoding than the default one it is of no use
        ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
        EXPECT_NE(dynamic_cast<CTextLibIConv*>(TTextConv::Create("ASCII"_lit).get()), nullptr);
        EXPECT_EQ(ascii.CloneByName("x"_lit)->GetCodePage(), 437u);
        EXPECT_EQ(widened(*ascii.Clone(), "\xC3\xA9\xC3"), L"\u00E9") << "by the locale as it is";
    });
    in_environment({{"LANG", "xx_XX.UTF-8"}}, [] {
        EXPECT_EQ(widened(TTextConv::GetDefault(), "\xC3\xA9"), L"\u00E9") << "with no such locale";
    });
}

TEST(converters, threads) {
    in_environment({{"ORLO_DEFAULT_MBCS", "MacGreek"}}, [] {
        std::vector<std::thread> threads;
        std::atomic<int> ready{0};
        std::atomic<int> wrong{0};
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&ready, &wrong] {
                for (++ready; ready < 8;)
                    std::this_thread::yield();
                for (int round = 0; round < 200; ++round) {
                    const wstringEx text = L"\u03B1\u03B2\u03B3"_lit;
                    const bool shared =
                        TTextConv::GetDefault().MBtoWC(TTextConv::GetDefault().WCtoMB(text)) == text;
                    const shared_ptr<TTextConv> own =
                        TTextConv::Create(round % 2 ? "ISO-2022-JP"_lit : "HZ"_lit);
                    if (!shared || own->MBtoWC(own->WCtoMB(text)) != text) ++wrong;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(IMPL::icu_library().Count(), 1u) << "the default one";
        EXPECT_EQ(IMPL::iconv_library().Count(), 0u);
    });
}

}  // namespace

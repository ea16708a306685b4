// The encodings by name and number, as constant data: nothing is built at run time.
//
// Code pages are those of the published standards; where an encoding has none it has the number of a near
// one, and several share one. Some rows look wrong and are kept, since programs store these names and numbers:
// ARMSCII-8 has the number of ANSI-Turkish, ISO-8859-10 and -14 those of ISO-8859-4 and -1, and
// "Multlingual" is how it is spelt.
//
// After the flag of right-to-left stand the names by which iconv and ICU know a row that they do not know by
// its own. Rows that neither knows under any name have none.

#include "textconv/encoding_table.h"

#include <algorithm>
#include <array>

namespace Orlo::IMPL {
namespace {

// clang-format off
constexpr encoding_row ROWS[] = {
    {"", 20127, "English - C Default", 0, "ASCII", "US-ASCII"},
    {"ASCII", 437, "English - ASCII (DOS OEM)", 0, "", "US-ASCII"},
    {"US-ASCII", 20127, "English - US-ASCII", 0, "ASCII"},
    {"ANSI_x3.4-1968", 20127, "English - ASCII (x3.4-1968)", 0, "ASCII", "US-ASCII"},
    {"ISO-646", 20105, "English - ISO-646", 0, "ASCII", "US-ASCII"},
    {"ISO-8859-1", 28591, "Latin 1 (West European) - ISO-8859-1"},
    {"ISO-8859-2", 28592, "Latin 2 (Central and East European) - ISO-8859-2"},
    {"ISO-8859-3", 28593, "Latin 3 (South European) - ISO-8859-3"},
    {"ISO-8859-4", 28594, "Latin 4 (North European) - ISO-8859-4"},
    {"ISO-8859-5", 28595, "Cyrillic - ISO-8859-5"},
    {"ISO-8859-7", 28597, "Greek - ISO-8859-7"},
    {"ISO-8859-9", 28599, "Latin 5 (Turkish) - ISO-8859-9"},
    {"ISO-8859-10", 28594, "Latin 6 (Nordic) - ISO-8859-10"},
    {"ISO-8859-13", 28603, "Latin 7 (Baltic Rim) - ISO-8859-13"},
    {"ISO-8859-14", 28591, "Latin 8 (Celtic) - ISO-8859-14"},
    {"ISO-8859-15", 28605, "Latin 9 (West European + Euro symbol) - ISO-8859-15"},
    {"KOI8", 20866, "Russian - KOI8", 0, "KOI8-R", "KOI8-R"},
    {"KOI8-R", 20866, "Russian - KOI8-R"},
    {"KOI8-U", 21866, "Ukrainian - KOI8-U"},
    {"ANSI-CentralEuropean", 1250, "Central European - ANSI", 0, "CP1250", "windows-1250"},
    {"ANSI-Cyrillic", 1251, "Cyrillic - ANSI", 0, "CP1251", "windows-1251"},
    {"ANSI-LatinI", 1252, "Latin I - ANSI", 0, "CP1252", "windows-1252"},
    {"ANSI-Greek", 1253, "Greek - ANSI", 0, "CP1253", "windows-1253"},
    {"ANSI-Turkish", 1254, "Turkish - ANSI", 0, "CP1254", "windows-1254"},
    {"ANSI-Baltic", 1257, "Baltic - ANSI", 0, "CP1257", "windows-1257"},
    {"MacRoman", 10000, "Roman - MAC", 0, "MACINTOSH", "macintosh"},
    {"MacCentralEurope", 10029, "Central Europe - MAC", 0, "MAC-CENTRALEUROPE", "x-mac-centraleurroman"},
    {"MacIceland", 10079, "Iceland - MAC"},
    {"MacCroatian", 10082, "Croatian - MAC"},
    {"MacRomania", 10010, "Romania - MAC"},
    {"MacCyrillic", 10007, "Cyrillic - MAC", 0, "MAC-CYRILLIC", "x-mac-cyrillic"},
    {"MacUkraine", 10017, "Ukraine - MAC", 0, "MAC-UK", "x-mac-ukraine"},
    {"MacGreek", 10006, "Greek - MAC", 0, "", "x-mac-greek"},
    {"MacTurkish", 10081, "Turkish - MAC", 0, "", "x-mac-turkish"},
    {"MacLatinII", 10029, "Latin II - MAC", 0, "MAC-CENTRALEUROPE", "x-mac-centraleurroman"},
    {"OEM-MultilingualLatinI", 850, "Multilingual Latin I - OEM", 0, "IBM850", "ibm-850"},
    {"OEM-LatinI", 850, "Latin I - OEM", 0, "IBM850", "ibm-850"},
    {"OEM-MultlingualLatinI+EuroSymbol", 858, "Multlingual Latin I + Euro symbol - OEM", 0, "CP858", "ibm-858"},
    {"OEM-Russian", 866, "Russian - OEM", 0, "CP866", "ibm-866"},
    {"OEM-Greek", 737, "Greek - OEM", 0, "CP737", "ibm-737"},
    {"OEM-Baltic", 775, "Baltic - OEM", 0, "CP775", "ibm-775"},
    {"OEM-LatinII", 852, "Latin II - OEM", 0, "IBM852", "ibm-852"},
    {"OEM-Cyrillic", 855, "Cyrillic - OEM", 0, "IBM855", "ibm-855"},
    {"OEM-Turkish", 857, "Turkish - OEM", 0, "IBM857", "ibm-857"},
    {"OEM-Portuguese", 860, "Portuguese - OEM", 0, "IBM860", "ibm-860"},
    {"OEM-Icelandic", 861, "Icelandic - OEM", 0, "IBM861", "ibm-861"},
    {"OEM-CanadianFrench", 863, "Canadian French - OEM", 0, "IBM863", "ibm-863"},
    {"OEM-Nordic", 865, "Nordic - OEM", 0, "IBM865", "ibm-865"},
    {"OEM-ModernGreek", 869, "Modern Greek - OEM", 0, "IBM869", "ibm-869"},
    {"ARMSCII-8", 1254, "Armenian - ARMSCII"},
    {"IA5-German", 20106, "German - IA5"},
    {"IA5-Swedish", 20107, "Swedish - IA5"},
    {"IA5-Norwegian", 20108, "Norwegian - IA5"},
    {"T.61", 20261, "Latin - T.61"},
    {"EBCDIC", 37, "English - EBCDIC", 0, "IBM037", "ibm-37"},
    {"EBCDIC-International", 500, "International - EBCDIC", 0, "IBM500", "ibm-500"},
    {"EBCDIC-LatinII", 870, "Latin II - EBCDIC", 0, "IBM870", "ibm-870"},
    {"EBCDIC-Greek", 875, "Greek - EBCDIC", 0, "CP875", "ibm-875"},
    {"EBCDIC-Greek-423", 20423, "Greek (423) - EBCDIC", 0, "IBM423"},
    {"EBCDIC-Turkish", 1026, "Turkish - EBCDIC", 0, "IBM1026", "ibm-1026"},
    {"EBCDIC-Turkish-905", 20905, "Turkish (905) - EBCDIC", 0, "IBM905"},
    {"EBCDIC-LatinI", 1047, "Latin I - EBCDIC", 0, "IBM1047", "ibm-1047"},
    {"EBCDIC-LatinI-924", 20924, "Latin I (924) - EBCDIC"},
    {"EBCDIC-Euro", 1140, "English + Euro symbol - EBCDIC", 0, "IBM1140", "ibm-1140"},
    {"EBCDIC-Germany", 1141, "Germany + Euro symbol - EBCDIC", 0, "IBM1141", "ibm-1141"},
    {"EBCDIC-Denmark-Norway", 1142, "Denmark, Norway + Euro symbol - EBCDIC", 0, "IBM1142", "ibm-1142"},
    {"EBCDIC-Finland-Sweden", 1143, "Finland, Sweden + Euro symbol - EBCDIC", 0, "IBM1143", "ibm-1143"},
    {"EBCDIC-Italy", 1144, "Italy + Euro symbol - EBCDIC", 0, "IBM1144", "ibm-1144"},
    {"EBCDIC-Spain", 1145, "Spain + Euro symbol - EBCDIC", 0, "IBM1145", "ibm-1145"},
    {"EBCDIC-UK", 1146, "United Kingdom + Euro symbol - EBCDIC", 0, "IBM1146", "ibm-1146"},
    {"EBCDIC-France", 1147, "France + Euro symbol - EBCDIC", 0, "IBM1147", "ibm-1147"},
    {"EBCDIC-France-297", 20297, "France (297) - EBCDIC", 0, "IBM297", "ibm-297"},
    {"EBCDIC-International-Euro", 1148, "International + Euro symbol - EBCDIC", 0, "IBM1148", "ibm-1148"},
    {"EBCDIC-Icelandic", 1149, "Icelandic + Euro symbol - EBCDIC", 0, "IBM1149", "ibm-1149"},
    {"EBCDIC-Icelandic-871", 20871, "Icelandic (871) - EBCDIC", 0, "IBM871", "ibm-871"},
    {"EBCDIC-Germany-273", 20273, "Germany (273) - EBCDIC", 0, "IBM273", "ibm-273"},
    {"EBCDIC-Denmark-Norway-277", 20277, "Denmark, Norway (277) - EBCDIC", 0, "IBM277", "ibm-277"},
    {"EBCDIC-Finland-Sweden-278", 20278, "Finland, Sweden (278) - EBCDIC", 0, "IBM278", "ibm-278"},
    {"EBCDIC-Italy-280", 20280, "Italy (280) - EBCDIC", 0, "IBM280", "ibm-280"},
    {"EBCDIC-Spain-284", 20284, "Spain (284) - EBCDIC", 0, "IBM284", "ibm-284"},
    {"EBCDIC-UK-285", 20285, "United Kingdom (285) - EBCDIC", 0, "IBM285", "ibm-285"},
    {"EBCDIC-Russian", 20880, "Russian - EBCDIC", 0, "IBM880"},
    {"EBCDIC-Serbian-Bulgarian", 21025, "Serbian, Bulgarian - EBCDIC", 0, "IBM1025", "ibm-1025"},
    {"ISO-8859-6", 28596, "Arabic - ISO-8859-6", 1},
    {"ISO-8859-8", 28598, "Hebrew (visual) - ISO-8859-8", 1},
    {"ISO-8859-8-i", 38598, "Hebrew (logical) - ISO-8859-8", 1, "ISO-8859-8", "ISO-8859-8"},
    {"ANSI-Hebrew", 1255, "Hebrew - ANSI", 1, "CP1255", "windows-1255"},
    {"ANSI-Arabic", 1256, "Arabic - ANSI", 1, "CP1256", "windows-1256"},
    {"OEM-Hebrew", 862, "Hebrew - OEM", 1, "IBM862", "ibm-862"},
    {"OEM-Arabic", 864, "Arabic - OEM", 1, "IBM864", "ibm-864"},
    {"MacHebrew", 10005, "Hebrew - MAC", 1},
    {"MacArabic", 10004, "Arabic - MAC", 1},
    {"EBCDIC-Arabic", 20420, "Arabic - EBCDIC", 1, "IBM420", "ibm-420"},
    {"EBCDIC-Hebrew", 20424, "Hebrew - EBCDIC", 1, "IBM424", "ibm-424"},
    {"EUC-CN", 51936, "Simplified Chinese - EUC-CN"},
    {"GB2312", 936, "Simplified Chinese - GB2312"},
    {"GB18030", 54936, "Simplified Chinese - GB18030"},
    {"HZ", 52936, "Simplified Chinese - HZ"},
    {"ISO-2022-CN", 50227, "Simplified Chinese - ISO-2022-CN"},
    {"ISO-2022-CN-EXT", 50227, "Simplified Chinese - ISO-2022-CN-EXT"},
    {"MacChineseSimp", 10008, "Simplified Chinese - MAC"},
    {"EBCDIC-ChineseSimp", 50936, "Simplified Chinese - EBCDIC", 0, "IBM935", "ibm-935"},
    {"EBCDIC-ChineseSimp-50935", 50935, "Simplified Chinese (50935) - EBCDIC"},
    {"EUC-TW", 51950, "Traditional Chinese - EUC-TW"},
    {"BIG5", 950, "Traditional Chinese - BIG5"},
    {"BIG5-HKSCS", 951, "Traditional Chinese - BIG5-HKSCS"},
    {"BIG5-HKSCS:1999", 951, "Traditional Chinese - BIG5-HKSCS:1999"},
    {"BIG5-HKSCS:2001", 951, "Traditional Chinese - BIG5-HKSCS:2001"},
    {"BIG5-HKSCS:2004", 951, "Traditional Chinese - BIG5-HKSCS:2004", 0, "BIG5-HKSCS", "BIG5-HKSCS"},
    {"MacChineseTrad", 10002, "Traditional Chinese - MAC"},
    {"CNS-Taiwan", 20000, "Traditional Chinese - CNS"},
    {"TCA-Taiwan", 20001, "Traditional Chinese - TCA"},
    {"Eten-Taiwan", 20002, "Traditional Chinese - Eten"},
    {"IBM-Taiwan", 20003, "Traditional Chinese - IBM"},
    {"TeleText-Taiwan", 20004, "Traditional Chinese - TeleText"},
    {"Wang-Taiwan", 20005, "Traditional Chinese - Wang"},
    {"ISO-2022-TW", 50229, "Traditional Chinese - ISO-2022-TW"},
    {"EBCDIC-ChineseTrad", 50937, "Traditional Chinese - EBCDIC", 0, "IBM937", "ibm-937"},
    {"EUC-KR", 51949, "Korean - EUC-KR"},
    {"ISO-2022-KR", 50225, "Korean - ISO-2022-KR"},
    {"JOHAB", 1361, "Korean - JOHAB"},
    {"UHC", 949, "Korean - UHC", 0, "", "windows-949"},
    {"KSC", 949, "Korean - KSC", 0, "UHC", "windows-949"},
    {"MacKorean", 10003, "Korean - MAC"},
    {"Wansung-Korean", 20949, "Korean - Wansung"},
    {"EBCDIC-Korean", 20833, "Korean - EBCDIC", 0, "IBM933", "ibm-933"},
    {"EUC-JP", 51932, "Japanese - EUC-JP"},
    {"EUC-JP-2", 20932, "Japanese - EUC-JP-2", 0, "EUC-JP", "EUC-JP"},
    {"SHIFT_JIS", 932, "Japanese - SHIFT_JIS"},
    {"ISO-2022-JP", 50220, "Japanese - ISO-2022-JP"},
    {"ISO-2022-JP-1", 50221, "Japanese - ISO-2022-JP-1"},
    {"ISO-2022-JP-2", 50221, "Japanese - ISO-2022-JP-2"},
    {"MacJapanese", 10001, "Japanese - MAC"},
    {"EBCDIC-Japanese", 20290, "Japanese - EBCDIC", 0, "IBM290", "ibm-290"},
    {"EBCDIC-Japanese-50930", 50930, "Japanese (50930) - EBCDIC", 0, "IBM930", "ibm-930"},
    {"EBCDIC-Japanese-50931", 50931, "Japanese (50931) - EBCDIC", 0, "", "ibm-931"},
    {"EBCDIC-Japanese-50939", 50939, "Japanese (50939) - EBCDIC", 0, "IBM939", "ibm-939"},
    {"VISCII", 1258, "Vietnamese - VISCII"},
    {"TCVN", 1258, "Vietnamese - TCVN"},
    {"TIS-620", 874, "Thai - TIS-620"},
    {"ANSI-Thai", 874, "Thai - ANSI", 0, "CP874", "windows-874"},
    {"ISO-8859-11", 874, "Thai - ISO-8859-11"},
    {"MacThai", 10021, "Thai - MAC"},
    {"EBCDIC-Thai", 20838, "Thai - EBCDIC", 0, "IBM1160", "ibm-838"},
    {"ISCII-DE", 57002, "Devanagari - ISCII", 0, "", "ISCII,version=0"},
    {"ISCII-BE", 57003, "Bengali - ISCII", 0, "", "ISCII,version=1"},
    {"ISCII-TA", 57004, "Tamil - ISCII", 0, "", "ISCII,version=5"},
    {"ISCII-TE", 57005, "Telugu - ISCII", 0, "", "ISCII,version=6"},
    {"ISCII-AS", 57006, "Assamese - ISCII", 0, "", "ISCII,version=1"},
    {"ISCII-OR", 57007, "Oriya - ISCII", 0, "", "ISCII,version=4"},
    {"ISCII-KA", 57008, "Kannada - ISCII", 0, "", "ISCII,version=7"},
    {"ISCII-MA", 57009, "Malayalam - ISCII", 0, "", "ISCII,version=8"},
    {"ISCII-GU", 57010, "Gujarati - ISCII", 0, "", "ISCII,version=3"},
    {"ISCII-PA", 57011, "Punjabi - ISCII", 0, "", "ISCII,version=2"},
    {"UTF-7", 65000, "Unicode - UTF-7"},
    {"UTF-8", 65001, "Unicode - UTF-8"},
    {"UTF-16LE", 1200, "Unicode - UTF-16LE"},
    {"UTF-16BE", 1201, "Unicode - UTF-16BE"},
    {"UCS-2LE", 1200, "Unicode - UCS-2LE", 0, "", "UTF-16LE"},
    {"UCS-2BE", 1201, "Unicode - UCS-2BE", 0, "", "UTF-16BE"},
    {"UTF-32LE", 12000, "Unicode - UTF-32LE"},
    {"UTF-32BE", 12001, "Unicode - UTF-32BE"},
    {"UCS-4LE", 12000, "Unicode - UCS-4LE", 0, "", "UTF-32LE"},
    {"UCS-4BE", 12001, "Unicode - UCS-4BE", 0, "", "UTF-32BE"},
    {"UTF-16", 1200, "Unicode - UTF-16"},
    {"UCS-2", 1200, "Unicode - UCS-2", 0, "", "UTF-16"},
    {"UTF-32", 12000, "Unicode - UTF-32"},
    {"UCS-4", 12000, "Unicode - UCS-4", 0, "", "UTF-32"},
    {"GB2312", 20936, "Simplified Chinese - GB2312-80"},
    {"ISO-2022-JP", 50222, "Japanese - ISO-2022-JP (JIS X 0201-1989)"},
};
// clang-format on

constexpr std::size_t COUNT = std::size(ROWS);
using row_index = std::array<std::uint8_t, COUNT>;
static_assert(COUNT < 256);

constexpr char folded(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool less_without_case(std::string_view a, std::string_view b) noexcept {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return folded(x) < folded(y); });
}

/// The rows in the order of `less`; of equal rows the first in the table comes first.
template <class Less>
constexpr row_index sorted_rows(Less less) {
    row_index index{};
    for (std::size_t i = 0; i < COUNT; ++i)
        index[i] = static_cast<std::uint8_t>(i);
    std::sort(index.begin(), index.end(), [less](std::uint8_t a, std::uint8_t b) {
        if (less(ROWS[a], ROWS[b])) return true;
        return !less(ROWS[b], ROWS[a]) && a < b;
    });
    return index;
}

constexpr row_index BY_NAME = sorted_rows(
    [](const encoding_row& a, const encoding_row& b) { return less_without_case(a.name, b.name); });
constexpr row_index BY_CODE_PAGE =
    sorted_rows([](const encoding_row& a, const encoding_row& b) { return a.code_page < b.code_page; });

}  // namespace

std::span<const encoding_row> encoding_rows() noexcept {
    return ROWS;
}

bool same_name(std::string_view a, std::string_view b) noexcept {
    constexpr int at_end = -1;
    const auto next = [](std::string_view& text) -> int {
        text.remove_prefix(std::min(text.find_first_not_of("-_"), text.size()));
        if (text.empty()) return at_end;
        const char c = folded(text[0]);
        text.remove_prefix(1);
        return static_cast<unsigned char>(c);
    };
    for (;;) {
        const int x = next(a);
        if (x != next(b)) return false;
        if (x == at_end) return true;
    }
}

const encoding_row* find_encoding(std::string_view name) noexcept {
    const auto found = std::lower_bound(
        BY_NAME.begin(), BY_NAME.end(), name,
        [](std::uint8_t row, std::string_view wanted) { return less_without_case(ROWS[row].name, wanted); });
    if (found != BY_NAME.end() && !less_without_case(name, ROWS[*found].name)) return &ROWS[*found];
    const auto* const near =
        std::find_if(std::begin(ROWS) + 1, std::end(ROWS),
                     [name](const encoding_row& row) { return same_name(row.name, name); });
    return near != std::end(ROWS) ? near : nullptr;
}

const encoding_row* find_code_page(std::uint32_t code_page) noexcept {
    const auto found =
        std::lower_bound(BY_CODE_PAGE.begin(), BY_CODE_PAGE.end(), code_page,
                         [](std::uint8_t row, std::uint32_t wanted) { return ROWS[row].code_page < wanted; });
    if (found == BY_CODE_PAGE.end() || ROWS[*found].code_page != code_page) return nullptr;
    // the nameless row has no number
    const encoding_row* const row = &ROWS[*found];
    return row->name.empty() ? &ROWS[*(found + 1)] : row;
}

bool same_encoding(std::string_view a, std::string_view b) noexcept {
    if (same_name(a, b)) return true;
    const encoding_row* const row_a = find_encoding(a);
    const encoding_row* const row_b = find_encoding(b);
    return row_a != nullptr && row_b != nullptr &&
           same_name(row_a->known_to_iconv(), row_b->known_to_iconv());
}

}  // namespace Orlo::IMPL

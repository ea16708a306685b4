// Which encodings a user interface offers together.

#include "orlo/textconv/text_conv.h"

namespace Orlo {
namespace {

struct group_text {
    std::string_view name;
    /// The encodings, each with one blank after it.
    std::string_view encodings;
};

#define ORLO_SIMPLIFIED_CHINESE "EUC-CN GB2312 GB18030 HZ ISO-2022-CN ISO-2022-CN-EXT EBCDIC-ChineseSimp "
#define ORLO_BIG5 "EUC-TW BIG5 BIG5-HKSCS BIG5-HKSCS:1999 BIG5-HKSCS:2001 BIG5-HKSCS:2004 "
#define ORLO_TAIWAN "CNS-Taiwan TCA-Taiwan Eten-Taiwan IBM-Taiwan TeleText-Taiwan Wang-Taiwan "
#define ORLO_TRADITIONAL_CHINESE ORLO_BIG5 "MacChineseTrad " ORLO_TAIWAN "ISO-2022-TW EBCDIC-ChineseTrad "

constexpr group_text GROUPS[] = {
    {"Unicode Charset",
     "UTF-7 UTF-8 UTF-16LE UTF-16BE UCS-2LE UCS-2BE UTF-32LE UTF-32BE UCS-4LE UCS-4BE UTF-16 UCS-2 UTF-32 "
     "UCS-4 GB18030 "},
    {"Standard English", "ASCII US-ASCII ANSI_x3.4-1968 ISO-646 EBCDIC EBCDIC-Euro EBCDIC-UK EBCDIC-UK-285 "},
    {"West European",
     "ISO-8859-1 ISO-8859-14 ISO-8859-15 ANSI-LatinI MacRoman OEM-MultilingualLatinI OEM-LatinI "
     "OEM-MultlingualLatinI+EuroSymbol OEM-CanadianFrench IA5-German T.61 EBCDIC-International EBCDIC-LatinI "
     "EBCDIC-LatinI-924 EBCDIC-Germany EBCDIC-International-Euro EBCDIC-Germany-273 "},
    {"Central and East European",
     "ISO-8859-2 ANSI-CentralEuropean MacCentralEurope MacCroatian MacRomania MacLatinII OEM-LatinII "
     "ARMSCII-8 EBCDIC-LatinII EBCDIC-Serbian-Bulgarian "},
    {"South European",
     "ISO-8859-3 ISO-8859-9 ANSI-Turkish MacTurkish OEM-Turkish OEM-Portuguese EBCDIC-Turkish "
     "EBCDIC-Turkish-905 EBCDIC-Italy EBCDIC-Spain EBCDIC-France EBCDIC-France-297 EBCDIC-Italy-280 "
     "EBCDIC-Spain-284 "},
    {"North European",
     "ISO-8859-4 ISO-8859-10 ISO-8859-13 ANSI-Baltic MacIceland OEM-Baltic OEM-Icelandic OEM-Nordic "
     "IA5-Swedish IA5-Norwegian EBCDIC-Denmark-Norway EBCDIC-Finland-Sweden EBCDIC-Icelandic "
     "EBCDIC-Icelandic-871 EBCDIC-Denmark-Norway-277 EBCDIC-Finland-Sweden-278 "},
    {"Cyrillic",
     "ISO-8859-5 KOI8 KOI8-R KOI8-U ANSI-Cyrillic MacCyrillic MacUkraine OEM-Russian OEM-Cyrillic "
     "EBCDIC-Russian "},
    {"Greek", "ISO-8859-7 ANSI-Greek MacGreek OEM-Greek OEM-ModernGreek EBCDIC-Greek EBCDIC-Greek-423 "},
    {"Arabic", "ISO-8859-6 ANSI-Arabic OEM-Arabic MacArabic EBCDIC-Arabic "},
    {"Hebrew", "ISO-8859-8 ANSI-Hebrew OEM-Hebrew MacHebrew EBCDIC-Hebrew "},
    {"Simplified Chinese", ORLO_SIMPLIFIED_CHINESE "MacChineseSimp "},
    {"Traditional Chinese", ORLO_TRADITIONAL_CHINESE},
    {"Korean", "EUC-KR ISO-2022-KR JOHAB UHC KSC MacKorean Wansung-Korean EBCDIC-Korean "},
    {"Japanese",
     "EUC-JP EUC-JP-2 SHIFT_JIS ISO-2022-JP ISO-2022-JP-1 ISO-2022-JP-2 MacJapanese EBCDIC-Japanese "
     "EBCDIC-Japanese-50930 EBCDIC-Japanese-50931 EBCDIC-Japanese-50939 "},
    {"Thai", "TIS-620 ANSI-Thai MacThai EBCDIC-Thai "},
    {"Vietnamese", "VISCII TCVN "},
    {"Indian", "ISCII-DE ISCII-BE ISCII-TA ISCII-TE ISCII-AS ISCII-OR ISCII-KA ISCII-MA ISCII-GU ISCII-PA "},
    {"GB Special", ORLO_SIMPLIFIED_CHINESE ORLO_TRADITIONAL_CHINESE
     "MacChineseSimp UTF-7 UTF-8 UTF-16LE UTF-16BE UTF-32LE UTF-32BE UTF-16 UCS-2 UTF-32 UCS-4 "},
    {"CJK Charset", ORLO_SIMPLIFIED_CHINESE ORLO_BIG5
     "ISO-2022-TW EBCDIC-ChineseTrad EUC-KR ISO-2022-KR JOHAB UHC KSC Wansung-Korean EBCDIC-Korean EUC-JP "
     "EUC-JP-2 SHIFT_JIS ISO-2022-JP ISO-2022-JP-1 ISO-2022-JP-2 EBCDIC-Japanese EBCDIC-Japanese-50930 "
     "EBCDIC-Japanese-50931 EBCDIC-Japanese-50939 "},
};

}  // namespace

std::vector<CHARSET_GROUP> TTextConv::GetCharsetGroups() {
    std::vector<CHARSET_GROUP> groups;
    for (const group_text& text : GROUPS) {
        CHARSET_GROUP& group = groups.emplace_back(CHARSET_GROUP{stringEx::borrow(text.name), {}});
        std::string_view left = text.encodings;
        for (std::size_t blank; (blank = left.find(' ')) != left.npos; left.remove_prefix(blank + 1))
            group.encodings.push_back(stringEx::borrow(left.substr(0, blank)));
    }
    return groups;
}

}  // namespace Orlo

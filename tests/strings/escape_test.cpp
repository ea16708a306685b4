#include <gtest/gtest.h>

#include <tuple>

#include "strings/twins.h"

using namespace Orlo;

namespace {

template <class T>
using escaper = void (basic_buffer<T>::*)(basic_buffer<T>&) const;

struct kind {
    escaper<char> narrow;
    escaper<wchar_t> wide;

    /// Appended to a text apart, and to the one that it lies in.
    template <class T>
    static std::string apply(escaper<T> escape, const std::string& text) {
        basic_buffer<T> holder = twin<T>("t:" + text), apart;
        (holder.substr_view(2).*escape)(apart);
        (holder.substr_view(2).*escape)(holder);
        EXPECT_EQ(untwin(holder), "t:" + text + untwin(apart));
        return untwin(apart);
    }
    std::string operator()(const std::string& text) const { return apply(narrow, text); }
    std::string widely(const std::string& text) const { return apply(wide, text); }
};

constexpr kind XML_ESCAPE{&stringEx::xml_escape_append_to, &wstringEx::xml_escape_append_to};
constexpr kind XML_RESTORE{&stringEx::xml_restore_append_to, &wstringEx::xml_restore_append_to};
constexpr kind HTML_ESCAPE{&stringEx::html_escape_append_to, &wstringEx::html_escape_append_to};
constexpr kind HTML_RESTORE{&stringEx::html_restore_append_to, &wstringEx::html_restore_append_to};
constexpr kind JSON_ESCAPE{&stringEx::json_escape_append_to, &wstringEx::json_escape_append_to};
constexpr kind JSON_RESTORE{&stringEx::json_restore_append_to, &wstringEx::json_restore_append_to};

}  // namespace

TEST(Escape, EscapesAndRestores) {
    const std::tuple<kind, std::string, std::string> rows[] = {
        {XML_ESCAPE, "none of them \x7F\xC3\xA9\xFF", "none of them \x7F\xC3\xA9\xFF"},
        {XML_ESCAPE, "<a b='1'>&amp;\"x", "&lt;a b=&apos;1&apos;&gt;&amp;amp;&quot;x"},
        {HTML_ESCAPE, "<a b='1'>&\"x", "&lt;a b='1'&gt;&amp;&quot;x"},
        {JSON_ESCAPE, "a\"b\\c/d\b\f\n\r\te", "a\\\"b\\\\c/d\\b\\f\\n\\r\\te"},
        {JSON_ESCAPE, std::string("\0\x01\x0B\x1F\x7F\xE9", 6), "\\u0000\\u0001\\u000B\\u001F\x7F\xE9"},
        {XML_RESTORE, "&amp;lt; &#65; &nbsp; &LT; &; &lt", "&lt; &#65; &nbsp; &LT; &; &lt"},
        {XML_RESTORE, "a & b &lt; c;", "a & b < c;"},
        {XML_RESTORE, "a && b &&lt; &", "a && b &&lt; &"},
        {HTML_RESTORE, "&lt;&gt;&amp;&quot;&apos;", "<>&\"&apos;"},
        {JSON_RESTORE, R"(\\n \/ \x \B \)", R"(\n \/ \x \B \)"},
        {JSON_RESTORE, R"(\u0041\u001f\\u0041)", "A\x1F\\u0041"},
        {JSON_RESTORE, R"(\u \u004 \u00g1 \U0041)", R"(\u \u004 \u00g1 \U0041)"},
        {JSON_RESTORE, R"(\ud83d \ude00 \ud83d\u0041 \ud83d\n)", "\\ud83d \\ude00 \\ud83dA \\ud83d\n"},
    };
    for (const auto& [what, text, expected] : rows) {
        EXPECT_EQ(what(text), expected);
        EXPECT_EQ(what.widely(text), expected);
    }
}

TEST(Escape, JsonPointsAreUtf8OrOneWideCharacter) {
    const std::string text = R"(\u0000\u007F\u0080\u07ff\u0800\uFFFF\ud800\udc00\uDBFF\uDFFF)";
    const char utf8[] = "\0\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(JSON_RESTORE(text), std::string(utf8, 20));
    wstringEx wide;
    twin<wchar_t>(text).json_restore_append_to(wide);
    EXPECT_TRUE(wide.view() == std::wstring_view(L"\0\x7F\x80\x7FF\x800\xFFFF\x10000\x10FFFF", 8));
}

TEST(Escape, RestoringWhatEscapingMadeGivesEveryTextBack) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const std::pair<kind, kind> pairs[] = {
        {XML_ESCAPE, XML_RESTORE}, {HTML_ESCAPE, HTML_RESTORE}, {JSON_ESCAPE, JSON_RESTORE}};
    const auto check = [&](const std::string& text) {
        for (const auto& [escape, restore] : pairs) {
            ASSERT_EQ(restore(escape(text)), text);
            ASSERT_EQ(restore.widely(escape.widely(text)), text);
        }
    };
    check(all);
    for_each_string(all, 1, check);
    for_each_string("<&;lt'\"\\nu0\n\1", 4, check);
}

/// What restoring leaves alone is not what escaping writes: the other way round there is no inverse.
TEST(Escape, EscapingWhatRestoringMadeIsAnotherText) {
    EXPECT_EQ(XML_ESCAPE(XML_RESTORE("a<&nbsp;")), "a&lt;&amp;nbsp;");
    EXPECT_EQ(HTML_ESCAPE(HTML_RESTORE("&apos;")), "&amp;apos;");
    EXPECT_EQ(JSON_ESCAPE(JSON_RESTORE(R"(\/\u0041)")), R"(\\/A)");
}

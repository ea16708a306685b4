#include <gtest/gtest.h>

#include "strings/twins.h"

using namespace Orlo;

namespace {

struct kind {
    void (stringEx::*narrow)(stringEx&) const;
    void (wstringEx::*wide)(wstringEx&) const;

    std::string operator()(std::string_view text) const {
        const stringEx source(text);
        stringEx target("t:");
        (source.*narrow)(target);
        return untwin(target).substr(2);
    }
    std::string widely(std::string_view text) const {
        const wstringEx source = twin<wchar_t>(text);
        wstringEx target;
        (source.*wide)(target);
        return untwin(target);
    }
};

#define KIND(name) \
    { &stringEx::name, &wstringEx::name }
constexpr kind XML_ESCAPE = KIND(xml_escape_append_to), XML_RESTORE = KIND(xml_restore_append_to);
constexpr kind HTML_ESCAPE = KIND(html_escape_append_to), HTML_RESTORE = KIND(html_restore_append_to);
constexpr kind JSON_ESCAPE = KIND(json_escape_append_to), JSON_RESTORE = KIND(json_restore_append_to);
#undef KIND

}  // namespace

TEST(Escape, EscapesAndRestores) {
    const struct {
        kind what;
        std::string text, expected;
    } rows[] = {
        {XML_ESCAPE, "", ""},
        {XML_ESCAPE, "none of them \x7F\xC3\xA9\xFF", "none of them \x7F\xC3\xA9\xFF"},
        {XML_ESCAPE, "<a b='1'>&amp;\"x", "&lt;a b=&apos;1&apos;&gt;&amp;amp;&quot;x"},
        {HTML_ESCAPE, "<a b='1'>&\"x", "&lt;a b='1'&gt;&amp;&quot;x"},
        {JSON_ESCAPE, "a\"b\\c/d\b\f\n\r\te", "a\\\"b\\\\c/d\\b\\f\\n\\r\\te"},
        {JSON_ESCAPE, std::string("\0\x01\x0B\x1F\x7F\xE9", 6), "\\u0000\\u0001\\u000B\\u001F\x7F\xE9"},
        {XML_RESTORE, "&lt;&gt;&amp;&apos;&quot;", "<>&'\""},
        {XML_RESTORE, "&amp;lt; &#65; &nbsp; &LT; &; &lt", "&lt; &#65; &nbsp; &LT; &; &lt"},
        {XML_RESTORE, "a & b &lt; c;", "a & b < c;"},
        {XML_RESTORE, "a && b &&lt; &", "a && b &&lt; &"},
        {HTML_RESTORE, "&lt;&gt;&amp;&quot;&apos;", "<>&\"&apos;"},
        {JSON_RESTORE, R"(a\"b\\c\b\f\n\r\te)", "a\"b\\c\b\f\n\r\te"},
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
    EXPECT_EQ(
        JSON_RESTORE(text),
        std::string("\0\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", 20));
    wstringEx wide;
    twin<wchar_t>(text).json_restore_append_to(wide);
    EXPECT_TRUE(wide.view() == std::wstring_view(L"\0\x7F\x80\x7FF\x800\xFFFF\x10000\x10FFFF", 8));
}

TEST(Escape, RestoringWhatEscapingMadeGivesEveryTextBack) {
    const kind pairs[][2] = {
        {XML_ESCAPE, XML_RESTORE}, {HTML_ESCAPE, HTML_RESTORE}, {JSON_ESCAPE, JSON_RESTORE}};
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    for (const auto& [escape, restore] : pairs) {
        const auto check = [&, e = escape, r = restore](const std::string& text) {
            ASSERT_EQ(r(e(text)), text);
            ASSERT_EQ(r.widely(e.widely(text)), text);
        };
        check(all);
        for_each_string(all, 2, check);
        for_each_string("<&;lt'\"\\nu0\n", 4, check);
    }
}

/// What restoring leaves alone is not what escaping writes: the other way round there is no inverse.
TEST(Escape, EscapingWhatRestoringMadeIsAnotherText) {
    EXPECT_EQ(XML_ESCAPE(XML_RESTORE("a<&nbsp;")), "a&lt;&amp;nbsp;");
    EXPECT_EQ(HTML_ESCAPE(HTML_RESTORE("&apos;")), "&amp;apos;");
    EXPECT_EQ(JSON_ESCAPE(JSON_RESTORE(R"(\/\u0041)")), R"(\\/A)");
    EXPECT_EQ(HTML_RESTORE(XML_ESCAPE("'")), "&apos;");
}

TEST(Escape, TargetMayHoldTheSource) {
    stringEx self("<&>");
    self.xml_escape_append_to(self);
    EXPECT_EQ(untwin(self), "<&>&lt;&amp;&gt;");
    self.substr_view(3).xml_restore_append_to(self);
    EXPECT_EQ(untwin(self), "<&>&lt;&amp;&gt;<&>");
    stringEx literal = "a\n"_lit;
    literal.json_escape_append_to(literal);
    EXPECT_EQ(untwin(literal), "a\na\\n");
}

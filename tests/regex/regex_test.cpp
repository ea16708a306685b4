#include "orlo/regex/regex.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <clocale>
#include <string>
#include <thread>

#include "strings/twins.h"
#include "support/expect_throw.h"

using Orlo::CRegEx;
using Orlo::CWRegEx;
using Orlo::regex_span;
using Orlo::regexExp;
using Orlo::stringEx;
using Orlo::wstringEx;
using spans = std::vector<regex_span>;
using namespace std::string_view_literals;

namespace {

stringEx expression(std::string_view text) {
    return stringEx(text.data(), text.size());
}

/// "0-3,1-2,-": the spans of the match from `from` on; "none" without one.
template <class T>
std::string found(const Orlo::basic_regex<T>& regex, std::basic_string_view<T> text, std::uint32_t flags = 0,
                  std::size_t from = 0) {
    spans groups;
    if (!regex.Search(text, from, groups, flags)) return "none";
    std::string made;
    for (const regex_span& span : groups) {
        if (!made.empty()) made += ',';
        if (span.begin != regex_span::npos) made += std::to_string(span.begin);
        made += '-';
        if (span.begin != regex_span::npos) made += std::to_string(span.end);
    }
    return made;
}

struct row {
    std::string_view expression;
    std::uint32_t flags;
    std::string_view text;
    const char* spans;
};

constexpr row ROWS[] = {
    // which match: the earliest, then the longest or shortest, then part by part
    {"abcde|c|abc", 0, "xabcd", "1-4"},
    {"a+?", 0, "aa", "0-1"},
    {"(a+?)(b*)", 0, "aabb", "0-1,0-1,1-1"},
    {"(?:a+?|x)(b*)", 0, "aabb", "0-4,2-4"},
    {"(a|ab)(c|bcd)(d*)", 0, "abcd", "0-4,0-2,2-3,3-4"},
    {"a{2}b*?", 0, "aabb", "0-2"},
    {"b*?(a|b)*", 0, "bab", "0-0,-"},
    // repetitions report their last pass
    {"((a)|(b))*", 0, "ab", "0-2,1-2,-,1-2"},
    {"(a*)*", 0, "b", "0-0,-"},
    {"(a*)+", 0, "b", "0-0,0-0"},
    {"(a*){3}", 0, "aa", "0-2,2-2"},
    {"(a|ab|b?){2,}", 0, "abb", "0-3,2-3"},
    {"(a*?){2,3}b", 0, "aab", "0-3,0-2"},
    {"a{0}(b){0,0}c", 0, "abc", "2-3,-"},
    // constraints
    {"^a|b$", 0, "ba\nb", "3-4"},
    {"^a$", 2, "b\na\nb", "2-3"},
    {"a.b|a[^x]b", 2, "a\nb", "none"},
    {"^a", 256, "a", "none"},
    {"a$", 512, "a", "none"},
    {"\\Aa\\Z", 768, "a", "0-1"},
    {"(?w)a.^b", 0, "a\nb", "0-3"},
    {"(?p)^a", 0, "b\na", "none"},
    {"\\mfoo\\M", 0, "food _foo foo", "10-13"},
    {"[[:<:]]b[[:>:]]", 0, "ab b", "3-4"},
    {"\\yb\\Yc", 0, "abc bc", "4-6"},
    {"a(?=b)(.)", 0, "acab", "2-4,3-4"},
    {"a(?!b(?!c))", 0, "abab-abc", "5-6"},
    {"(?<=a+)b(?<!ab)|(?<!b)c", 0, "abbc-c", "5-6"},
    {"(?=a)(?=.b)(?=..c)(?=...d)(?=....e)a", 0, "abcd abcde", "5-6"},
    // characters and classes
    {"\\a\\b\\B\\cA\\e\\f\\n\\r\\t\\v\\0\\x41\\u0042\\U00000043\\104", 0, "\a\b\\\1\033\f\n\r\t\v\0ABCD"sv,
     "0-15"},
    {"\\.\\*\\ \\_", 0, ".* _", "0-4"},
    {"\\d+\\s\\w+", 0, "12 a_1", "0-6"},
    {"\\D\\S\\W", 0, "1a--_---", "1-4"},
    {"[\\d\\]]+[^\\W]", 0, "x1]_", "1-4"},
    {"[]a]+[^]a]+", 0, "]abc-", "0-5"},
    {"[a-]+[--/]+[[.x.]-[=z=]]", 0, "a-./y", "0-5"},
    {"[[:upper:]][[:xdigit:]]+[[:punct:]][[:blank:]]", 0, "XfF9!\t", "0-6"},
    {"\xC3\xA4+.", 0, "\xC3\xA4\xA4\xFF", "0-4"},
    {"[[:alpha:]\xE0-\xFF]+", 0, "\xDF\xE4z", "1-3"},
    {".", 0, "\0"sv, "0-1"},
    {"a{,2}{b{", 0, "a{,2}{b{", "0-8"},
    {"a{2,3}b{2,}c{0,1}", 0, "abaaaabbb", "3-9"},
    // flags and the start
    {"aB[c-e]\\x46", 1, "AbDf", "0-4"},
    {"[^[:upper:]]", 1, "aB1", "2-3"},
    {"(?i)a(b)\\1", 0, "ABb", "0-3,1-2"},
    {"(?ic)a", 0, "Aa", "1-2"},
    {"***=a.(", 0, "aaa.(", "2-5"},
    {"***:(?q)a.(", 0, "aaa.(", "2-5"},
    {"(?e)a\\b(b)", 0, "abb", "0-3,2-3"},
    {"a+(", 8, "aa+(", "1-4"},
    {"[\\d]+\\d", 16, "1\\d", "1-3"},
    {" a\\ b # c\n[ ]c", 4, "a b c", "0-5"},
    {"a(?# not a *)b", 0, "ab", "0-2"},
    {"(a)(b)", 32, "ab", "0-2"},
    // references
    {"(a*)\\1b", 0, "aaaaab", "1-6,1-3"},
    {"(a)|b\\1", 0, "b", "none"},
    {"(?:(a)|b\\1)+", 0, "aba", "0-1,0-1"},
    {"(a*?)(\\1b|c)*d", 0, "aabaabd", "3-7,3-4,4-6"},
    {"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)\\10\\60", 0, "abcdefghijj0",
     "0-12,0-1,1-2,2-3,3-4,4-5,5-6,6-7,7-8,8-9,9-10"},
    {"([ab])\\1", 32, "abb", "1-3"},
};

TEST(regex, rows) {
    for (const row& r : ROWS) {
        const std::uint32_t match_flags = r.flags & 768;
        EXPECT_EQ(found(CRegEx(expression(r.expression), r.flags & 63), r.text, match_flags), r.spans)
            << r.expression;
        if (r.expression.find('\xC3') != std::string_view::npos) continue;
        const CWRegEx wide(twin<wchar_t>(r.expression), r.flags & 63);
        EXPECT_EQ(found(wide, twin<wchar_t>(r.text).view(), match_flags), r.spans) << "wide " << r.expression;
    }
}

TEST(regex, wide_characters) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    const std::wstring_view text = L"x\u0416\u0436\u00e4\u4e00-\U0001F600";
    const struct {
        const wchar_t* expression;
        const char* spans;
    } rows[] = {
        {L"[[:alpha:]]+", "0-5"},
        {L"\\m\\w+\\M", "0-5"},
        {L"[[:upper:]]", "1-2"},
        {L"(?i)\\u0436+", "1-3"},
        {L"(?i)[\\u0430-\\u044f]+", "1-3"},
        {L"[^\\w]\\U0001F600", "5-7"},
        {L"[\\u4e00-\\u9fff]", "4-5"},
        {L"\\W.$", "5-7"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(found(CWRegEx(r.expression), text), r.spans) << &r - rows;
    std::setlocale(LC_CTYPE, "C");
}

TEST(regex, failures) {
    const struct {
        std::string expression;
        int position;
        const char* sentence;
        std::int32_t code = 3;
    } rows[] = {
        {"a(b", 1, "unmatched parenthesis"},
        {"ab)", 2, "unmatched parenthesis"},
        {"a[b", 2, "unmatched bracket"},
        {"[[:alpha:", 3, "unmatched bracket"},
        {"a{1,2", 1, "unmatched brace"},
        {"a{256}", 2, "invalid repetition count"},
        {"a{2,1}", 1, "invalid repetition count"},
        {"a{1x}", 1, "invalid repetition count"},
        {"a*+", 2, "quantifier operand invalid"},
        {"(*a)", 1, "quantifier operand invalid"},
        {"^*", 1, "quantifier operand invalid"},
        {"(?=a)?", 5, "quantifier operand invalid"},
        {"a*?", 2, "quantifier operand invalid"},
        {"a(?>b)", 2, "quantifier operand invalid"},
        {"\\q", 1, "invalid escape"},
        {"a\\", 2, "invalid escape"},
        {"\\u12", 2, "invalid escape"},
        {"\\777", 1, "invalid escape"},
        {"[[:alpah:]]", 3, "invalid character class"},
        {"[b-a]", 1, "invalid character range"},
        {"[a-c-e]", 4, "invalid character range"},
        {"[a-\\d]", 1, "invalid character range"},
        {"(a)\\2", 5, "invalid back reference number"},
        {"(a\\1)", 4, "invalid back reference number"},
        {"(a)(?=\\1)", 8, "invalid back reference number"},
        {"(?iz)a", 3, "invalid embedded option"},
        {std::string(1001, '('), 1001, "nesting too deep", 4},
        {"(((a{1,100}){1,100}){1,100})", 0, "expression too complex", 4},
    };
    for (const auto& r : rows)
        EXPECT_FAILURE(static_cast<void>(CRegEx(expression(r.expression), r.expression == "a*?" ? 16 : 0)),
                       regexExp, r.code,
                       "CRegEx::CRegEx - invalid regular expression\n  expression = " + r.expression +
                           "\n  position   = " + std::to_string(r.position) +
                           "\n  error desc = " + r.sentence);
    EXPECT_FAILURE(CRegEx("a", 64), regexExp, 2, "CRegEx::CRegEx - unknown flags");
    EXPECT_FAILURE(static_cast<void>(CRegEx("a").IsMatch("a", 1)), regexExp, 2,
                   "CRegEx::Search - unknown flags");
    const std::string text(3000, 'a');
    EXPECT_FAILURE(static_cast<void>(CRegEx("(a*)(a*)(a*)(a*)\\4\\3\\2\\1[ab]c|aad").IsMatch(text + "c")),
                   regexExp, 6, "CRegEx::Search - match too complex\n  steps = 10300100");
}

TEST(regex, text_before_the_search_counts) {
    EXPECT_EQ(found(CRegEx("^b|\\mb"), "ab"sv, 0, 1), "none");
    EXPECT_EQ(found(CRegEx("(?<=a)b"), "ab"sv, 0, 1), "1-2");
    EXPECT_EQ(found(CRegEx("b*"), "ab"sv, 0, 2), "2-2");
    EXPECT_EQ(found(CRegEx("b*"), "ab"sv, 0, 3), "none");
}

TEST(regex, whole_text) {
    spans groups;
    EXPECT_TRUE(CRegEx("(a|ab)(c|bcd)??").FullMatch("abcd", groups));
    EXPECT_EQ(groups, (spans{{0, 4}, {0, 1}, {1, 4}}));
    EXPECT_TRUE(CRegEx("a*?").FullMatch("aaa"));
    EXPECT_TRUE(CRegEx("(a+)\\1").FullMatch("aaaa"));
    EXPECT_FALSE(CRegEx("(a+)\\1").FullMatch("aaaaa"));
    EXPECT_FALSE(CRegEx("a|ab").FullMatch("abc"));
}

TEST(regex, all_matches) {
    const CRegEx words("(\\w)\\w*");
    const CRegEx copy = words;
    std::string joined;
    for (const spans& match : copy.Matches("one two, three"))
        joined += std::to_string(match[0].begin) + "-" + std::to_string(match[0].end) + "/" +
                  std::to_string(match[1].end) + " ";
    EXPECT_EQ(joined, "0-3/1 4-7/5 9-14/10 ");
    EXPECT_EQ(CRegEx("a*").Count("baac"), 4u);  // before b, aa, before c, at the end
    EXPECT_EQ(CRegEx("a(?=b)").Count("abab"), 2u);
    EXPECT_EQ(CRegEx("(.)\\1").Count("aabbb"), 2u);
    EXPECT_EQ(copy.GroupCount(), 1u);
    EXPECT_EQ(CRegEx("(a)", 32).GroupCount(), 0u);
}

TEST(regex, replacing_and_escaping) {
    const CRegEx pair("(\\w+)-(\\w+)|(x)");
    EXPECT_EQ(pair.Replace("<a-b> c-d", "\\2\\\\\\&[&]\\3\\"), "<b\\&[a-b]\\> d\\&[c-d]\\");
    EXPECT_EQ(pair.Replace("a-b c-d", "x", 1), "x c-d");
    EXPECT_EQ(CRegEx("b*").Replace("abc", "-"), "-a--c-");
    std::string every;
    for (int c = 0; c < 256; ++c)
        every += static_cast<char>(c);
    for (const std::uint32_t flags : {0u, 4u, 16u, 2u}) {
        EXPECT_TRUE(CRegEx(CRegEx::Escape(every), flags).FullMatch(every)) << flags;
        EXPECT_TRUE(CRegEx(CRegEx::Escape("***=a"), flags).FullMatch("***=a")) << flags;
    }
}

// --- nothing hangs, crashes or takes much memory: every case on a thread with a small stack

std::string repeated(std::string_view text, std::size_t count) {
    std::string made;
    for (std::size_t i = 0; i < count; ++i)
        made += text;
    return made;
}

void hard_cases() {
    const std::string many_a(100'000, 'a');
    EXPECT_EQ(found(CRegEx("(a+)+$"), std::string_view(many_a)), "0-100000,0-100000");
    EXPECT_EQ(found(CRegEx("(a+)+$"), std::string_view(many_a + "b")), "none");
    EXPECT_EQ(found(CRegEx("(a|ab|b)*c"), std::string_view(many_a + "bc")), "0-100002,99999-100001");
    const std::string optional = repeated("a?", 28) + repeated("a", 28);
    EXPECT_TRUE(CRegEx(expression(optional)).FullMatch(std::string(28, 'a')));
    const std::string large = repeated("abcdefg\n", 1u << 17);
    EXPECT_FALSE(CRegEx("a.*z$").IsMatch(large));
    EXPECT_EQ(found(CRegEx("(.|\n)*x"), std::string_view(large + "x")), "0-1048577,1048575-1048576");
    EXPECT_EQ(CRegEx("(?=.*z)a|b(?!c)", 2).Count(large), 0u);
    EXPECT_EQ(CRegEx("[ab][^x]{40}[cd]").Count(large), 21845u);
    std::string words;
    for (int i = 0; i < 5000; ++i)
        words += "w" + std::to_string(i * 7) + "(x)|";
    EXPECT_EQ(CRegEx(expression(words + "end")).GroupCount(), 5000u);
    EXPECT_TRUE(CRegEx(expression(words + "end")).IsMatch("w34993x"));
    EXPECT_TRUE(CRegEx(expression(repeated("(", 1000) + "a" + repeated(")*", 1000))).FullMatch("aaa"));
    EXPECT_TRUE(CRegEx(expression(repeated("(", 20'000))).GroupCount() == 0);
}

TEST(regex, small_stack) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    pthread_t thread;
    const auto run = [](void*) -> void* {
        EXPECT_FAILURE(hard_cases(), regexExp, 4,
                       "CRegEx::CRegEx - invalid regular expression\n  expression = " +
                           repeated("(", 20'000) + "\n  position   = 1001\n  error desc = nesting too deep");
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(regex, many_threads_share_one) {
    const CRegEx regex("([a-c]+)([0-9]|(?:x.{12}y))+z");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&regex, t] {
            for (int i = 0; i < 200; ++i) {
                const std::string text =
                    repeated("x-", static_cast<std::size_t>(i % 50)) + "abc1" + std::to_string(t) + "z";
                const std::size_t at = text.size() - 6;
                EXPECT_EQ(found(regex, std::string_view(text)),
                          std::to_string(at) + "-" + std::to_string(at + 6) + "," + std::to_string(at) + "-" +
                              std::to_string(at + 3) + "," + std::to_string(at + 4) + "-" +
                              std::to_string(at + 5));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

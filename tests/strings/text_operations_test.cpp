#include <gtest/gtest.h>

#include <string>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

TEST(WildcardMatch, Table) {
    struct row {
        const char* text;
        const char* mask;
        bool matches;
        bool no_case_matches;
    };
    const row rows[] = {
        {"a.csv", "*.csv", true, true},
        {"a.b.csv", "*.csv", true, true},
        {"a.csv.csv", "*.csv", false, false},  // ends at the first place that fits
        {"abb", "*b", false, false},
        {"abb", "*b*", true, true},
        {"abc", "a?c", true, true},
        {"ac", "a?c", false, false},
        {"abc", "abc*", true, true},
        {"abc", "abc***", true, true},
        {"abc", "abc?", false, false},
        {"abc", "*", true, true},
        {"", "*", false, false},
        {"abc", "", false, false},
        {"ABC.Csv", "a*.cSV", false, true},
        {"aXbXc", "a*X*c", true, true},
        {"aab", "*ab", true, true},
        {"aaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*b", true, true},
        {"?", "??", false, false},
        {"abcd", "abc", false, false},
    };
    for (const row& r : rows) {
        const stringEx text(r.text);
        EXPECT_EQ(text.wildcard_match(r.mask), r.matches) << r.text << ' ' << r.mask;
        EXPECT_EQ(text.wildcard_match(r.mask, 0, '?', '*', true), r.no_case_matches)
            << r.text << ' ' << r.mask;
    }
    EXPECT_TRUE(stringEx("dir/a.csv").wildcard_match("*.csv", 4));
    EXPECT_FALSE(stringEx("abc").wildcard_match("*", 3));
    EXPECT_TRUE(stringEx("a*c").wildcard_match("a*_", 0, '_', '%'));
    EXPECT_TRUE(wstringEx(L"B.CSV").wildcard_match(L"?.csv", 0, L'?', L'*', true));
}

TEST(Pieces, HeadAndTail) {
    struct row {
        const char* text;
        const char* separator;
        std::int64_t n;
        const char* head;
        const char* tail;
    };
    const row rows[] = {
        {"a/b/c", "/", 0, "a", "c"},
        {"a/b/c", "/", 1, "a/b", "b/c"},
        {"a/b/c", "/", 2, "a/b/c", "a/b/c"},
        {"a/b/c", "/", -1, "a/b/c", "a/b/c"},
        {"/", "/", 0, "", ""},
        {"a--b--c", "--", 0, "a", "c"},
        {"a--b--c", "--", 1, "a--b", "b--c"},
        {"", "/", 0, "", ""},
        {"a/b", "", 0, "a/b", "a/b"},
        {"a---b", "--", 0, "a", "b"},
    };
    for (const row& r : rows) {
        const stringEx text(r.text);
        EXPECT_EQ(text.head(r.separator, r.n), r.head) << r.text;
        EXPECT_EQ(text.tail(r.separator, r.n), r.tail) << r.text;
        const stringEx head = text.head_view(r.separator, r.n);
        EXPECT_EQ(head, r.head) << r.text;
        EXPECT_TRUE(head.is_borrowed() && text.tail_view(r.separator, r.n).is_borrowed());
        EXPECT_EQ(text.tail_view(r.separator, r.n), r.tail) << r.text;
    }
}

TEST(Pieces, SplitKeepsEmptyStretches) {
    struct row {
        const char* text;
        std::vector<stringEx::range> ranges;
    };
    const row rows[] = {
        {"", {{0, 0}}},
        {"a", {{0, 1}}},
        {"/a//bc/", {{0, 0}, {1, 1}, {3, 0}, {4, 2}, {7, 0}}},
    };
    for (const row& r : rows) {
        std::vector<stringEx::range> ranges{{9, 9}};
        stringEx(r.text).split_ranges(ranges, "/");
        EXPECT_EQ(ranges, r.ranges) << r.text;
    }
}

TEST(Pieces, ReplaceAll) {
    struct row {
        const char* text;
        const char* from;
        const char* to;
        std::size_t pos;
        std::size_t count;
        const char* result;
    };
    const row rows[] = {
        {"aaa", "a", "aa", 0, 3, "aaaaaa"},
        {"aaa", "aa", "b", 0, 1, "ba"},
        {"a//b///c", "//", "/", 0, 2, "a/b//c"},
        {"abc", "", "x", 0, 0, "abc"},
        {"abab", "ab", "x", 1, 1, "abx"},
        {"abc", "d", "x", 0, 0, "abc"},
        {"abc", "abc", "", 0, 1, ""},
        {"abc", "c", "x", 100, 0, "abc"},
    };
    for (const row& r : rows) {
        stringEx text(r.text);
        EXPECT_EQ(text.replace_all(r.from, r.to, r.pos), r.count) << r.text;
        EXPECT_EQ(text, r.result) << r.text;
    }
    stringEx limited("aaaa");
    EXPECT_EQ(limited.replace_all("a", "b", 1, 2), 2u);
    EXPECT_EQ(limited, "abba");
}

TEST(Pieces, TrimAndCase) {
    stringEx text(std::string_view("\0 \tAbc Z[@\r\n", 12));
    text.trim();
    EXPECT_EQ(text, "Abc Z[@");
    const stringEx share = text;
    text.to_lower();
    EXPECT_EQ(text, "abc z[@");
    text.to_upper();
    EXPECT_EQ(text, "ABC Z[@");
    EXPECT_EQ(share, "Abc Z[@");
    stringEx feed("\f ");
    feed.trim();
    EXPECT_EQ(feed, "\f");
    wstringEx wide(L"  \x00C4x ");
    wide.trim_left();
    wide.to_upper();
    EXPECT_EQ(wide, L"\x00C4X ");
}

TEST(Format, CutsAtTheGivenLength) {
    stringEx text("old");
    text.format(64, "%.*Lf|%s", 2, 1234.5625L, "x");
    EXPECT_EQ(text, "1234.56|x");
    text.format(4, "%d", 123456);
    EXPECT_EQ(text, "1234");
    text.append_format(2, "%s", "abc");
    EXPECT_EQ(text, "1234ab");
    text.format(8, "%s", "");
    EXPECT_TRUE(text.empty());
    wstringEx wide;
    wide.format(16, L"%d-%ls", 7, L"w");
    EXPECT_EQ(wide, L"7-w");
}

}  // namespace
}  // namespace Orlo

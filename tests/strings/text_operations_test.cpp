#include <gtest/gtest.h>

#include <tuple>

#include "strings/twins.h"

using namespace Orlo;

TEST(WildcardMatch, Table) {
    enum verdict { NO, FOLD, YES };  // FOLD: if case does not count
    const std::tuple<const char*, const char*, verdict> rows[] = {
        {"a.b.c", "*.c", YES},  {"a.c.c", "*.c", NO},   {"abb", "*b", NO},        {"abb", "*b*", YES},
        {"abc", "a?c", YES},    {"ac", "a?c", NO},      {"abc", "abc*", YES},     {"abc", "abc***", YES},
        {"abc", "abc?", NO},    {"abc", "*", YES},      {"abcd", "abc", NO},      {"a@", "a`", NO},
        {"", "*", NO},          {"abc", "", NO},        {"?", "??", NO},          {"aab", "*ab", YES},
        {"AZ.c", "a*.C", FOLD}, {"aXbc", "a*X*c", YES}, {"aaaab", "*a*a*b", YES},
    };
    for (const auto& [text, mask, matches] : rows) {
        EXPECT_EQ(stringEx(text).wildcard_match(mask), matches == YES) << text << ' ' << mask;
        EXPECT_EQ(stringEx(text).wildcard_match(mask, 0, '?', '*', true), matches != NO)
            << text << ' ' << mask;
    }
    EXPECT_TRUE(stringEx("dir/a.csv").wildcard_match("*.csv", 4));
    EXPECT_FALSE(stringEx("abc").wildcard_match("*", 3));
    EXPECT_TRUE(stringEx("a*c").wildcard_match("a*_", 0, '_', '%'));
    EXPECT_TRUE(wstringEx(L"B.CSV").wildcard_match(L"?.csv", 0, L'?', L'*', true));
}

TEST(Pieces, HeadAndTail) {
    const std::tuple<const char*, const char*, int, const char*, const char*> rows[] = {
        {"a/b/c", "/", 0, "a", "c"},    {"a/b/c", "/", 1, "a/b", "b/c"}, {"a/b", "/", 1, "a/b", "a/b"},
        {"a/b", "/", -1, "a/b", "a/b"}, {"/", "/", 0, "", ""},           {"", "/", 0, "", ""},
        {"a/b", "", 0, "a/b", "a/b"},   {"a---b", "--", 0, "a", "b"},    {"---", "--", 1, "---", "---"},
    };
    for (const auto& [text, separator, n, head, tail] : rows) {
        const stringEx whole(text);
        const stringEx head_view = whole.head_view(separator, n), tail_view = whole.tail_view(separator, n);
        EXPECT_TRUE(head_view.is_borrowed() && tail_view.is_borrowed());
        EXPECT_TRUE(whole.head(separator, n) == head && head_view == head) << text << ' ' << head_view;
        EXPECT_TRUE(whole.tail(separator, n) == tail && tail_view == tail) << text << ' ' << tail_view;
    }
}

TEST(Pieces, SplitKeepsEmptyStretches) {
    const std::pair<const char*, std::vector<stringEx::range>> rows[] = {
        {"", {{0, 0}}}, {"a", {{0, 1}}}, {"/a//bc/", {{0, 0}, {1, 1}, {3, 0}, {4, 2}, {7, 0}}}};
    std::vector<stringEx::range> ranges{{9, 9}};
    for (const auto& [text, expected] : rows) {
        stringEx(text).split_ranges(ranges, "/");
        EXPECT_EQ(ranges, expected) << text;
    }
}

TEST(Pieces, ReplaceAll) {
    const std::tuple<const char*, const char*, const char*, const char*, unsigned, unsigned, unsigned>
        rows[] = {
            {"aaa", "a", "aa", "aaaaaa", 3, 0, 9},  {"aaa", "aa", "b", "ba", 1, 0, 9},
            {"//a///", "//", "/", "/a//", 2, 0, 9}, {"abc", "", "x", "abc", 0, 0, 9},
            {"abab", "ab", "x", "abx", 1, 1, 9},    {"abc", "d", "x", "abc", 0, 0, 9},
            {"abc", "abc", "", "", 1, 0, 9},        {"abc", "c", "x", "abc", 0, 100, 9},
            {"aaaa", "a", "b", "abba", 2, 1, 2},
        };
    for (const auto& [text, from, to, result, count, pos, most] : rows) {
        stringEx changed(text);
        EXPECT_EQ(changed.replace_all(from, to, pos, most), count) << text;
        EXPECT_EQ(changed, result) << text;
    }
}

TEST(Pieces, TrimAndCase) {
    stringEx text(std::string_view("\0 \tAbc Z[@\r\n", 12)), feed("\f ");
    text.trim();
    const stringEx share = text;
    text.to_lower();
    EXPECT_EQ(text, "abc z[@");
    text.to_upper();
    EXPECT_EQ(text, "ABC Z[@");
    EXPECT_EQ(share, "Abc Z[@");
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
    EXPECT_GE(text.capacity(), 65u);
    text.format(4, "%d", 123456);
    text.append_format(2, "%s", "abc");
    EXPECT_EQ(text, "1234ab");
    text.format(8, "%s", "");
    EXPECT_TRUE(text.empty());
    EXPECT_THROW(text.format(stringEx::npos - 1, "x"), std::bad_alloc);
    wstringEx wide(L"old");
    wide.format(16, L"%d-%ls", 7, L"w");
    EXPECT_EQ(wide, L"7-w");
    EXPECT_THROW(wide.reserve_for_write(std::uint64_t{1} << 62), std::bad_alloc);  // 2 to the 64th bytes
    wide.append_format(3, L"%d", 1234);
    EXPECT_EQ(wide, L"7-w") << "what does not fit counts as failed";
    wide.format(3, L"%d", 1234);
    EXPECT_TRUE(wide.empty());
}

// On both sides of what is printed at once, with the arguments inside the text and with an error for "%m".
TEST(Format, ArgumentsMayBeTheTextItself) {
    const std::string error_format = "%m";
    for (const std::size_t length : {3, 509, 510, 511, 512, 5000}) {
        const std::string plain(length, 'p'), expected = "<" + plain + ">";
        stringEx text(plain);
        wstringEx wide = twin<wchar_t>(plain);
        text.append_format(stringEx::npos, "<%s>", text.c_str());
        wide.append_format(length + 2, L"<%ls>", wide.c_str());
        EXPECT_TRUE(untwin(text) == plain + expected && untwin(wide) == plain + expected) << length;
        text.format(length + 1, "<%s", text.c_str() + length + 1);
        wide.format(wide.npos, L"%ls", wide.c_str() + length);
        EXPECT_TRUE(untwin(text) == "<" + plain && untwin(wide) == expected) << length;
        errno = ENOENT;
        text.format(length, error_format.c_str(), 0);
        EXPECT_EQ(untwin(text), std::string("No such file or directory").substr(0, length));
    }
}

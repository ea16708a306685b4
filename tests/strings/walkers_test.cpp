#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

#include "orlo/strings/match_cmd.h"
#include "strings/twins.h"

using namespace Orlo;

namespace {

struct answer {
    std::int32_t code;
    std::string out;
    std::size_t length;
};

/// What the command below says: the first character decides, and an empty key has no match.
answer decide(std::string_view key) {
    static const std::map<char, answer> ANSWERS = {
        {'a', {1, "[A]", 1}}, {'b', {2, "[B]", 2}},  {'e', {1, "", 1000}},
        {'z', {1, "[Z]", 0}}, {'s', {7, "lost", 1}}, {'t', {-1, "lost", 1}},
    };
    const auto found = ANSWERS.find(key.empty() ? '?' : key[0]);
    return found != ANSWERS.end() ? found->second : answer{0, "lost", 1};
}

template <class T>
struct letter_cmd : IStrMatchCmd<basic_buffer<T>> {
    std::int32_t Match(const basic_buffer<T>& key, basic_buffer<T>& out) override {
        EXPECT_TRUE(out.empty());
        EXPECT_TRUE(key.empty() || key.is_borrowed());
        const answer said = decide(untwin(key));
        out = twin<T>(said.out);
        length = said.length;
        return said.code;
    }
    std::uint64_t GetMatchedLen() const override { return length; }
    std::size_t length = 0;
};

/// A walk behind each `open`, or, with a `close`, over the stretches between.
struct row {
    std::string source, expected;
    const char *open = "%", *close = nullptr;
    bool drop = false, keep = false;
};

template <class T>
void walk(const row& r, const basic_buffer<T>& from, basic_buffer<T>& to) {
    letter_cmd<T> cmd;
    const basic_buffer<T> open = twin<T>(r.open), close = twin<T>(r.close != nullptr ? r.close : "");
    if (r.close == nullptr) return from.replace_by_cmd(from, to, open[0], cmd, r.drop, r.keep);
    from.replace_between(from, to, open.view(), close.view(), cmd, r.drop, r.keep);
}

template <class T>
std::string in_place(const row& r, basic_buffer<T> text) {
    letter_cmd<T> cmd;
    const basic_buffer<T> open = twin<T>(r.open), close = twin<T>(r.close != nullptr ? r.close : "");
    r.close == nullptr ? text.replace_by_cmd(open[0], cmd, r.drop, r.keep)
                       : text.replace_between(open.view(), close.view(), cmd, r.drop, r.keep);
    return untwin(text);
}

/// Walks in place, behind other text, onto itself and from a view into the target.
template <class T>
void check(const row& r) {
    SCOPED_TRACE(r.source);
    const basic_buffer<T> source = twin<T>(r.source);
    basic_buffer<T> target = twin<T>("before "), self = source, holder = twin<T>("x" + r.source + "y");
    walk(r, source, target);
    walk(r, self, self);
    walk(r, holder.substr_view(1, source.size()), holder);
    EXPECT_EQ(in_place(r, source), r.expected);
    EXPECT_EQ(untwin(target), "before " + r.expected);
    EXPECT_EQ(untwin(self), r.source + r.expected);
    EXPECT_EQ(untwin(holder), "x" + r.source + "y" + r.expected);
    EXPECT_EQ(untwin(source), r.source);
}

/// The walk said again, one step at a time and by copying.
std::string slow(const row& r, const std::string& text) {
    const std::size_t at = text.find(r.open[0]);
    if (at == text.npos) return text;
    const std::string before = text.substr(0, at), first(1, r.open[0]), mark = r.open;
    std::string behind = text.substr(at + 1);
    if (behind.empty() && r.close == nullptr) return r.drop ? before : text;
    if (behind.starts_with(first)) return before + (r.keep ? first : "") + first + slow(r, behind.substr(1));
    if (!text.substr(at).starts_with(mark)) return before + first + slow(r, behind);

    behind = text.substr(at + mark.size());
    const std::size_t end = r.close != nullptr ? behind.find(r.close) : behind.size();
    if (end == behind.npos) return r.drop ? before + behind : text;
    const answer said = decide(behind.substr(0, end));
    if (said.code < 0 || said.code > 2) return text;
    if (said.code == 0) return before + mark + slow(r, behind);
    const std::size_t used = r.close != nullptr ? end + 1 : std::min(said.length, end);
    return before + (said.code == 2 ? mark : "") + said.out + slow(r, behind.substr(used));
}

}  // namespace

TEST(Walkers, CommandsDecide) {
    const row rows[] = {
        {"1%a2%bx3%q%a", "1[A]2%[B]3%q[A]"},
        {"1%a2%s3%a", "1[A]2%s3%a"},
        {"%t%a", "%t%a"},
        {"%za1%ea%a", "[Z]za1"},
        {"1${a}2${b}${q}${a}", "1[A]2${[B]${q}[A]", "${", "}"},
        {"$${a}$$${a}", "${a}$[A]", "${", "}"},
        {"&&a;&a;", "&a;[A]", "&", ";"},
        {"{{a}}{a}{{{a}}", "[A]{a}{{{a}}", "{{", "}}"},
        {"<a=<a=><a>", "[A]<a>", "<", "=>"},
        {"${a}", "${a}", "", "}", true},
        {"$a", "$a", "$", ""},
        {"1${a2${a", "1a2${a", "${", "}", true},
        {"100%%a%%%a", "100%%a%%[A]", "%", nullptr, false, true},
    };
    for (const row& r : rows) {
        check<char>(r);
        check<wchar_t>(r);
        check<unsigned char>(r);
    }
}

TEST(Walkers, AgreeWithTheSlowWalkOnAllShortTexts) {
    const bool flags[][2] = {{false, false}, {false, true}, {true, false}, {true, true}};
    for (const auto& [drop, keep] : flags) {
        for (const row& r :
             {row{"%abesq", {}, "%", nullptr, drop, keep}, row{"${}abq", {}, "${", "}", drop, keep}}) {
            for_each_string(r.source, r.close == nullptr ? 5 : 6, [&](const std::string& text) {
                ASSERT_EQ(in_place(r, stringEx(text)), slow(r, text)) << text;
            });
        }
    }
}

TEST(Walkers, TableTakesTheFirstKeyThatFits) {
    const str_replacement<stringEx> table[] = {
        {"\n"_lit, "n"_lit},    {"short"_lit, "k"_lit}, {"long"_lit, "key"_lit}, {""_lit, "gone"_lit}, {},
        {"never"_lit, "x"_lit},
    };
    stringEx text("a~nb~x~key1~gone2~~n~"), bare("~~~n~");
    text.replace_by_table('~', table);
    EXPECT_EQ(untwin(text), "a\nb~xshortey12~n~");
    bare.replace_by_table('~', table, true, true);
    EXPECT_EQ(untwin(bare), "~~\n");
}

TEST(Walkers, InPlaceLeavesWhatItCannotWalkAsItWas) {
    struct throwing_cmd : letter_cmd<char> {
        std::int32_t Match(const stringEx&, stringEx&) override { throw std::runtime_error("stop"); }
    } cmd;
    const stringEx original("no sign in it ${");
    stringEx text(original);
    text.replace_by_cmd('%', cmd);
    text.replace_between("<", ">", cmd);
    EXPECT_EQ(text.data(), original.data());
    EXPECT_THROW(text.replace_by_cmd('$', cmd), std::runtime_error);
    EXPECT_EQ(text.data(), original.data());
}

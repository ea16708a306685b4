#include <gtest/gtest.h>

#include <map>
#include <tuple>

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
        EXPECT_TRUE(out.empty() && (key.empty() || key.is_borrowed()));
        const answer said = decide(untwin(key));
        out = twin<T>(said.out);
        length = said.length;
        return said.code;
    }
    std::uint64_t GetMatchedLen() const override { return length; }
    std::size_t length = 0;
};

/// A walk over what follows each `open`, or, with a `close`, over the stretches between.
struct kind {
    std::string open;
    const char* close;
    bool drop, keep;
};

/// The walk said again, one step at a time and by copying.
std::string slow(const kind& k, const std::string& text) {
    const std::size_t at = k.open.empty() ? text.npos : text.find(k.open[0]);
    if (at == text.npos) return text;
    const std::string before = text.substr(0, at), first(1, k.open[0]);
    std::string after = text.substr(at + 1);
    if (after.empty() && k.close == nullptr) return k.drop ? before : text;
    if (after.starts_with(first) && !k.open.starts_with(first + first))
        return before + (k.keep ? first : "") + first + slow(k, after.substr(1));
    if (!text.substr(at).starts_with(k.open)) return before + first + slow(k, after);

    after = text.substr(at + k.open.size());
    const std::size_t end = k.close != nullptr ? after.find(k.close) : after.size();
    if (end == after.npos) return k.drop ? before + after : text;
    const answer said = decide(after.substr(0, end));
    if (said.code < 0 || said.code > 2) return text;
    if (said.code == 0) return before + k.open + slow(k, after);
    const std::size_t used = k.close != nullptr ? end + strlen(k.close) : std::min(said.length, end);
    return before + (said.code == 2 ? k.open : "") + said.out + slow(k, after.substr(used));
}

/// Walks in place, after other text, onto itself and from a view into the target.
template <class T>
void check(const kind& k, const std::string& text, const std::string& expected) {
    using buffer = basic_buffer<T>;
    letter_cmd<T> cmd;
    const buffer open = twin<T>(k.open), close = twin<T>(k.close != nullptr ? k.close : "");
    const auto walk = [&](const buffer& from, buffer& to) {
        k.close != nullptr ? from.replace_between(from, to, open.view(), close.view(), cmd, k.drop, k.keep)
                           : from.replace_by_cmd(from, to, open[0], cmd, k.drop, k.keep);
        return untwin(to);
    };
    const buffer source = twin<T>(text);
    buffer walked = source, self = source, target = twin<T>("before "), holder = twin<T>("x" + text + "y");
    k.close != nullptr ? walked.replace_between(open.view(), close.view(), cmd, k.drop, k.keep)
                       : walked.replace_by_cmd(open[0], cmd, k.drop, k.keep);
    ASSERT_EQ(untwin(walked), expected) << text;
    ASSERT_EQ(walk(source, target), "before " + expected) << text;
    ASSERT_EQ(walk(self, self), text + expected);
    ASSERT_EQ(walk(holder.substr_view(1, source.size()), holder), "x" + text + "y" + expected);
    ASSERT_EQ(untwin(source), text);
}

}  // namespace

TEST(Walkers, CommandsDecide) {
    check<char>({"%", nullptr, false, false}, "1%a2%bx3%q100%%a%za%ea", "1[A]2%[B]3%q100%a[Z]za");
    check<char>({"${", "}", true, false}, "1${a}2${b}${q}$$${a2${s", "1[A]2${[B]${q}$a2${s");
}

TEST(Walkers, AgreeWithTheSlowWalkOnAllShortTexts) {
    const std::tuple<const char*, const char*, const char*, unsigned> rows[] = {
        {"%", nullptr, "%abezstq", 4}, {"${", "}", "${}abq", 4}, {"&", ";", "&;as", 5},
        {"{{", "}}", "{}a", 6},        {"<", "=>", "<=>a", 5},   {"", "}", "${}a", 3},
        {"$", "", "$a}", 4},
    };
    for (const auto& [open, close, alphabet, longest] : rows) {
        for (int flags = 0; flags < 4; ++flags) {
            const kind k{open, close, flags % 2 == 1, flags >= 2};
            for_each_string(alphabet, longest, [&](const std::string& text) {
                const std::string expected = slow(k, text);
                check<char>(k, text, expected);
                check<wchar_t>(k, text, expected);
                check<unsigned char>(k, text, expected);
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
        std::int32_t Match(const stringEx&, stringEx&) override { throw 7; }
    } cmd;
    const stringEx original("no sign in it ${");
    stringEx text(original);
    text.replace_by_cmd('%', cmd);
    text.replace_between("<", ">", cmd);
    EXPECT_EQ(text.data(), original.data());
    EXPECT_THROW(text.replace_by_cmd('$', cmd), int);
    EXPECT_EQ(text.data(), original.data());
}

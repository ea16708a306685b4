// The engine against the obvious matcher and against the C library.

#include <gtest/gtest.h>
#include <regex.h>

#include <random>

#include "orlo/regex/regex.h"
#include "regex/slow_regex.h"
#include "strings/twins.h"

using Orlo::CRegEx;
using Orlo::CWRegEx;
using Orlo::regex_span;
using Orlo::regexExp;
using Orlo::stringEx;

namespace {

using spans = std::vector<regex_span>;

std::string shown(bool found, const spans& groups) {
    std::string text = found ? "" : "none";
    for (const regex_span& span : groups)
        if (found)
            text += "(" + std::to_string(static_cast<int>(span.begin)) + "," +
                    std::to_string(static_cast<int>(span.end)) + ")";
    return text;
}

/// What the engine says, all its questions in agreement with each other.
std::string engine_says(const CRegEx& regex, std::string_view text) {
    spans groups;
    const bool found = regex.Search(text, 0, groups);
    if (regex.IsMatch(text) != found) return "IsMatch differs";
    if (found && groups[0].begin == 0 && groups[0].end == text.size() && !regex.FullMatch(text))
        return "FullMatch differs";
    return shown(found, groups);
}

void compare(const std::string& expression, const std::vector<std::string>& texts) {
    std::optional<slow_regex> slow = slow_regex::parse(expression);
    std::optional<CRegEx> regex;
    try {
        regex.emplace(stringEx(expression.c_str()));
    } catch (const regexExp&) {
    }
    ASSERT_EQ(slow.has_value(), regex.has_value()) << expression;
    for (const std::string& text : texts) {
        if (!slow) return;
        spans expected;
        const bool found = slow->search(text, expected);
        ASSERT_EQ(engine_says(*regex, text), shown(found, expected)) << expression << " on " << text;
    }
}

std::vector<std::string> all_texts(std::size_t longest) {
    std::vector<std::string> texts;
    for_each_string("ab", longest, [&](const std::string& text) { texts.push_back(text); });
    return texts;
}

/// A random expression of about `size` symbols. `groups` counts those that are complete.
std::string random_expression(std::mt19937& random, int size, int& groups, bool references) {
    const auto below = [&](unsigned n) { return random() % n; };
    std::string made;
    while (size > 0) {
        const unsigned kind = below(references ? 14 : 12);
        int used = 1;
        bool repeats = true;
        if (kind < 5) {
            made += "ab.ab"[kind];
        } else if (kind < 9 && size > 2) {
            used = 1 + static_cast<int>(below(static_cast<unsigned>(size)));
            const bool captures = kind < 8;
            made += (captures ? "(" : "(?:") + random_expression(random, used - 1, groups, references) + ")";
            groups += captures ? 1 : 0;
        } else if (kind == 9 && size > 2) {
            made += '|';
            repeats = false;
        } else if (kind == 10 && size > 4) {
            int none = 0;
            std::string inner = random_expression(random, 2, none, false);
            std::erase(inner, '(');
            std::erase(inner, ')');
            if (inner.find('?') != std::string::npos) inner = "a";
            made += std::string("(?") + std::array{"=", "!", "<=", "<!"}[below(4)] + inner + ")";
            repeats = false;
            used = 3;
        } else if (kind == 11 && below(3) == 0) {
            made += "^$"[below(2)];
            repeats = false;
        } else if (kind >= 12 && groups > 0) {
            made += "\\" + std::to_string(groups);
        } else {
            made += 'a';
        }
        size -= used;
        if (!repeats || below(2) != 0) continue;
        made += std::array{"*", "+", "?", "{2}", "{1,2}", "{0,2}", "{2,}"}[below(7)];
        if (below(3) == 0) made += '?';
        --size;
    }
    return made;
}

TEST(regex_agreement, all_short_expressions) {
    const std::vector<std::string> texts = all_texts(6);
    const std::vector<std::string> few = all_texts(3);
    std::size_t count = 0;
    for_each_string("ab.|*()?", 6, [&](const std::string& expression) {
        if (testing::Test::HasFatalFailure()) return;
        // all texts for all expressions of up to 4 symbols and for some of the longer ones
        const bool every = expression.size() <= 4 || ++count % 37 == 0;
        compare(expression, every ? texts : few);
    });
}

TEST(regex_agreement, random_expressions) {
    const unsigned seed = 20240229;
    std::mt19937 random(seed);
    const std::vector<std::string> texts = all_texts(5);
    for (int round = 0; round < 6000 && !testing::Test::HasFatalFailure(); ++round) {
        int groups = 0;
        const std::string expression = random_expression(random, 3 + round % 9, groups, round % 3 == 0);
        std::vector<std::string> chosen;
        for (int i = 0; i < 12; ++i)
            chosen.push_back(texts[random() % texts.size()]);
        chosen.push_back("abbabaababbb");
        compare(expression, chosen);
    }
}

TEST(regex_agreement, c_library_finds_the_same_match) {
    const std::vector<std::string> texts = all_texts(5);
    std::size_t count = 0;
    for_each_string("ab.|*()+", 6, [&](const std::string& expression) {
        if (expression.size() > 3 && ++count % 11 != 0) return;
        std::optional<CRegEx> regex;
        try {
            regex.emplace(stringEx(expression.c_str()));
        } catch (const regexExp&) {
            return;
        }
        regex_t peer;
        if (regcomp(&peer, expression.c_str(), REG_EXTENDED) != 0) return;
        for (std::size_t i = 0; i < texts.size(); i += 3) {
            regmatch_t match{-1, -1};
            spans groups;
            const bool found = regexec(&peer, texts[i].c_str(), 1, &match, 0) == 0;
            EXPECT_EQ(regex->Search(texts[i].c_str(), 0, groups), found) << expression << " on " << texts[i];
            if (!found) continue;
            EXPECT_EQ(groups[0], (regex_span{static_cast<std::size_t>(match.rm_so),
                                             static_cast<std::size_t>(match.rm_eo)}))
                << expression << " on " << texts[i];
        }
        regfree(&peer);
    });
}

TEST(regex_agreement, wide_text_gives_the_same_spans) {
    std::mt19937 random(7);
    const std::vector<std::string> texts = all_texts(6);
    for (int round = 0; round < 1500; ++round) {
        int groups = 0;
        const std::string expression = random_expression(random, 3 + round % 9, groups, round % 4 == 0);
        if (!slow_regex::parse(expression)) continue;
        const CRegEx narrow(stringEx(expression.c_str()));
        const CWRegEx wide(twin<wchar_t>(expression));
        for (std::size_t i = round % 7; i < texts.size(); i += 7) {
            spans a;
            spans b;
            EXPECT_EQ(narrow.Search(texts[i], 0, a), wide.Search(twin<wchar_t>(texts[i]), 0, b));
            EXPECT_EQ(a, b) << expression << " on " << texts[i];
        }
    }
}

}  // namespace

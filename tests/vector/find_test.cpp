#include "vector/find.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using Orlo::IMPL::byte_fingerprint;

namespace {

/// Texts of one length, of which some places are examined.
struct fingerprint_case {
    std::vector<std::string> texts;
    std::vector<std::size_t> places;
};

// One byte alone, one text, one whose rarest byte is frequent here, texts that must be told apart, and bytes
// whose halves are those of others.
const fingerprint_case CASES[] = {
    {{"z"}, {0}},
    {{"abcz"}, {3, 0}},
    {{"zab"}, {1, 2, 0}},
    {{"cat", "dog", "bad"}, {0, 1, 2}},
    {{"a1", "q!", "1a"}, {1, 0}},
    {{"\xff\x80z", "aaz"}, {2, 0, 1}},
};

TEST(find, finds_what_a_look_at_every_byte_finds) {
    std::mt19937 random(5);
    for (const fingerprint_case& c : CASES) {
        byte_fingerprint fingerprint;
        fingerprint.reset(c.places.data(), c.places.size());
        for (std::size_t t = 0; t < c.texts.size(); ++t)
            for (std::size_t i = 0; i < c.places.size(); ++i)
                fingerprint.add(t, i, static_cast<unsigned char>(c.texts[t][c.places[i]]));
        for (int round = 0; round < 600; ++round) {
            std::string text(random() % 700, 'x');
            for (std::size_t n = random() % (1u << round % 9); n > 0 && !text.empty(); --n)
                text[random() % text.size()] = "abcdogtz1q!A\xff\x80"[random() % 14];
            const std::size_t reach = *std::max_element(c.places.begin(), c.places.end());
            std::size_t expected = 0;
            const auto may_begin = [&](const std::string& wanted) {
                return std::all_of(c.places.begin(), c.places.end(), [&](std::size_t place) {
                    return text[expected + place] == wanted[place];
                });
            };
            while (expected + reach < text.size() && std::none_of(c.texts.begin(), c.texts.end(), may_begin))
                ++expected;
            if (expected + reach >= text.size()) expected = text.size();
            const char* const begin = text.data();
            ASSERT_EQ(fingerprint.find(begin, begin + text.size()) - begin,
                      static_cast<std::ptrdiff_t>(expected))
                << text;
        }
    }
}

}  // namespace

#include "vector/marks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Orlo::IMPL {
namespace {

// With each set of instructions that this machine has, at every length up to several words; zeros are no marks
// after the end of the text, even where zero is a mark.
TEST(marks, are_found_wherever_they_are) {
    const std::array<char, 3> marks = {'"', '\0', '\x80'};
    std::string text;
    for (unsigned i = 0; i < 300; ++i) {
        for (int with = 0; with <= static_cast<int>(best_instructions()); ++with) {
            std::vector<mark_words<3>> found(text.size() / 64 + 1, {~0u, ~0u, ~0u}), expected((i + 63) / 64);
            for (std::size_t at = 0; at < text.size(); ++at) {
                for (std::size_t mark = 0; mark < marks.size(); ++mark)
                    expected[at / 64][mark] |= std::uint64_t{text[at] == marks[mark]} << at % 64;
            }
            const auto sets = static_cast<instructions>(with);
            const bool any = find_marks(text.data(), text.size(), marks, found.data(), sets) != 0;
            found.resize(expected.size());
            ASSERT_EQ(found, expected) << i << " with " << with;
            ASSERT_EQ(any, text.find('"') != text.npos);
        }
        text += i < 70 ? 'x' : "\"\0\x80x,"[i * 2654435761u >> 29 & 3];
    }
}

}  // namespace
}  // namespace Orlo::IMPL

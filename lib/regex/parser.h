#pragma once

#include <string_view>

#include "regex/tree.h"

namespace Orlo::regex_flag {

/// What the embedded options p and w set: one half of `newline` each.
enum : std::uint32_t { newline_stops = 1u << 16, newline_anchors = 1u << 17 };

}  // namespace Orlo::regex_flag

namespace Orlo::IMPL {

/// What is wrong with an expression, and where.
struct syntax_fault {
    std::size_t position;
    const char* sentence;
    std::int32_t code;
};

/// The most groups one inside the other.
constexpr std::size_t MOST_NESTED = 1000;
/// The most states of an automaton, and so the most nodes of a tree.
constexpr std::size_t MOST_STATES = 100'000;
/// The most different sets of characters, which the width of the automata's tables depends on.
constexpr std::size_t MOST_SETS = 8192;
/// The highest count of a repetition.
constexpr std::uint32_t MOST_REPEATS = 255;

constexpr syntax_fault TOO_COMPLEX{0, "expression too complex", 4};

/// Reads an expression, given as character codes. `flags` are those of `basic_regex`. Throws `syntax_fault`
/// and `std::bad_alloc`.
expression_tree parse_expression(std::u32string_view expression, std::uint32_t flags, bool wide);

}  // namespace Orlo::IMPL

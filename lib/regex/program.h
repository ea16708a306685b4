#pragma once

#include <cstdint>
#include <vector>

#include "regex/alphabet.h"

namespace Orlo::IMPL {

enum class state_kind : std::uint8_t {
    chars,       ///< takes one character of set `value`
    split,       ///< goes on at both
    pass,        ///< goes on
    constraint,  ///< goes on where the constraint `value` holds
    look,        ///< goes on where the look-around `value` holds
    match,
};

/// A state of an automaton. Of all but splits `second` means nothing.
struct program_state {
    state_kind kind;
    std::uint32_t value = 0;
    std::uint32_t next = 0;
    std::uint32_t second = 0;
};

/// The states of one node of the tree: `begin` to `end`, entered at `in`. Whatever leaves them leaves the
/// node.
struct fragment {
    std::uint32_t begin = 0, end = 0;
    std::uint32_t in = 0;
    std::uint32_t out = 0;  ///< the state whose way on is not part of the node
};

/// An automaton that tells which texts match. A backward one reads the text from its end.
struct program {
    std::vector<program_state> states;
    std::vector<fragment> fragments;  ///< of each node of the tree; of a repeated one, its first copy
    std::uint32_t start = 0;
    bool backward = false;
    bool conditions = false;  ///< there are constraints or look-arounds

    /// True if `what` holds where the reader comes from `before` and goes to `after`.
    bool holds(constraint what, side before, side after) const;
};

/// Makes the automaton of a tree. A reference becomes what its group matches, or anything: the automaton
/// matches more than the expression then, never less. Throws `syntax_fault` for more than `MOST_STATES`.
program make_program(const tree_nodes& nodes, bool backward);

}  // namespace Orlo::IMPL

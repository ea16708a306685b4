#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "regex/char_set.h"

namespace Orlo::IMPL {

/// What kind of text a part of an expression would rather match.
enum class preference : std::uint8_t { none, longest, shortest };

enum class node_kind : std::uint8_t {
    empty,       ///< the empty text
    chars,       ///< one character of set `value`
    constraint,  ///< no text, where `value`, a `constraint`, holds
    look,        ///< no text, where look-around `value` holds
    group,       ///< its child, remembered as group `value`
    sequence,    ///< its children, one after the other
    choice,      ///< one of its children
    repeat,      ///< its child, `least` to `most` times
    reference,   ///< the text of group `value` again; set `least` has all characters
};

/// Conditions on the place between two characters.
enum class constraint : std::uint8_t {
    line_begin,      ///< text begin
    line_end,        ///< text end
    any_line_begin,  ///< the same, or after a newline
    any_line_end,    ///< the same, or before a newline
    text_begin,      ///< text begin, whatever the flags of the match say
    text_end,        ///< text end, likewise
    word_begin,
    word_end,
    word_edge,  ///< begin or end of a word
    no_word_edge,
};

constexpr std::uint32_t UNLIMITED = std::numeric_limits<std::uint32_t>::max();

/// A node of an expression's tree.
///
/// The nodes of a tree lie in one vector, children before their parent: node `i` and all below it are the
/// nodes `begin` to `i`, so its last child is `i - 1`, and the child before the child `c` is
/// `nodes[c].begin - 1`. What holds for a node is found by one loop over the vector, without recursion.
struct tree_node {
    node_kind kind = node_kind::empty;
    preference prefers = preference::none;
    bool captures = false;    ///< there is a group in it
    bool references = false;  ///< there is a reference in it
    std::uint32_t value = 0;
    std::uint32_t begin = 0;
    std::uint32_t least = 0, most = 0;
    std::uint64_t min_length = 0;
    std::uint64_t max_length = 0;  ///< `endless` if there is no limit

    static constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();
    bool fixed_length() const { return min_length == max_length; }
};

using tree_nodes = std::vector<tree_node>;

/// The children of `nodes[parent]`, from the left.
void children_of(const tree_nodes& nodes, std::uint32_t parent, std::vector<std::uint32_t>& children);

/// A condition on the text that begins or ends at a place.
struct look_around {
    bool ahead = true;
    bool negative = false;
    tree_nodes nodes;
};

/// An expression, read.
struct expression_tree {
    tree_nodes nodes;  ///< the last one is the root
    std::vector<char_set> sets;
    std::vector<look_around> looks;  ///< each uses only earlier ones
    std::uint32_t groups = 0;
    bool wide = false;
    bool reports_groups = true;
    bool ignore_case = false;
    bool references = false;
    bool word_edges = false;  ///< a constraint asks for words
    bool newlines = false;    ///< a constraint asks for newlines

    const tree_node& root() const { return nodes.back(); }
    std::uint32_t root_index() const { return static_cast<std::uint32_t>(nodes.size() - 1); }
};

/// Fills in what follows from the children: preference, lengths, captures, references. The children are
/// complete.
void complete_node(tree_nodes& nodes, std::uint32_t index);

}  // namespace Orlo::IMPL

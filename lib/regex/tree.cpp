// What follows for a node from its children.
//
// Preferences: a character has none, for it matches no more and no less. A repetition has that of its
// quantifier, but one of a fixed count has that of what it repeats. A sequence has that of its first part
// that has one; a choice prefers the longest, whatever its branches prefer; a group is as what it holds:
//
//   a*?b+     shortest     (?:a+?)b*   shortest     a{3}b*?   shortest     a*?|b   longest
//
// Without a preference of its own an expression is taken for one that prefers the longest.

#include "regex/tree.h"

#include <algorithm>

namespace Orlo::IMPL {
namespace {

std::uint64_t add_lengths(std::uint64_t a, std::uint64_t b) {
    return a > tree_node::endless - b ? tree_node::endless : a + b;
}

std::uint64_t times(std::uint64_t length, std::uint32_t count) {
    if (length == 0 || count == 0) return 0;
    if (count == UNLIMITED || length > tree_node::endless / count) return tree_node::endless;
    return length * count;
}

void complete_repeat(tree_node& node, const tree_node& child) {
    node.min_length = times(child.min_length, node.least);
    node.max_length = times(child.max_length, node.most);
    if (node.least == node.most) node.prefers = node.most == 0 ? preference::none : child.prefers;
}

}  // namespace

void children_of(const tree_nodes& nodes, std::uint32_t parent, std::vector<std::uint32_t>& children) {
    children.clear();
    for (std::uint32_t end = parent; end > nodes[parent].begin; end = nodes[children.back()].begin)
        children.push_back(end - 1);
    std::reverse(children.begin(), children.end());
}

void complete_node(tree_nodes& nodes, std::uint32_t index) {
    tree_node& node = nodes[index];
    node.captures = node.kind == node_kind::group;
    node.references = node.kind == node_kind::reference;
    if (node.kind == node_kind::chars) node.min_length = node.max_length = 1;
    if (node.kind == node_kind::reference) node.max_length = tree_node::endless;
    if (node.kind == node_kind::choice) node.min_length = tree_node::endless;
    for (std::uint32_t end = index; end > node.begin;) {
        const tree_node& child = nodes[end - 1];
        node.captures |= child.captures;
        node.references |= child.references;
        switch (node.kind) {
            case node_kind::choice:
                node.min_length = std::min(node.min_length, child.min_length);
                node.max_length = std::max(node.max_length, child.max_length);
                break;
            case node_kind::repeat:
                complete_repeat(node, child);
                break;
            default:  // from the right: the leftmost preference stays
                node.min_length = add_lengths(node.min_length, child.min_length);
                node.max_length = add_lengths(node.max_length, child.max_length);
                if (child.prefers != preference::none) node.prefers = child.prefers;
        }
        end = child.begin;
    }
    if (node.kind == node_kind::choice) node.prefers = preference::longest;
}

}  // namespace Orlo::IMPL

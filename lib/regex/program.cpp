// From the tree to the automaton.
//
// Every node becomes a stretch of states with one way in and one way out; a parent adds states after those
// of its children and connects them. The nodes come children first, so that this is one loop:
//
//   a*        0 chars a -> 1      1 split -> 0, out          in = 1
//   a|b       0 chars a -> 3      1 chars b -> 3     2 split -> 0, 1     3 pass -> out     in = 2
//
// A counted repetition copies the stretch of its child, with all numbers moved along: a{2,4} is a a (a (a)?)?,
// and a{2,} is a a+. The backward automaton connects sequences the other way round and is the same otherwise.

#include "regex/program.h"

#include "regex/parser.h"

namespace Orlo::IMPL {
namespace {

/// A group of more states is not copied where it is referred to.
constexpr std::uint32_t MOST_COPIED_FOR_REFERENCE = 200;

class program_maker {
public:
    program_maker(const tree_nodes& nodes, bool backward) : nodes_(nodes) {
        made_.backward = backward;
        made_.fragments.resize(nodes.size());
        made_.states.reserve(nodes.size() + nodes.size() / 2 + 2);
    }

    program make() {
        for (index_ = 0; index_ < nodes_.size(); ++index_)
            made_.fragments[index_] = make_node(nodes_[index_]);
        const fragment whole = made_.fragments.back();
        connect(whole, add({state_kind::match}));
        made_.start = whole.in;
        return std::move(made_);
    }

private:
    std::uint32_t size() const { return static_cast<std::uint32_t>(made_.states.size()); }

    std::uint32_t add(program_state state) {
        if (made_.states.size() >= MOST_STATES) throw TOO_COMPLEX;
        made_.states.push_back(state);
        return size() - 1;
    }

    /// The way out of `from` leads to `target`. A split's way out is its second one.
    void connect(const fragment& from, std::uint32_t target) {
        program_state& state = made_.states[from.out];
        (state.kind == state_kind::split ? state.second : state.next) = target;
    }

    fragment single(program_state state) {
        const std::uint32_t at = add(state);
        return {at, at + 1, at, at};
    }

    fragment make_node(const tree_node& node) {
        switch (node.kind) {
            case node_kind::empty:
                return single({state_kind::pass});
            case node_kind::chars:
                return single({state_kind::chars, node.value});
            case node_kind::constraint:
                made_.conditions = true;
                return single({state_kind::constraint, node.value});
            case node_kind::look:
                made_.conditions = true;
                return single({state_kind::look, node.value});
            case node_kind::group: {
                const fragment inner = made_.fragments[index_ - 1];
                if (groups_.size() <= node.value) groups_.resize(node.value + 1);
                groups_[node.value] = inner;
                return inner;
            }
            case node_kind::sequence:
                return make_sequence();
            case node_kind::choice:
                return make_choice();
            case node_kind::repeat:
                return make_repeat(node, made_.fragments[index_ - 1]);
            case node_kind::reference:
                return make_reference(node);
        }
        return {};
    }

    fragment make_sequence() {
        children_of(nodes_, static_cast<std::uint32_t>(index_), children_);
        fragment whole = made_.fragments[children_.front()];
        for (std::size_t i = 1; i < children_.size(); ++i) {
            const fragment& part = made_.fragments[children_[i]];
            if (made_.backward) {
                connect(part, whole.in);
                whole.in = part.in;
            } else {
                connect(whole, part.in);
                whole.out = part.out;
            }
            whole.end = part.end;
        }
        return whole;
    }

    fragment make_choice() {
        children_of(nodes_, static_cast<std::uint32_t>(index_), children_);
        const std::uint32_t out = add({state_kind::pass});
        std::uint32_t in = made_.fragments[children_.back()].in;
        for (std::size_t i = children_.size() - 1; i-- > 0;)
            in = add({state_kind::split, 0, made_.fragments[children_[i]].in, in});
        for (const std::uint32_t child : children_)
            connect(made_.fragments[child], out);
        return {made_.fragments[children_.front()].begin, size(), in, out};
    }

    /// Another copy of `from`, of `begin` to `end` as it was before anything was connected to its way out.
    fragment copy(const fragment& from, const std::vector<program_state>& states) {
        const std::uint32_t by = size() - from.begin;
        if (made_.states.size() + states.size() > MOST_STATES) throw TOO_COMPLEX;
        for (program_state state : states) {
            state.next += by;
            state.second += by;
            made_.states.push_back(state);
        }
        return {from.begin + by, from.end + by, from.in + by, from.out + by};
    }

    /// x+ is entered at x, x* at the split after it.
    fragment make_loop(const fragment& child, bool skips) {
        const std::uint32_t split = add({state_kind::split, 0, child.in, 0});
        connect(child, split);
        return {child.begin, size(), skips ? split : child.in, split};
    }

    /// Joins two stretches in the order in which they are read.
    fragment join(const fragment& first, const fragment& second) {
        connect(first, second.in);
        return {first.begin, size(), first.in, second.out};
    }

    fragment make_repeat(const tree_node& node, const fragment& child) {
        if (node.most == 0) {
            const std::uint32_t at = add({state_kind::pass});
            return {child.begin, size(), at, at};
        }
        if (node.most == UNLIMITED && node.least <= 1) return make_loop(child, node.least == 0);
        if (node.most == 1 && node.least == 1) return child;
        const std::vector<program_state> states(made_.states.begin() + child.begin,
                                                made_.states.begin() + child.end);
        fragment whole = child;
        const bool loops = node.most == UNLIMITED;
        const std::uint32_t fixed = loops ? node.least - 1 : node.least;
        for (std::uint32_t i = 1; i < fixed; ++i)
            whole = join(whole, copy(child, states));
        if (loops) return join(whole, make_loop(copy(child, states), false));
        return make_optional(node, child, states, whole);
    }

    /// The copies beyond the least number: each may be left out together with all after it.
    fragment make_optional(const tree_node& node, const fragment& child,
                           const std::vector<program_state>& states, fragment whole) {
        std::vector<std::uint32_t> skips;
        for (std::uint32_t i = node.least; i < node.most; ++i) {
            const fragment more = i == 0 ? child : copy(child, states);
            const std::uint32_t split = add({state_kind::split, 0, more.in, 0});
            skips.push_back(split);
            if (i == 0) {
                whole = {child.begin, size(), split, child.out};
            } else {
                connect(whole, split);
                whole = {whole.begin, size(), whole.in, more.out};
            }
        }
        if (skips.empty()) return whole;
        const std::uint32_t out = add({state_kind::pass});
        connect(whole, out);
        for (const std::uint32_t split : skips)
            made_.states[split].second = out;
        return {child.begin, size(), whole.in, out};
    }

    /// What the group matches, without the conditions, which hold at another place; or any text.
    fragment make_reference(const tree_node& node) {
        const fragment& group = groups_[node.value];
        if (group.end - group.begin > MOST_COPIED_FOR_REFERENCE) {
            const std::uint32_t any = add({state_kind::chars, node.least});
            return make_loop({any, any + 1, any, any}, true);
        }
        std::vector<program_state> states(made_.states.begin() + group.begin,
                                          made_.states.begin() + group.end);
        for (program_state& state : states)
            if (state.kind == state_kind::constraint || state.kind == state_kind::look)
                state.kind = state_kind::pass;
        return copy(group, states);
    }

    const tree_nodes& nodes_;
    std::size_t index_ = 0;
    std::vector<std::uint32_t> children_;
    std::vector<fragment> groups_;  ///< by number
    program made_;
};

}  // namespace

bool program::holds(constraint what, side before, side after) const {
    return backward ? IMPL::holds(what, after, before) : IMPL::holds(what, before, after);
}

program make_program(const tree_nodes& nodes, bool backward) {
    return program_maker(nodes, backward).make();
}

}  // namespace Orlo::IMPL

#pragma once

#include <array>
#include <vector>

#include "orlo/regex/regex.h"
#include "regex/lists.h"

namespace Orlo::IMPL {

/// Thrown when the budget is used up.
struct match_too_complex {
    std::uint64_t steps;
};

/// A set of 128-bit marks, which takes in a limited number of them.
class mark_set {
public:
    using mark = std::array<std::uint64_t, 2>;
    /// True if the mark was there already; adds it otherwise.
    bool test_and_add(mark m);

private:
    void grow();
    static constexpr std::size_t MOST = 1u << 20;
    std::vector<mark> slots_;
    std::size_t count_ = 0;
};

/// Finds out whether a stretch of text matches an expression with references, and what its groups match. See
/// the source.
template <class T>
class reference_matcher {
public:
    /// `forward` is the forward program of `tree`, which matches more than the tree.
    reference_matcher(const expression_tree& tree, const program& forward, const subject<T>& s,
                      std::uint64_t budget);

    /// True if the tree matches exactly `begin` to `end`; sets `groups` then. Throws `match_too_complex`.
    bool matches(std::size_t begin, std::size_t end, std::vector<regex_span>& groups);

    /// Takes steps from the budget.
    void spend(std::uint64_t steps) {
        if ((spent_ += steps) > budget_) throw match_too_complex{budget_};
    }

private:
    enum class goal_kind : std::uint8_t {
        node,     ///< `node` matches from here to `end`
        parts,    ///< the children of `node` from number `count` on match from here to `end`
        passes,   ///< `node` was passed `count` times, and goes on to `end`
        capture,  ///< group `count` has matched from `begin` to `end`
    };
    struct goal {
        goal_kind kind;
        std::uint32_t node = 0;
        std::uint32_t count = 0;
        std::uint32_t next = NONE;  ///< what is to be done then
        std::size_t begin = 0, end = 0;
        mark_set::mark mark{};  ///< of this goal and all after it
    };
    /// What can be tried for a goal: the choices from `choices` on, the last one first.
    struct alternative {
        std::uint32_t goal;
        std::size_t place, choices, undo, goals;
    };
    struct change {
        std::size_t group;
        regex_span before;
    };
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    const tree_node& node(std::uint32_t index) const { return tree_.nodes[index]; }
    const std::vector<std::uint32_t>& children(std::uint32_t index);
    std::uint32_t add_goal(goal g);
    void add_node_goal(std::uint32_t index, std::size_t end, std::uint32_t next);
    bool pursue(std::uint32_t index);
    bool pursue_node(std::uint32_t index, const goal& g);
    bool pursue_parts(std::uint32_t index, const goal& g);
    bool pursue_passes(std::uint32_t index, const goal& g);
    bool pursue_reference(const goal& g);
    void take(const alternative& a, std::size_t choice);
    bool fail_back();
    bool seen_before(const goal& g);
    void find_ends(std::uint32_t index, std::size_t from, std::size_t limit);
    template <class Visit>
    void read(std::uint32_t index, std::size_t limit, Visit&& visit);
    bool same_text(regex_span span, std::size_t place) const;
    void set_group(std::size_t group, regex_span span);

    const expression_tree& tree_;
    const program& program_;
    const subject<T>& subject_;
    std::uint64_t budget_, spent_ = 0;
    std::vector<std::size_t> referred_;                 ///< groups that references name
    std::vector<std::vector<std::uint32_t>> children_;  ///< of each node, once asked for
    std::size_t place_ = 0;
    std::uint32_t goal_ = NONE;
    std::vector<goal> goals_;
    std::vector<alternative> alternatives_;
    std::vector<std::size_t> choices_;
    std::vector<change> undo_;
    std::vector<regex_span> groups_;
    mark_set seen_;
    std::vector<std::uint32_t> now_, then_;
    state_walk walk_;
};

extern template class reference_matcher<char>;
extern template class reference_matcher<wchar_t>;

}  // namespace Orlo::IMPL

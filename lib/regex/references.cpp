// Matching with references.
//
// Whether "(a*)\1b" matches cannot be told by an automaton, so parts are tried in the order in which the rule
// prefers them (see spans.cpp), and what turns out wrong is taken back. The automaton, in which a reference is
// what its group could match, says where a part can end at all.
//
// What is still to be done is a list of goals. Goals are never changed, so that many lists share their tails:
//
//   text "aab", whole 0 to 3
//   place 0    node (a*)\1b to 3
//   place 0    children 0.. to 3           choices for the end of (a*): 2, 1, 0
//   place 0    node (a*) to 2              then children 1.. to 3
//   place 2    children 1.. to 3           \1 is "aa": it does not fit; back to the choices
//   place 0    node (a*) to 1              then children 1.. to 3
//   place 1    children 1.. to 3           \1 is "a": on to 2, and b
//
// A goal that failed once fails again if the place, the goals after it and the groups that references name
// are the same. Each such case is remembered by a 128-bit mark and not tried twice, up to a million of them.
// Every goal and every automaton state visited is a step; when the budget of steps is used up the match
// fails as too complex.

#include "regex/references.h"

#include <algorithm>
#include <cwctype>

namespace Orlo::IMPL {
namespace {

mark_set::mark mix(mark_set::mark m, std::uint64_t word) {
    m[0] = (m[0] ^ word) * 0x9E3779B97F4A7C15u;
    m[0] ^= m[0] >> 29;
    m[1] = (m[1] + word) * 0xD6E8FEB86659FD93u;
    m[1] ^= m[1] >> 32;
    return m;
}

bool equal_folded(char a, char b) {
    const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return fold(a) == fold(b);
}

bool equal_folded(wchar_t a, wchar_t b) {
    const auto x = static_cast<std::wint_t>(a);
    const auto y = static_cast<std::wint_t>(b);
    return std::towlower(x) == std::towlower(y) || std::towupper(x) == std::towupper(y);
}

}  // namespace

// --- marks

bool mark_set::test_and_add(mark m) {
    m[0] |= 1;  // an empty slot is 0
    if (slots_.empty()) slots_.resize(1024);
    std::size_t slot = m[1];
    for (; slots_[slot &= slots_.size() - 1][0] != 0; ++slot)
        if (slots_[slot] == m) return true;
    if (count_ == MOST) return false;
    slots_[slot] = m;
    if (++count_ * 2 > slots_.size()) grow();
    return false;
}

void mark_set::grow() {
    std::vector<mark> before(slots_.size() * 2);
    before.swap(slots_);
    for (const mark m : before) {
        if (m[0] == 0) continue;
        std::size_t slot = m[1];
        while (slots_[slot &= slots_.size() - 1][0] != 0)
            ++slot;
        slots_[slot] = m;
    }
}

// --- the run

template <class T>
reference_matcher<T>::reference_matcher(const expression_tree& tree, const program& forward,
                                        const subject<T>& s, std::uint64_t budget)
    : tree_(tree),
      program_(forward),
      subject_(s),
      budget_(budget),
      children_(tree.nodes.size()),
      groups_(tree.groups + 1),
      walk_(forward) {
    for (const tree_node& n : tree.nodes)
        if (n.kind == node_kind::reference) referred_.push_back(n.value);
    std::sort(referred_.begin(), referred_.end());
    referred_.erase(std::unique(referred_.begin(), referred_.end()), referred_.end());
}

template <class T>
bool reference_matcher<T>::matches(std::size_t begin, std::size_t end, std::vector<regex_span>& groups) {
    goals_.clear();
    alternatives_.clear();
    choices_.clear();
    undo_.clear();
    groups_.assign(tree_.groups + 1, {});
    place_ = begin;
    add_node_goal(tree_.root_index(), end, NONE);
    while (goal_ != NONE) {
        spend(1);
        if (!pursue(goal_) && !fail_back()) return false;
    }
    groups = groups_;
    groups[0] = {begin, end};
    return true;
}

template <class T>
const std::vector<std::uint32_t>& reference_matcher<T>::children(std::uint32_t index) {
    if (children_[index].empty()) children_of(tree_.nodes, index, children_[index]);
    return children_[index];
}

template <class T>
std::uint32_t reference_matcher<T>::add_goal(goal g) {
    if (g.next != NONE) g.mark = goals_[g.next].mark;
    g.mark = mix(g.mark, static_cast<std::uint64_t>(g.kind) | std::uint64_t{g.node} << 8 |
                             std::uint64_t{g.count} << 40);
    g.mark = mix(mix(g.mark, g.begin), g.end);
    goals_.push_back(g);
    return static_cast<std::uint32_t>(goals_.size() - 1);
}

template <class T>
void reference_matcher<T>::add_node_goal(std::uint32_t index, std::size_t end, std::uint32_t next) {
    goal_ = add_goal({.kind = goal_kind::node, .node = index, .next = next, .end = end});
}

template <class T>
void reference_matcher<T>::set_group(std::size_t group, regex_span span) {
    undo_.push_back({group, groups_[group]});
    groups_[group] = span;
}

/// Takes the next choice there is.
template <class T>
bool reference_matcher<T>::fail_back() {
    while (!alternatives_.empty()) {
        const alternative a = alternatives_.back();
        for (; undo_.size() > a.undo; undo_.pop_back())
            groups_[undo_.back().group] = undo_.back().before;
        goals_.resize(a.goals);
        place_ = a.place;
        if (choices_.size() > a.choices) {
            const std::size_t choice = choices_.back();
            choices_.pop_back();
            take(a, choice);
            return true;
        }
        alternatives_.pop_back();
    }
    return false;
}

template <class T>
void reference_matcher<T>::take(const alternative& a, std::size_t choice) {
    goal g = goals_[a.goal];
    if (g.kind == goal_kind::node) return add_node_goal(static_cast<std::uint32_t>(choice), g.end, g.next);
    std::uint32_t chosen = g.node - 1;
    if (g.kind == goal_kind::parts) {
        chosen = children(g.node)[g.count];
    } else {  // a pass forgets what its groups matched before
        for (std::uint32_t i = node(g.node).begin; i < g.node; ++i)
            if (node(i).kind == node_kind::group) set_group(node(i).value, {});
    }
    ++g.count;
    const std::uint32_t rest =
        add_goal({.kind = g.kind, .node = g.node, .count = g.count, .next = g.next, .end = g.end});
    add_node_goal(chosen, choice, rest);
}

/// True if this goal was met at this place with these groups before: then it has failed.
template <class T>
bool reference_matcher<T>::seen_before(const goal& g) {
    mark_set::mark m = mix(g.mark, place_);
    for (const std::size_t group : referred_)
        m = mix(mix(m, groups_[group].begin), groups_[group].end);
    return seen_.test_and_add(m);
}

// --- goals: each either is reached, or is replaced by others, or is false

template <class T>
bool reference_matcher<T>::pursue(std::uint32_t index) {
    const goal g = goals_[index];
    goal_ = g.next;
    switch (g.kind) {
        case goal_kind::node:
            return pursue_node(index, g);
        case goal_kind::parts:
            return pursue_parts(index, g);
        case goal_kind::passes:
            return pursue_passes(index, g);
        case goal_kind::capture:
            set_group(g.count, {g.begin, g.end});
            return true;
    }
    return false;
}

template <class T>
bool reference_matcher<T>::pursue_node(std::uint32_t index, const goal& g) {
    const tree_node& n = node(g.node);
    const std::size_t length = g.end - place_;
    if (length < n.min_length || length > n.max_length) return false;
    if (n.kind == node_kind::reference) return pursue_reference(g);
    if (!n.captures && !n.references) {
        bool reached = false;
        read(g.node, g.end, [&](std::size_t place) { reached |= place == g.end; });
        place_ = g.end;
        return reached;
    }
    goal inner{.kind = goal_kind::parts, .node = g.node, .next = g.next, .end = g.end};
    switch (n.kind) {
        case node_kind::group:
            inner = {
                .kind = goal_kind::capture, .count = n.value, .next = g.next, .begin = place_, .end = g.end};
            add_node_goal(g.node - 1, g.end, add_goal(inner));
            return true;
        case node_kind::choice:
            alternatives_.push_back({index, place_, choices_.size(), undo_.size(), goals_.size()});
            choices_.insert(choices_.end(), children(g.node).rbegin(), children(g.node).rend());
            return false;
        case node_kind::repeat:
            inner.kind = goal_kind::passes;
            break;
        default:
            break;
    }
    goal_ = add_goal(inner);
    return true;
}

template <class T>
bool reference_matcher<T>::same_text(regex_span span, std::size_t place) const {
    const auto a = subject_.text.substr(span.begin, span.end - span.begin);
    const auto b = subject_.text.substr(place, a.size());
    if (!tree_.ignore_case) return a == b;
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](T x, T y) { return equal_folded(x, y); });
}

template <class T>
bool reference_matcher<T>::pursue_reference(const goal& g) {
    const regex_span span = groups_[node(g.node).value];
    if (span.begin == regex_span::npos || g.end - place_ != span.end - span.begin) return false;
    spend((g.end - place_) / 16);
    const bool same = same_text(span, place_);
    place_ = g.end;
    return same;
}

template <class T>
bool reference_matcher<T>::pursue_parts(std::uint32_t index, const goal& g) {
    const std::vector<std::uint32_t>& parts = children(g.node);
    if (g.count + 1 == parts.size()) {
        add_node_goal(parts[g.count], g.end, g.next);
        return true;
    }
    if (seen_before(g)) return false;
    std::uint64_t least = 0;
    std::uint64_t most = 0;
    for (std::size_t i = g.count + 1; i < parts.size(); ++i) {
        least += node(parts[i]).min_length;
        most = node(parts[i]).max_length > tree_node::endless - most ? tree_node::endless
                                                                     : most + node(parts[i]).max_length;
    }
    if (g.end - place_ < least) return false;
    const std::size_t from = g.end - place_ > most ? g.end - static_cast<std::size_t>(most) : place_;
    alternatives_.push_back({index, place_, choices_.size(), undo_.size(), goals_.size()});
    find_ends(parts[g.count], from, g.end - static_cast<std::size_t>(least));
    return false;
}

template <class T>
bool reference_matcher<T>::pursue_passes(std::uint32_t index, const goal& g) {
    const tree_node& repeat = node(g.node);
    if (place_ == g.end && g.count >= repeat.least) return true;
    if (g.count == repeat.most || seen_before(g)) return false;
    alternatives_.push_back({index, place_, choices_.size(), undo_.size(), goals_.size()});
    find_ends(g.node - 1, g.count < repeat.least ? place_ : place_ + 1, g.end);
    return false;
}

// --- ends

/// Adds the ends between `from` and `limit` that the node may have when it begins here, the preferred last.
template <class T>
void reference_matcher<T>::find_ends(std::uint32_t index, std::size_t from, std::size_t limit) {
    const tree_node& n = node(index);
    const auto add = [&](std::size_t place) {
        if (place >= from && place <= limit) choices_.push_back(place);
    };
    if (n.kind == node_kind::reference) {
        const regex_span span = groups_[n.value];
        if (span.begin != regex_span::npos) add(place_ + (span.end - span.begin));
        return;
    }
    const std::size_t first = choices_.size();
    read(index, limit, add);
    if (n.prefers == preference::shortest)
        std::reverse(choices_.begin() + static_cast<std::ptrdiff_t>(first), choices_.end());
}

/// Reads from here to `limit` at most and calls `visit(place)`, in their order, where the node may end.
template <class T>
template <class Visit>
void reference_matcher<T>::read(std::uint32_t index, std::size_t limit, Visit&& visit) {
    const fragment& within = program_.fragments[index];
    now_.assign(1, within.in);
    for (std::size_t place = place_; !now_.empty(); ++place) {
        spend(now_.size());
        walk_.begin_round();
        then_.clear();
        bool ends = false;
        const auto may_pass = [&](const program_state& s) { return passes(s, subject_, place); };
        const auto arrive = [&](std::uint32_t number) {
            const bool outside = number < within.begin || number >= within.end;
            ends |= outside;
            if (!outside && program_.states[number].kind == state_kind::chars) then_.push_back(number);
        };
        for (const std::uint32_t number : now_)
            walk_.walk(number, may_pass, arrive, within);
        if (ends) visit(place);
        if (place == limit) break;
        now_.clear();
        const std::uint32_t symbol = subject_.after(place);
        for (const std::uint32_t number : then_)
            if (subject_.letters.in_set(program_.states[number].value, symbol))
                now_.push_back(program_.states[number].next);
    }
}

template class reference_matcher<char>;
template class reference_matcher<wchar_t>;

}  // namespace Orlo::IMPL

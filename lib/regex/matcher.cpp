// Which engine does what.
//
//   a rare begin          the filter goes to where a match may begin, and the forward automaton tries there
//   a match anywhere      the forward automaton, up to the first match that it meets
//   the leftmost match    the forward automaton finds its end; the backward one, from there, its begin
//   its groups            span_finder, on the text of the match only
//   with references       the same automata find where a match could be, as a reference stands for all that
//                         its group could match; reference_matcher tells whether it is one
//   look-arounds          before anything else, one reading of the text each finds all places where it holds:
//                         from the end if it looks ahead
//   too many states       list_reader does what the automaton would
//
// Every step is linear in the text but the one with references, which has a budget.

#include "regex/matcher.h"

#include <algorithm>
#include <type_traits>

namespace Orlo::IMPL {
namespace {

/// Steps for a search with references: some for any text, and some for each of its characters.
constexpr std::uint64_t FIRST_STEPS = 10'000'000;
constexpr std::uint64_t STEPS_A_CHARACTER = 100;

/// A shorter text is read at once, without a look at the filter.
constexpr std::size_t LEAST_FILTERED = 64;
/// Characters that may be read in vain where the filter found something, besides two for each passed over.
constexpr std::size_t MOST_TRIED = 256;

template <bool Backward, class T, class Visit>
reading_end read_with_looks(lazy_automaton& automaton, const subject<T>& s, std::size_t from, std::size_t to,
                            bool anchored, Visit&& visit) {
    if (s.looks.empty()) return read_text<Backward, false>(automaton, s, from, to, anchored, visit);
    if (s.looks.size() > lazy_automaton::most_looks) return {reading::gave_up, from};
    return read_text<Backward, true>(automaton, s, from, to, anchored, visit);
}

}  // namespace

template <class T>
matcher<T>::matcher(const compiled_expression& what, std::basic_string_view<T> text, std::uint32_t flags)
    : what_(what),
      subject_{text, what.letters(), (flags & regex_flag::not_bol) != 0, (flags & regex_flag::not_eol) != 0},
      automata_(what.lend()) {
    if (!what.looks().empty()) find_looks();
}

template <class T>
lazy_automaton& matcher<T>::automaton(std::unique_ptr<lazy_automaton>& held, const program& what,
                                      match_mode mode) {
    if (!held)
        held = std::make_unique<lazy_automaton>(what, what_.letters(),
                                                std::min(subject_.looks.size(), lazy_automaton::most_looks),
                                                mode, what_.budget());
    return *held;
}

template <class T>
void matcher<T>::find_looks() {
    const std::size_t size = subject_.text.size();
    automata_->looks.resize(what_.looks().size());
    for (std::size_t i = 0; i < what_.looks().size(); ++i) {
        const program& finder = what_.looks()[i].finder;
        place_bits holds(size);
        const auto set = [&](std::size_t place) {
            holds.set(place);
            return false;
        };
        lazy_automaton& found = automaton(automata_->looks[i], finder, match_mode::all);
        const reading_end end = finder.backward
                                    ? read_with_looks<true>(found, subject_, size, 0, false, set)
                                    : read_with_looks<false>(found, subject_, 0, size, false, set);
        if (end.came == reading::gave_up) {
            list_reader<T> lists(finder, subject_, match_mode::all);
            lists.read(finder.backward ? size : 0, finder.backward ? 0 : size, false,
                       [&](std::size_t, std::size_t place) { return set(place); });
        }
        if (what_.looks()[i].negative) holds.flip_all();
        subject_.looks.push_back(std::move(holds));
    }
}

template <class T>
bool matcher<T>::exists() {
    regex_span match;
    if (what_.tree().references) return find(0, match);
    if (subject_.text.size() < what_.tree().root().min_length) return false;
    return find_end(0, true, match);
}

/// Reads from a place and sets the end of the match that is found there (`anchored`) or first after it; its
/// begin, too, if that gets known. `any` is content with the first end that is met.
template <class T>
reading_end matcher<T>::read_forward(std::size_t from, bool anchored, bool any, regex_span& match) {
    match = {anchored ? from : regex_span::npos, regex_span::npos};
    const std::size_t size = subject_.text.size();
    const auto set_end = [&](std::size_t place) {
        match.end = place;
        return any;
    };
    const reading_end end = read_with_looks<false>(automaton(automata_->forward, what_.forward(), mode()),
                                                   subject_, from, size, anchored, set_end);
    if (end.came != reading::gave_up) return end;
    match = {};
    list_reader<T> lists(what_.forward(), subject_, mode());
    lists.read(from, size, anchored, [&](std::size_t begin, std::size_t place) {
        match.begin = begin;
        return set_end(place);
    });
    return {reading::done, size};
}

/// Where the filter finds something a match is tried. When the tries read much more than the filter spares,
/// the rest is read without it, so that the whole stays linear.
template <class T>
bool matcher<T>::find_end_filtered(const byte_fingerprint& filter, std::size_t from, bool any,
                                   regex_span& match) {
    if constexpr (std::is_same_v<T, char>) {
        const char* const text = subject_.text.data();
        const std::size_t size = subject_.text.size();
        std::size_t tried = 0;
        for (std::size_t at = from;; ++at) {
            at = static_cast<std::size_t>(filter.find(text + at, text + size) - text);
            if (at == size) return false;
            const std::size_t end = read_forward(at, true, any, match).place;
            if (match.end != regex_span::npos) return true;
            tried += end - at;
            if (tried > MOST_TRIED + 2 * (at - from)) return find_end_plain(at + 1, any, match);
        }
    }
    return find_end_plain(from, any, match);
}

template <class T>
bool matcher<T>::find_end_plain(std::size_t from, bool any, regex_span& match) {
    read_forward(from, what_.begins_text(), any, match);
    return match.end != regex_span::npos;
}

/// The end of the first match; its begin, too, if it was found on the way or known before.
template <class T>
bool matcher<T>::find_end(std::size_t from, bool any, regex_span& match) {
    if (subject_.text.size() - from >= LEAST_FILTERED)
        if (const byte_fingerprint* const filter = what_.prefilter())
            return find_end_filtered(*filter, from, any, match);
    return find_end_plain(from, any, match);
}

/// The earliest begin, not before `from`, of a match that ends at `end`.
template <class T>
std::size_t matcher<T>::find_begin(std::size_t from, std::size_t end) {
    const program& backward = what_.backward();
    std::size_t begin = end;
    const auto set = [&](std::size_t place) {
        begin = place;
        return false;
    };
    lazy_automaton& found = automaton(automata_->backward, backward, match_mode::longest);
    if (read_with_looks<true>(found, subject_, end, from, true, set).came == reading::gave_up) {
        list_reader<T> lists(backward, subject_, match_mode::longest);
        lists.read(end, from, true, [&](std::size_t, std::size_t place) { return set(place); });
    }
    return begin;
}

template <class T>
bool matcher<T>::find(std::size_t from, regex_span& match) {
    if (from > subject_.text.size()) return false;
    if (what_.begins_text() && from != 0) return false;
    if (subject_.text.size() - from < what_.tree().root().min_length) return false;
    if (what_.tree().references) return find_with_references(from, match);
    if (!find_end(from, false, match)) return false;
    if (match.begin == regex_span::npos) match.begin = find_begin(from, match.end);
    return true;
}

template <class T>
bool matcher<T>::whole() {
    const std::size_t size = subject_.text.size();
    const tree_node& root = what_.tree().root();
    if (size < root.min_length || size > root.max_length) return false;
    if (root.references) return references().matches(0, size, referred_groups_);
    bool found = false;
    const auto set = [&](std::size_t place) { return found = place == size; };
    auto& held = what_.prefers_shortest() ? automata_->longest : automata_->forward;
    lazy_automaton& ends = automaton(held, what_.forward(), match_mode::longest);
    if (read_with_looks<false>(ends, subject_, 0, size, true, set).came == reading::gave_up) {
        list_reader<T> lists(what_.forward(), subject_, match_mode::longest);
        lists.read(0, size, true, [&](std::size_t, std::size_t place) { return set(place); });
    }
    return found;
}

template <class T>
void matcher<T>::fill_groups(const regex_span& match, std::vector<regex_span>& groups) {
    const expression_tree& tree = what_.tree();
    groups.assign(tree.reports_groups ? tree.groups + 1 : 1, {});
    groups[0] = match;
    if (!tree.reports_groups || tree.groups == 0) return;
    if (tree.references) {
        groups = referred_groups_;
        return;
    }
    if (!spans_) spans_ = std::make_unique<span_finder<T>>(tree, what_.backward(), subject_);
    spans_->find(match.begin, match.end, groups);
}

// --- references

template <class T>
reference_matcher<T>& matcher<T>::references() {
    if (!references_)
        references_ = std::make_unique<reference_matcher<T>>(
            what_.tree(), what_.forward(), subject_, FIRST_STEPS + STEPS_A_CHARACTER * subject_.text.size());
    return *references_;
}

/// Tries all ends that a match from `begin` could have, the preferred one first.
template <class T>
bool matcher<T>::match_references_from(std::size_t begin, regex_span& match) {
    std::vector<std::size_t> ends;
    const auto add = [&](std::size_t place) {
        ends.push_back(place);
        return false;
    };
    lazy_automaton& found = automaton(automata_->longest, what_.forward(), match_mode::longest);
    const std::size_t size = subject_.text.size();
    if (read_with_looks<false>(found, subject_, begin, size, true, add).came == reading::gave_up) {
        ends.clear();
        list_reader<T> lists(what_.forward(), subject_, match_mode::longest);
        lists.read(begin, size, true, [&](std::size_t, std::size_t place) { return add(place); });
    }
    if (!what_.prefers_shortest()) std::reverse(ends.begin(), ends.end());
    for (const std::size_t end : ends) {
        if (!references().matches(begin, end, referred_groups_)) continue;
        match = {begin, end};
        return true;
    }
    return false;
}

template <class T>
bool matcher<T>::find_with_references(std::size_t from, regex_span& match) {
    for (regex_span possible; find_end(from, false, possible); from = possible.begin + 1) {
        if (possible.begin == regex_span::npos) possible.begin = find_begin(from, possible.end);
        references().spend(possible.end - from);
        if (match_references_from(possible.begin, match)) return true;
        if (what_.begins_text() || possible.begin == subject_.text.size()) return false;
    }
    return false;
}

template class matcher<char>;
template class matcher<wchar_t>;

}  // namespace Orlo::IMPL

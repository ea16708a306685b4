// Reading with lists of program states.
//
// A thread is a program state and the place where its match began. At each place the list holds every state
// at most once, with the earliest begin: threads are kept in the order of their begins, so the first that
// reaches a state is the one to keep. When a thread matches, those that began later are dropped, and no more
// begin. Costs, with S states: S a character, and two lists of S.

#include "regex/lists.h"

namespace Orlo::IMPL {

/// Adds the states that take characters and can be reached at this place; returns the index of a match.
template <class T>
std::size_t list_reader<T>::close(thread from, std::size_t place) {
    std::size_t matched = NONE;
    walk_.walk(
        from.state, [&](const program_state& s) { return passes(s, subject_, place); },
        [&](std::uint32_t number) {
            const state_kind kind = program_.states[number].kind;
            if (kind == state_kind::match) matched = then_.size();
            if (kind == state_kind::match || kind == state_kind::chars) then_.push_back({number, from.begin});
        });
    return matched;
}

/// From the states in `now_` to all that can be reached from them, in `then_`; the index of the first match.
template <class T>
std::size_t list_reader<T>::find_states(std::size_t place, bool begins) {
    then_.clear();
    walk_.begin_round();
    std::size_t matched = NONE;
    for (const thread t : now_) {
        const std::size_t found = close(t, place);
        if (matched == NONE) matched = found;
    }
    if (begins) {
        const std::size_t found = close({program_.start, place}, place);
        if (matched == NONE) matched = found;
    }
    return matched;
}

template <class T>
void list_reader<T>::cut(std::size_t matched) {
    if (mode_ == match_mode::all) return;
    const std::size_t begin = then_[matched].begin;
    std::size_t kept = 0;
    while (kept < then_.size() && then_[kept].begin != begin)
        ++kept;
    if (mode_ == match_mode::longest)
        while (kept < then_.size() && then_[kept].begin == begin)
            ++kept;
    then_.resize(kept);
}

template <class T>
void list_reader<T>::step(std::size_t place) {
    const std::uint32_t symbol = program_.backward ? subject_.before(place) : subject_.after(place);
    now_.clear();
    for (const thread t : then_) {
        const program_state& s = program_.states[t.state];
        if (s.kind == state_kind::chars && subject_.letters.in_set(s.value, symbol))
            now_.push_back({s.next, t.begin});
    }
}

template class list_reader<char>;
template class list_reader<wchar_t>;

}  // namespace Orlo::IMPL

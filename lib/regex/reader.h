#pragma once

// Reading a text with a lazy automaton.
//
// The loop over known entries is all that counts: one look-up of the character's class, which does not depend
// on the state, and one of the next state.

#include <cstddef>

#include "regex/automaton.h"
#include "regex/subject.h"

namespace Orlo::IMPL {

/// What came of a reading.
enum class reading {
    done,     ///< to its end
    stopped,  ///< by the visitor
    gave_up,  ///< the text needs more states than the memory holds
};

/// States to make before it is asked whether making states is worth while, and how many characters each must
/// serve.
constexpr std::size_t TRIAL_STATES = 10'000;
constexpr std::size_t LEAST_CHARACTERS_A_STATE = 8;

/// How a reading ended, and where.
struct reading_end {
    reading came;
    std::size_t place;
};

/// Reads the text between `from` and `to`, backwards if `to` is the lower, beginning matches at `from` only
/// (`anchored`) or everywhere. Calls `visit(place)` wherever a match ends, until it returns true.
template <bool Backward, bool Looks, class T, class Visit>
reading_end read_text(lazy_automaton& automaton, const subject<T>& s, std::size_t from, std::size_t to,
                      bool anchored, Visit&& visit) {
    using entry = lazy_automaton::entry;
    const alphabet& letters = s.letters;
    const std::uint16_t* const low = letters.low_classes();
    const T* const text = s.text.data();
    const auto symbol_at = [&](std::size_t place) {
        std::uint32_t symbol = 0;
        if constexpr (sizeof(T) == 1) {
            symbol = low[static_cast<unsigned char>(text[Backward ? place - 1 : place])];
        } else {
            symbol = letters.class_of(text[Backward ? place - 1 : place]);
        }
        if constexpr (Looks) symbol += s.looks_at(place) * letters.symbols();
        return symbol;
    };
    entry state = automaton.start(letters.side_of(Backward ? s.after(from) : s.before(from)), anchored);
    if (state == lazy_automaton::unknown) return {reading::gave_up, from};
    if (state == lazy_automaton::dead) return {reading::done, from};
    const entry* table = automaton.table();
    std::size_t made = 0;
    std::size_t place = from;
    for (;;) {
        std::uint32_t symbol = 0;
        entry next = 0;
        bool at_end = true;
        while (place != to) {
            symbol = symbol_at(place);
            next = table[state + symbol];
            place += Backward ? std::size_t(-1) : 1;
            if ((next & lazy_automaton::special) != 0) {
                at_end = false;
                break;
            }
            state = next;
        }
        if (at_end) {  // what lies beyond decides whether a match ends here
            symbol = Backward ? s.before(to) : s.after(to);
            if constexpr (Looks) symbol += s.looks_at(to) * letters.symbols();
            next = table[state + symbol];
        }
        if (next == lazy_automaton::unknown) {
            next = automaton.follow(state, symbol);
            table = automaton.table();
            const std::size_t read = Backward ? from - place : place - from;
            if (next == lazy_automaton::unknown ||
                (++made > TRIAL_STATES && read < made * LEAST_CHARACTERS_A_STATE))
                return {reading::gave_up, place};
        }
        if ((next & lazy_automaton::match) != 0) {
            const std::size_t end = at_end ? to : Backward ? place + 1 : place - 1;
            if (visit(end)) return {reading::stopped, place};
        }
        if (at_end || next == lazy_automaton::dead) return {reading::done, place};
        state = next & lazy_automaton::row_mask;
    }
}

}  // namespace Orlo::IMPL

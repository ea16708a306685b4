#pragma once

#include "regex/automaton.h"
#include "regex/state_walk.h"
#include "regex/subject.h"

namespace Orlo::IMPL {

/// True if a reader may pass state `s`, a constraint or a look-around, at this place.
template <class T>
bool passes(const program_state& s, const subject<T>& text, std::size_t place) {
    if (s.kind == state_kind::look) return text.looks[s.value][place];
    return holds(static_cast<constraint>(s.value), text.letters.side_of(text.before(place)),
                 text.letters.side_of(text.after(place)));
}

/// The same as a lazy automaton does, with lists of program states: slower, but in memory that the text has
/// no part in. See the source.
template <class T>
class list_reader {
public:
    list_reader(const program& what, const subject<T>& s, match_mode mode)
        : program_(what), subject_(s), mode_(mode), walk_(what) {}

    /// Reads from `from` to `to`, backwards if the program is. Calls `visit(begin, end)` for each match that
    /// is met, until it returns true; returns true then. Of the leftmost match the last call tells.
    template <class Visit>
    bool read(std::size_t from, std::size_t to, bool anchored, Visit&& visit) {
        now_.clear();
        then_.clear();
        bool begins = true;
        for (std::size_t place = from;; place += program_.backward ? std::size_t(-1) : 1) {
            if (place != from && anchored) begins = false;
            const std::size_t matched = find_states(place, begins);
            if (matched != NONE) {
                if (visit(then_[matched].begin, place)) return true;
                cut(matched);
                if (mode_ != match_mode::all) begins = false;
            }
            if (place == to || (then_.empty() && !begins)) return false;
            step(place);
        }
    }

private:
    struct thread {
        std::uint32_t state;
        std::size_t begin;
    };
    static constexpr std::size_t NONE = static_cast<std::size_t>(-1);

    std::size_t find_states(std::size_t place, bool begins);
    std::size_t close(thread from, std::size_t place);
    void cut(std::size_t matched);
    void step(std::size_t place);

    const program& program_;
    const subject<T>& subject_;
    match_mode mode_;
    std::vector<thread> now_, then_;
    state_walk walk_;
};

extern template class list_reader<char>;
extern template class list_reader<wchar_t>;

}  // namespace Orlo::IMPL

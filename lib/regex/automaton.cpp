// The lazy deterministic automaton.
//
// A state stands for the set of program states in which a reader may be. It is made when it is first met, and
// its row of the table is filled entry by entry as symbols are read in it, so only what the text needs is
// ever made. Reading a known stretch is one look-up a character.
//
// To find the *leftmost* match in one pass, the set is kept in groups, one for each place where matches
// began, older ones first; a program state that is in an older group is left out of younger ones. For b|ab+c,
// reading "abb":
//
//   before      {b, a}                      RESTART: a new group at every place
//   after a     {b+}      | {b, a}          the older group began at 0
//   after b     {b+, c}   | {match} | ...   the younger one matched
//   after b     {b+, c}                     so all younger than it are gone; the older one may still match
//
// When a group matches, all younger ones are cut, and RESTART with them; of the shortest match the group
// itself, too. The last match seen is the end of the leftmost match. Where it begins tells the backward
// automaton, read from there.
//
// Whether a constraint holds depends on the characters on both sides, so constraints stay in the set until
// the next symbol is known, and a match is told one symbol late. The text's edge is a symbol, too.
//
// Memory is limited: when it is used up all states are forgotten and made again as needed. Readers notice if
// that happens too often, see `read_forward`.

#include "regex/automaton.h"

#include <algorithm>

namespace Orlo::IMPL {

lazy_automaton::lazy_automaton(const program& what, const alphabet& letters, std::size_t looks,
                               match_mode mode, memory_budget& budget)
    : program_(what),
      letters_(letters),
      mode_(mode),
      budget_(budget),
      stride_(letters.symbols() << looks),
      walk_(what) {
    forget();
}

// --- the cache

void lazy_automaton::forget() {
    ++times_forgotten_;
    budget_.give(used_);
    used_ = 0;
    table_.assign(stride_, dead);
    states_.assign(1, {0, 0, side::other, false});
    items_.clear();
    buckets_.assign(64, 0);
    for (auto& of_side : starts_)
        of_side[0] = of_side[1] = unknown;
}

bool lazy_automaton::has_room(std::size_t bytes) {
    if (table_.size() + stride_ > row_mask || !budget_.take(bytes)) return false;
    used_ += bytes;
    return true;
}

std::size_t lazy_automaton::hash(const std::uint32_t* items, std::size_t count, side before,
                                 bool matched) const {
    std::uint64_t sum = static_cast<std::uint64_t>(before) * 2 + (matched ? 1 : 0) + 1;
    for (std::size_t i = 0; i < count; ++i)
        sum = (sum ^ items[i]) * 0x9E3779B97F4A7C15u + (sum >> 32);
    return static_cast<std::size_t>(sum >> 20);
}

void lazy_automaton::rehash() {
    buckets_.assign(buckets_.size() * 2, 0);
    for (std::uint32_t number = 1; number < states_.size(); ++number) {
        const state& s = states_[number];
        std::size_t bucket = hash(items_.data() + s.first, s.count, s.before, s.matched);
        while (buckets_[bucket &= buckets_.size() - 1] != 0)
            ++bucket;
        buckets_[bucket] = number;
    }
}

/// The state of the items in `then_`, which is made if need be; `unknown` if there is no room for it.
lazy_automaton::entry lazy_automaton::known_or_new(side before, bool matched) {
    const std::uint32_t marks = matched ? special | match : 0;
    std::size_t bucket = hash(then_.data(), then_.size(), before, matched);
    for (; buckets_[bucket &= buckets_.size() - 1] != 0; ++bucket) {
        const std::uint32_t number = buckets_[bucket];
        const state& s = states_[number];
        if (s.before == before && s.matched == matched && s.count == then_.size() &&
            std::equal(then_.begin(), then_.end(), items_.begin() + static_cast<std::ptrdiff_t>(s.first)))
            return static_cast<entry>(number * stride_) | marks;
    }
    const std::size_t bytes =
        stride_ * sizeof(entry) + then_.size() * sizeof(std::uint32_t) + sizeof(state) + 16;
    if (!has_room(bytes)) return unknown;
    const auto number = static_cast<std::uint32_t>(states_.size());
    states_.push_back({items_.size(), then_.size(), before, matched});
    items_.insert(items_.end(), then_.begin(), then_.end());
    table_.resize(table_.size() + stride_, unknown);
    buckets_[bucket] = number;
    if (states_.size() * 2 > buckets_.size()) rehash();
    return static_cast<entry>(number * stride_) | marks;
}

/// The same; makes room if there is none.
lazy_automaton::entry lazy_automaton::intern(side before, bool matched) {
    if (then_.empty() && !matched) return dead;
    if (!program_.conditions) before = side::other;
    const entry found = known_or_new(before, matched);
    if (found != unknown) return found;
    forget();
    return known_or_new(before, matched);
}

// --- sets of program states

/// Adds to `then_` what can be reached from a state without reading. Conditions are left for the next symbol.
void lazy_automaton::enter(std::uint32_t from) {
    walk_.walk(
        from, [](const program_state&) { return false; },
        [&](std::uint32_t number) { then_.push_back(number); });
}

void lazy_automaton::begin_group() {
    if (!then_.empty() && then_.back() != MARK) then_.push_back(MARK);
}

/// `now_`: goes through the conditions that hold at this place.
void lazy_automaton::expand(side before, side after, std::uint32_t looks) {
    then_.clear();
    walk_.begin_round();
    const auto passes = [&](const program_state& s) {
        if (s.kind == state_kind::look) return (looks >> s.value & 1) != 0;
        return program_.holds(static_cast<constraint>(s.value), before, after);
    };
    const auto arrive = [&](std::uint32_t number) {
        const state_kind kind = program_.states[number].kind;
        if (kind == state_kind::chars || kind == state_kind::match) then_.push_back(number);
    };
    for (const std::uint32_t item : now_) {
        if (item == MARK || item == RESTART) {
            then_.push_back(item);
        } else {
            walk_.walk(item, passes, arrive);
        }
    }
    now_.swap(then_);
}

/// True if `now_` has a match; cuts what can no longer be the match then.
bool lazy_automaton::cut_at_match() {
    std::size_t group = 0;
    for (std::size_t i = 0; i < now_.size(); ++i) {
        if (now_[i] == MARK) group = i;
        if (now_[i] >= RESTART || program_.states[now_[i]].kind != state_kind::match) continue;
        if (mode_ == match_mode::shortest) {
            now_.resize(group);
        } else if (mode_ == match_mode::longest) {
            const auto end = std::find_if(now_.begin() + static_cast<std::ptrdiff_t>(i), now_.end(),
                                          [](std::uint32_t item) { return item >= RESTART; });
            now_.erase(end, now_.end());
        }
        return true;
    }
    return false;
}

/// `then_`: what `now_` becomes after a symbol.
void lazy_automaton::step(std::uint32_t symbol) {
    then_.clear();
    walk_.begin_round();
    for (const std::uint32_t item : now_) {
        if (item == MARK) {
            begin_group();
        } else if (item == RESTART) {
            if (mode_ != match_mode::all) begin_group();
            enter(program_.start);
            then_.push_back(RESTART);
        } else if (program_.states[item].kind == state_kind::chars &&
                   letters_.in_set(program_.states[item].value, symbol)) {
            enter(program_.states[item].next);
        }
    }
    for (auto begin = then_.begin(); begin != then_.end();) {  // within a group order means nothing
        const auto end = std::find_if(begin, then_.end(), [](std::uint32_t item) { return item >= RESTART; });
        std::sort(begin, end);
        begin = end == then_.end() ? end : end + 1;
    }
    if (!then_.empty() && then_.back() == MARK) then_.pop_back();
}

lazy_automaton::entry lazy_automaton::follow(entry from, std::uint32_t symbol) {
    const std::uint32_t row = from & row_mask;
    const state s = states_[row / stride_];
    now_.assign(items_.begin() + static_cast<std::ptrdiff_t>(s.first),
                items_.begin() + static_cast<std::ptrdiff_t>(s.first + s.count));
    const std::uint32_t character = symbol % letters_.symbols();
    const side after = letters_.side_of(character);
    if (program_.conditions) expand(s.before, after, symbol / letters_.symbols());
    const bool matched = cut_at_match();
    if (character < letters_.classes()) {
        step(character);
    } else {
        then_.clear();
    }
    const std::uint64_t times_before = times_forgotten_;
    const entry found = intern(after, matched);
    if (times_forgotten_ == times_before) table_[row + symbol] = found;
    return found;
}

lazy_automaton::entry lazy_automaton::start(side before, bool anchored) {
    if (!program_.conditions) before = side::other;
    entry& known = starts_[static_cast<std::size_t>(before)][anchored ? 1 : 0];
    if (known != unknown) return known;
    then_.clear();
    walk_.begin_round();
    enter(program_.start);
    std::sort(then_.begin(), then_.end());
    if (!anchored) then_.push_back(RESTART);
    const entry found = intern(before, false);
    known = found;
    return found;
}

}  // namespace Orlo::IMPL

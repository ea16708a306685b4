#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "regex/alphabet.h"
#include "regex/program.h"
#include "regex/state_walk.h"

namespace Orlo::IMPL {

/// Which matches an automaton is asked for.
enum class match_mode : std::uint8_t {
    longest,   ///< of the leftmost ones the longest
    shortest,  ///< of the leftmost ones the shortest
    all,       ///< at every place, whether a match ends there
};

/// Memory that the automata of one expression share, so that many threads take no more than one.
class memory_budget {
public:
    explicit memory_budget(std::size_t bytes) : left_(static_cast<std::ptrdiff_t>(bytes)) {}
    bool take(std::size_t bytes) {
        if (left_.fetch_sub(static_cast<std::ptrdiff_t>(bytes)) >= static_cast<std::ptrdiff_t>(bytes))
            return true;
        give(bytes);
        return false;
    }
    void give(std::size_t bytes) { left_.fetch_add(static_cast<std::ptrdiff_t>(bytes)); }

private:
    std::atomic<std::ptrdiff_t> left_;
};

/// A deterministic automaton that is made while it reads. See the source for how.
///
/// Threads: one at a time.
class lazy_automaton {
public:
    /// An entry of the table: where the row of the next state begins, and two marks.
    using entry = std::uint32_t;
    static constexpr entry special = 0x80000000;  ///< look closer: a match, the end or not known
    static constexpr entry match = 0x40000000;    ///< a match ends *before* the symbol that led here
    static constexpr entry row_mask = match - 1;
    static constexpr entry unknown = 0xFFFFFFFF;
    static constexpr entry dead = special;  ///< row 0: no match is ahead

    /// More look-arounds are not made columns.
    static constexpr std::size_t most_looks = 4;

    lazy_automaton(const program& what, const alphabet& letters, std::size_t looks, match_mode mode,
                   memory_budget& budget);
    lazy_automaton(const lazy_automaton&) = delete;
    lazy_automaton& operator=(const lazy_automaton&) = delete;
    ~lazy_automaton() { budget_.give(used_); }

    /// The state before the first symbol, when `before` lies on the other side. Not anchored, it also begins
    /// a match at every later place. `unknown` when memory has run out.
    entry start(side before, bool anchored);

    /// What entry [state, symbol] of the table is to be; also written there. Forgets all states when memory
    /// runs out, and returns `unknown` when that is not enough.
    entry follow(entry state, std::uint32_t symbol);

    const entry* table() const { return table_.data(); }
    const alphabet& letters() const { return letters_; }

private:
    struct state {
        std::size_t first, count;  ///< its items
        side before;
        bool matched;
    };
    static constexpr std::uint32_t MARK = 0xFFFFFFFF;     ///< between matches that begin at different places
    static constexpr std::uint32_t RESTART = 0xFFFFFFFE;  ///< another match begins at every place

    entry intern(side before, bool matched);
    entry known_or_new(side before, bool matched);
    bool has_room(std::size_t bytes);
    void forget();
    void rehash();
    std::size_t hash(const std::uint32_t* items, std::size_t count, side before, bool matched) const;
    void enter(std::uint32_t from);
    void expand(side before, side after, std::uint32_t looks);
    bool cut_at_match();
    void step(std::uint32_t symbol);
    void begin_group();

    const program& program_;
    const alphabet& letters_;
    match_mode mode_;
    memory_budget& budget_;
    std::size_t used_ = 0;
    std::uint64_t times_forgotten_ = 0;
    std::uint32_t stride_;

    std::vector<entry> table_;
    std::vector<state> states_;
    std::vector<std::uint32_t> items_;
    std::vector<std::uint32_t> buckets_;  ///< numbers of states by hash
    entry starts_[SIDES][2];

    // for making a state
    std::vector<std::uint32_t> now_, then_;
    state_walk walk_;
};

}  // namespace Orlo::IMPL

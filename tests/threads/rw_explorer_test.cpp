// Walks through every interleaving of two and three threads that lock, raise, downgrade, time out and unlock
// in any order, with the very steps that the locks run (threads/rw_rules.h). See docs/rw_lock_model.md.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <sstream>
#include <unordered_map>

#include "threads/rw_rules.h"

namespace {

using namespace Orlo::IMPL;

/// Below 0 minus the permits. Above 0, in the spinning lock only, the sleepers that a permit is handed to;
/// the blocking lock has a semaphore, whose sleepers take the permits themselves, in no particular order.
struct gate_model {
    std::int8_t spins, count = -1, posted = 0;
    bool TryPass() { return count < 0 && count++ < 0; }
    void Open() { posted = static_cast<std::int8_t>(posted + (count-- > 0)); }
    bool arrive() { return spins && count++ < 0; }
    bool wake() { return spins ? posted > 0 && posted-- > 0 : TryPass(); }
    int permits() const { return posted + std::max(-count, 0); }
};

enum phase : std::int8_t { idle, ask, arrive, asleep, woken, raising, gave_up };

struct thread_state {
    phase at;
    bool reader, timed;
    std::int8_t depth;          // what the lock stored for the thread
    std::int8_t reads, writes;  // the holds that the thread was given
    int holds() const { return reads + writes; }
};

struct state {
    gate_model gate;
    std::int8_t m_state = 0, m_writer = 0, m_waiters = 0, m_readWaiters = 0, m_upgrading = 0;
    bool overlooked = false;  // a step that ends a wait left a reader asleep that could run
    std::array<thread_state, 3> threads{};
    int permits() const {
        return gate.permits() + static_cast<int>(std::ranges::count(threads, woken, &thread_state::at));
    }
    std::string key() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};
using rules = rw_rules<state>;

/// A thread's way to the lock. The store of the depth can be made to fail.
struct port {
    state& s;
    thread_state& x;
    std::int8_t number;
    bool fails, keeps_permits;
    bool TryPass() { return s.gate.TryPass(); }
    void Open() {
        if (!keeps_permits) s.gate.Open();
    }
    std::int8_t id() const { return number; }
    std::int64_t depth() const { return x.depth; }
    void set_depth(std::int64_t n) {
        if (fails) throw number;
        x.depth = static_cast<std::int8_t>(n);
    }
};

enum action { go_on, run_out, unlock, downgrade, read, write, timed_read, timed_write };
constexpr const char* ACTIONS[] = {"goes on",      "is out of time", "unlocks",       "downgrades",
                                   "asks to read", "asks to write",  "tries to read", "tries to write"};

/// Where the explorer walks, how its answer begins, and the fault that is put into the rules.
struct run_row {
    const char* name;
    int threads, holds;
    bool timed, store_fails;
    const char* finding;
    bool no_second_look = false;    // a woken writer does not look at the words
    bool keeps_permits = false;     // nobody brings a permit back
    bool seeks_idle_sleep = false;  // no fault: looks for the one stall that the rules allow
};

constexpr auto BESIDE = "a writer beside a reader:", LOST = "the permit is lost:",
               OVERLOOKED = "a reader is left asleep that could run:",
               SLEEPS = "a reader sleeps beside readers:";
const run_row rows[] = {
    {"two threads, three holds each", 2, 3, true, true, ""},
    {"three threads, two holds each", 3, 2, true, false, ""},
    {"three threads, one hold each, stores fail", 3, 1, true, true, ""},
    {"a woken writer does not look again", 3, 2, false, false, BESIDE, true},
    {"nobody brings a permit back", 2, 1, true, false, LOST, false, true},
    {"a reader takes the permit of one that sleeps", 3, 1, false, false, SLEEPS, false, false, true},
};

class explorer {
public:
    explicit explorer(const run_row& row) : row_(row) {}

    /// Empty when every rule holds; else what is broken and the shortest way there.
    std::string run(std::int8_t spins) {
        visit({.gate = {spins}}, "start", false);
        for (; from_ < nodes_.size(); ++from_) {
            const std::string broken = check(nodes_[from_].now);
            if (!broken.empty()) return broken + trace(from_);
            for (int t = 0; t < row_.threads; ++t) {
                for (int a = go_on; a <= timed_write; ++a)
                    act(static_cast<std::size_t>(t), static_cast<action>(a));
            }
        }
        return check_that_all_can_finish();
    }

    std::size_t states() const { return nodes_.size(); }

private:
    struct node {
        state now;
        std::size_t parent;
        std::string how;
        std::vector<std::size_t> finishing_from;  // predecessors by steps that only end what has begun
    };

    void visit(state s, const std::string& how, bool finishing) {
        for (thread_state& x : s.threads) {
            if (x.at == idle) x.reader = x.timed = false;  // its last request is forgotten
        }
        const auto [it, fresh] = known_.emplace(s.key(), nodes_.size());
        if (fresh) nodes_.push_back({s, from_, how, {}});
        if (finishing) nodes_[it->second].finishing_from.push_back(from_);
    }

    bool can(const thread_state& x, action a) const {
        if (a == go_on) return x.at != idle;
        if (a == run_out)
            return x.timed && (x.at == ask || x.at == arrive || x.at == asleep || x.at == raising);
        if (a == unlock) return x.at == idle && x.holds() > 0;
        if (a == downgrade) return x.at == idle && x.writes > 0;
        return x.at == idle && x.holds() < row_.holds && (row_.timed || a < timed_read);
    }

    /// One guarded step, or one step of the gate, of thread t; and the same step with a depth that cannot be
    /// stored.
    void act(std::size_t t, action a) {
        if (!can(nodes_[from_].now.threads[t], a)) return;
        for (int fails = 0; fails <= int{row_.store_fails}; ++fails) {
            state s = nodes_[from_].now;
            thread_state& x = s.threads[t];
            const port me{s, x, static_cast<std::int8_t>(t + 1), fails != 0, row_.keeps_permits};
            std::string how = std::string(1, static_cast<char>('A' + t)) + " " + ACTIONS[a];
            try {
                take(a, me);
            } catch (std::int8_t) {
                const bool had_permit = x.at == woken;
                if (had_permit) rules::give_up_waiting(s, me, x.reader, true);
                if (x.at == raising) give_up_raising(me);
                x.at = idle;
                if (had_permit) s.overlooked = s.m_state > 0 && s.m_readWaiters > 0 && s.permits() == 0;
                how += ", which cannot be stored";
            }
            visit(s, how, (a == go_on || a == unlock) && fails == 0);
        }
    }

    static void give_up_raising(const port& me) {
        rules::give_up_raising(me.s, me);
        me.s.overlooked = me.s.permits() < me.s.m_readWaiters;
    }

    void take(action a, const port& me) const {
        thread_state& x = me.x;
        if (a == go_on) return take_next(me);
        if (a == run_out) {
            if (x.at == raising) give_up_raising(me);
            x.at = x.at == arrive || x.at == asleep ? gave_up : idle;
        } else if (a == unlock) {
            rules::unlock_one(me.s, me);
            --(x.reads > 0 ? x.reads : x.writes);
        } else if (a == downgrade) {
            rules::downgrade(me.s, me);
            std::swap(x.reads, x.writes);
        } else {
            x.at = ask;
            x.reader = a == read || a == timed_read;
            x.timed = a >= timed_read;
            take_next(me);
        }
    }

    void take_next(const port& me) const {
        state& s = me.s;
        thread_state& x = me.x;
        if (x.at == ask) {
            follow(me, x.reader ? rules::ask_to_read(s, me) : rules::ask_to_write(s, me, x.depth));
        } else if (x.at == arrive) {
            // the spinning lock's gate knows no time-out: who only tries does not lie down there
            if (s.gate.spins && x.timed) {
                x.at = s.gate.TryPass() ? woken : gave_up;
            } else {
                x.at = s.gate.arrive() ? woken : asleep;
            }
        } else if (x.at == asleep) {
            if (s.gate.wake()) x.at = woken;
        } else if (x.at == woken) {
            if (row_.no_second_look && !x.reader) s.m_state = 0;
            follow(me, x.reader ? rules::woken_to_read(s, me) : rules::woken_to_write(s, me));
        } else if (x.at == raising) {
            follow(me, rules::look_to_raise(s, me, x.depth));
        } else {
            rules::give_up_waiting(s, me, x.reader, false);
            x.at = idle;
        }
    }

    static void follow(const port& me, rw_step result) {
        thread_state& x = me.x;
        // who woke sleeps a little and waits again; who asks, asks again
        constexpr phase next[] = {idle, ask, arrive, raising, idle};
        x.at = result == rw_step::retry && x.at == woken ? arrive : next[static_cast<int>(result)];
        if (result != rw_step::held) return;
        ++(me.s.m_state > 0 ? x.reads : x.writes);
        if (me.s.m_state < 0) x.writes = static_cast<std::int8_t>(x.writes + std::exchange(x.reads, 0));
    }

    std::string check(const state& s) const {
        int holders = 0, writers = 0, holds = 0, waiters = 0, readers_waiting = 0, upgrading = 0;
        for (const thread_state& x : s.threads) {
            if (x.reads != x.depth) return "a wrong depth is stored:";
            holders += x.holds() > 0;
            writers += x.writes > 0;
            holds += x.reads - x.writes;
            waiters += x.at >= arrive;
            readers_waiting += x.at >= arrive && x.reader;
            upgrading += x.at == raising;
        }
        if (s.overlooked) return OVERLOOKED;
        if (writers > 1) return "two writers:";
        if (writers == 1 && holders > 1) return BESIDE;
        if (std::array{holds, waiters, readers_waiting, upgrading} !=
            std::array<int, 4>{s.m_state, s.m_waiters, s.m_readWaiters, s.m_upgrading}) {
            return "the words are wrong:";
        }
        if (s.permits() < int{rules::permit_is_home(s)}) return LOST;
        if (s.gate.permits() > 2 * row_.threads) return "permits pile up:";
        const bool idle_sleep = s.m_state > 0 && upgrading == 0 && readers_waiting > 0 && s.permits() == 0;
        return row_.seeks_idle_sleep && idle_sleep ? SLEEPS : "";
    }

    /// From every state, threads that only end what they have begun, without any time-out, must be able to
    /// come to rest with the lock free: else somebody sleeps, or asks again, for ever.
    std::string check_that_all_can_finish() const {
        std::vector<bool> finishes(nodes_.size());
        std::vector<std::size_t> todo;
        const auto is_idle = [](const thread_state& x) { return x.at == idle; };
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const state& s = nodes_[i].now;
            if (s.m_state == 0 && std::ranges::all_of(s.threads, is_idle)) todo.push_back(i);
        }
        while (!todo.empty()) {
            const std::size_t i = todo.back();
            todo.pop_back();
            if (finishes[i]) continue;
            finishes[i] = true;
            todo.insert(todo.end(), nodes_[i].finishing_from.begin(), nodes_[i].finishing_from.end());
        }
        const auto stuck = std::ranges::find(finishes, false) - finishes.begin();
        if (stuck == std::ssize(finishes)) return "";
        return "a thread never gets on:" + trace(static_cast<std::size_t>(stuck));
    }

    std::string trace(std::size_t i) const {
        if (i == 0) return "";
        const auto& [s, parent, how, from] = nodes_[i];
        std::ostringstream line;
        line << "\n  " << how << " (state " << int{s.m_state} << ", waiters " << int{s.m_waiters} << ", gate "
             << s.gate.permits() << ")";
        return trace(parent) + line.str();
    }

    const run_row& row_;
    std::size_t from_ = 0;
    std::deque<node> nodes_;
    std::unordered_map<std::string, std::size_t> known_;
};

TEST(rw_explorer, blocking_and_spinning_lock) {
    for (run_row row : rows) {
        for (const bool spins : {false, true}) {
            SCOPED_TRACE(row.name);
            if (spins) row.store_fails = false;  // the spinning lock's depth is stored in an array
            explorer all(row);
            const std::string found = all.run(spins);
            EXPECT_EQ(found.substr(0, found.find(':') + 1), row.finding) << found;
            std::printf("%s: %zu states %s\n", row.name, all.states(), found.c_str());
        }
    }
}

}  // namespace

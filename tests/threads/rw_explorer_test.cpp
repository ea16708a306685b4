// Walks through every interleaving of two and three threads that lock, raise, downgrade, time out and unlock
// in any order, with the very steps that the locks run (threads/rw_rules.h). See docs/rw_lock_model.md.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "threads/rw_rules.h"

namespace {

using namespace Orlo::IMPL;

/// The semaphore of the blocking lock: a counter that sleepers are woken from in no particular order.
struct sem_gate {
    std::int8_t permits = 1, unused = 0;
    bool TryPass() { return permits > 0 && permits-- > 0; }
    void Open() { ++permits; }
    bool arrive() { return false; }  // whoever comes sleeps on the permits themselves
    bool wake() { return TryPass(); }
    int in_gate() const { return permits; }
};

/// The gate of the spinning lock: below 0 minus the permits, above 0 the sleepers that a permit is handed to.
struct spin_gate {
    std::int8_t count = -1, posted = 0;
    bool TryPass() { return count < 0 && count++ < 0; }
    void Open() {
        if (count-- > 0) ++posted;
    }
    bool arrive() { return count++ < 0; }
    bool wake() { return posted > 0 && posted-- > 0; }
    int in_gate() const { return posted + (count < 0 ? -count : 0); }
};

enum phase : std::int8_t { idle, ask, arrive, sleep_, woken, raise_, gave_up };

struct thread_state {
    phase at;
    bool reader, timed;
    std::int8_t depth;          // what the lock stored for the thread
    std::int8_t reads, writes;  // the holds that the thread was given
    bool operator==(const thread_state&) const = default;
};

template <class Gate>
struct world {
    std::int8_t m_state = 0, m_writer = 0, m_waiters = 0, m_readWaiters = 0, m_upgrading = 0;
    Gate gate;
    std::array<thread_state, 3> threads{};

    std::string key() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};

/// A thread's way to the lock. The store of the depth can be made to fail.
template <class Gate>
struct port_model {
    Gate& gate;
    std::int8_t number;
    std::int8_t& stored;
    bool fails;
    bool TryPass() { return gate.TryPass(); }
    void Open() { gate.Open(); }
    std::int8_t id() const { return number; }
    std::int64_t depth() const { return stored; }
    void set_depth(std::int64_t n) {
        if (fails) throw number;
        stored = static_cast<std::int8_t>(n);
    }
};

/// Faults put into the rules, which the explorer has to find.
enum class fault { none, permit_stays_and_no_second_look, no_second_look, last_holder_keeps, time_out_keeps };

struct limits {
    int threads;
    std::int8_t holds;
    bool timed, store_fails;
    bool seek_idle_sleep = false;  // look for the one stall that the rules allow
};

template <class Gate>
class explorer {
public:
    using state = world<Gate>;
    using rules = rw_rules<state>;
    using port = port_model<Gate>;
    explorer(limits l, fault f) : limits_(l), fault_(f) {}

    /// Empty when every rule holds; else what is broken and the shortest way there.
    std::string run() {
        visit(state{}, 0, "start");
        for (std::size_t i = 0; i < states_.size(); ++i) {
            const std::string broken = check(states_[i].now);
            if (!broken.empty()) return broken + trace(i);
            from_ = i;
            for (int t = 0; t < limits_.threads; ++t)
                step(t);
        }
        return check_that_all_can_finish();
    }

    std::size_t states() const { return states_.size(); }

private:
    struct node {
        state now;
        std::size_t parent;
        std::string how;
        std::vector<std::size_t> finishing_from;  // predecessors by steps that only end what has begun
    };

    void visit(const state& s, std::size_t parent, const std::string& how, bool finishing = false) {
        const auto [it, fresh] = known_.emplace(s.key(), states_.size());
        if (fresh) states_.push_back({s, parent, how, {}});
        if (finishing) states_[it->second].finishing_from.push_back(parent);
    }

    void step(int t) {
        const thread_state now = states_[from_].now.threads[static_cast<std::size_t>(t)];
        if (now.at != idle) {
            act(t, now.reader ? "goes on to read" : "goes on to write", true,
                [&](state& s, thread_state& x, const port& me) { go_on(s, x, me); });
            if (now.timed && now.at != woken && now.at != gave_up) {
                act(t, "is out of time", false, [&](state& s, thread_state& x, const port& me) {
                    if (x.at == raise_) rules::give_up_raising(s, me);
                    x.at = x.at == arrive || x.at == sleep_ ? gave_up : idle;
                });
            }
            return;
        }
        const int holds = now.reads + now.writes;
        if (holds > 0) {
            act(t, "unlocks", true, [&](state& s, thread_state& x, const port& me) {
                const Gate before = s.gate;
                rules::unlock_one(s, me);
                if (fault_ == fault::last_holder_keeps) s.gate = before;
                --(x.reads > 0 ? x.reads : x.writes);
            });
        }
        if (now.writes > 0) {
            act(t, "downgrades", false, [&](state& s, thread_state& x, const port& me) {
                rules::downgrade(s, me);
                std::swap(x.reads, x.writes);
            });
        }
        for (int kind = 0; holds < limits_.holds && kind < (limits_.timed ? 4 : 2); ++kind) {
            const bool reader = kind % 2 != 0;
            act(t, reader ? "asks to read" : "asks to write", false,
                [&](state& s, thread_state& x, const port& me) {
                    x.reader = reader;
                    x.timed = kind >= 2;
                    ask_now(s, x, me);
                });
        }
    }

    /// One guarded step, or one step of the gate, of thread t; and the same step with a depth that cannot be
    /// stored.
    template <class Action>
    void act(int t, const char* what, bool finishing, Action&& action) {
        for (const bool fails : {false, true}) {
            if (fails && !limits_.store_fails) break;
            state s = states_[from_].now;
            thread_state& x = s.threads[static_cast<std::size_t>(t)];
            const port me{s.gate, static_cast<std::int8_t>(t + 1), x.depth, fails};
            const std::string how = std::string(1, static_cast<char>('A' + t)) + " " + what;
            try {
                action(s, x, me);
                visit(normal(s), from_, how, finishing && !fails);
            } catch (std::int8_t) {
                if (x.at == woken) rules::give_up_waiting(s, me, x.reader, true);
                if (x.at == raise_) rules::give_up_raising(s, me);
                x.at = idle;
                visit(normal(s), from_, how + ", which cannot be stored");
            }
        }
    }

    /// An idle thread's last request is forgotten.
    static state normal(state s) {
        for (thread_state& x : s.threads) {
            if (x.at == idle) x.reader = x.timed = false;
        }
        return s;
    }

    void ask_now(state& s, thread_state& x, const port& me) {
        const Gate before = s.gate;
        const rw_step result = x.reader ? rules::ask_to_read(s, me) : rules::ask_to_write(s, me, x.depth);
        if (result == rw_step::wait && fault_ == fault::permit_stays_and_no_second_look) s.gate = before;
        follow(s, x, result);
    }

    void go_on(state& s, thread_state& x, const port& me) {
        switch (x.at) {
            case idle:
                break;
            case ask:
                ask_now(s, x, me);
                break;
            case arrive:
                x.at = s.gate.arrive() ? woken : sleep_;
                break;
            case sleep_:
                if (s.gate.wake()) x.at = woken;
                break;
            case woken:
                if (fault_ == fault::no_second_look || fault_ == fault::permit_stays_and_no_second_look) {
                    if (!x.reader) s.m_state = 0;  // the words are not looked at
                }
                follow(s, x, x.reader ? rules::woken_to_read(s, me) : rules::woken_to_write(s, me));
                break;
            case raise_:
                follow(s, x, rules::look_to_raise(s, me, x.depth));
                break;
            case gave_up: {
                const Gate before = s.gate;
                rules::give_up_waiting(s, me, x.reader, false);
                if (fault_ == fault::time_out_keeps) s.gate = before;
                x.at = idle;
            }
        }
    }

    static void follow(const state& s, thread_state& x, rw_step result) {
        switch (result) {
            case rw_step::retry:
                // A thread that woke sleeps a little and waits again; one that asks, asks again.
                x.at = x.at == woken ? arrive : ask;
                break;
            case rw_step::wait:
                x.at = arrive;
                break;
            case rw_step::raise:
                x.at = raise_;
                break;
            case rw_step::refused:
                x.at = idle;
                break;
            case rw_step::held:
                if (s.m_state > 0) {
                    ++x.reads;
                } else {
                    x.writes = static_cast<std::int8_t>(x.writes + x.reads + 1);
                    x.reads = 0;
                }
                x.at = idle;
        }
    }

    std::string check(const state& s) const {
        int holders = 0, writers = 0, holds = 0, waiters = 0, readers_waiting = 0, raising = 0, in_hand = 0;
        for (const thread_state& x : s.threads) {
            if (x.reads != x.depth) return "a wrong depth is stored:";
            holders += x.reads + x.writes > 0;
            writers += x.writes > 0;
            holds += x.reads - x.writes;
            const bool waits = x.at >= arrive;
            waiters += waits;
            readers_waiting += waits && x.reader;
            raising += x.at == raise_;
            in_hand += x.at == woken;
        }
        if (writers > 1) return "two writers:";
        if (writers == 1 && holders > 1) return "a writer beside a reader:";
        if (s.m_state != holds || s.m_waiters != waiters || s.m_readWaiters != readers_waiting ||
            s.m_upgrading != raising) {
            return "the words are wrong:";
        }
        if (s.gate.in_gate() + in_hand < int{rules::permit_is_home(s)}) return "the permit is lost:";
        if (s.gate.in_gate() > 2 * limits_.threads) return "permits pile up:";
        if (limits_.seek_idle_sleep && s.m_state > 0 && raising == 0 && readers_waiting > 0 &&
            s.gate.in_gate() + in_hand == 0) {
            return "a reader sleeps beside readers:";
        }
        return "";
    }

    /// From every state, threads that only end what they have begun, without any time-out, must be able to
    /// come to rest with the lock free: else somebody sleeps, or asks again, for ever.
    std::string check_that_all_can_finish() const {
        std::vector<bool> finishes(states_.size());
        std::deque<std::size_t> todo;
        for (std::size_t i = 0; i < states_.size(); ++i) {
            bool at_rest = states_[i].now.m_state == 0;
            for (const thread_state& x : states_[i].now.threads)
                at_rest = at_rest && x.at == idle;
            if (at_rest) todo.push_back(i);
        }
        while (!todo.empty()) {
            const std::size_t i = todo.front();
            todo.pop_front();
            if (finishes[i]) continue;
            finishes[i] = true;
            todo.insert(todo.end(), states_[i].finishing_from.begin(), states_[i].finishing_from.end());
        }
        for (std::size_t i = 0; i < states_.size(); ++i) {
            if (!finishes[i]) return "a thread never gets on:" + trace(i);
        }
        return "";
    }

    std::string trace(std::size_t i) const {
        std::string way;
        for (; i != 0; i = states_[i].parent) {
            const state& s = states_[i].now;
            way.insert(0, "\n  " + states_[i].how + " (state " + std::to_string(s.m_state) + ", waiters " +
                              std::to_string(s.m_waiters) + ", gate " + std::to_string(s.gate.in_gate()) +
                              ")");
        }
        return way;
    }

    limits limits_;
    fault fault_;
    std::size_t from_ = 0;
    std::deque<node> states_;
    std::unordered_map<std::string, std::size_t> known_;
};

struct row {
    const char* name;
    limits bounds;
    fault broken;
    const char* finding;  // how the explorer's answer begins; null when there is nothing to find
};

const row rows[] = {
    {"two threads, three holds each", {2, 3, true, true}, fault::none, nullptr},
    {"three threads, two holds each", {3, 2, true, false}, fault::none, nullptr},
    {"nobody takes the permit from readers",
     {2, 1, false, false},
     fault::permit_stays_and_no_second_look,
     "a writer beside a reader:"},
    {"a woken writer does not look again",
     {3, 2, false, false},
     fault::no_second_look,
     "a writer beside a reader:"},
    {"a reader takes the permit of one that sleeps",
     {3, 1, false, false, true},
     fault::none,
     "a reader sleeps beside readers:"},
    {"the last holder keeps the permit",
     {2, 1, false, false},
     fault::last_holder_keeps,
     "the permit is lost:"},
    {"a time-out keeps the permit", {2, 1, true, false}, fault::time_out_keeps, "the permit is lost:"},
};

template <class Gate>
void explore(const row& r) {
    if (r.bounds.timed && r.broken != fault::none && std::is_same_v<Gate, spin_gate>) return;
    SCOPED_TRACE(r.name);
    limits bounds = r.bounds;
    if (std::is_same_v<Gate, spin_gate>) bounds.timed = bounds.store_fails = false;
    explorer<Gate> all(bounds, r.broken);
    const std::string found = all.run();
    if (r.finding == nullptr) {
        EXPECT_EQ(found, "");
    } else {
        EXPECT_EQ(found.substr(0, std::strlen(r.finding)), r.finding) << found;
    }
    std::printf("%s: %zu states\n", r.name, all.states());
    if (r.finding != nullptr) std::printf("%s\n", found.c_str());
}

TEST(rw_explorer, blocking_lock) {
    for (const row& r : rows)
        explore<sem_gate>(r);
}

TEST(rw_explorer, spinning_lock) {
    for (const row& r : rows)
        explore<spin_gate>(r);
}

}  // namespace

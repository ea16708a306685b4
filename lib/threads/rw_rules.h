#pragma once

#include <cstdint>

// The rules of the reader/writer locks: one pure step for each thing that can happen to a lock.
//
// A step runs with the lock's guard held, looks at the lock's words, changes them and says what the calling
// thread has to do next; it never waits. Both locks drive these steps (rw_drive.h), and so does the explorer
// in tests/threads/rw_explorer_test.cpp, which walks through every interleaving of two and three threads with
// the steps that the locks run, not with a copy of them.
//
// The words (`Words`): m_state (0 free, above 0 the number of read holds, below 0 minus the depth of the
// write hold), m_writer, m_waiters (threads that wait for the lock, for whatever reason), m_readWaiters
// (those among them that wait to read), m_upgrading (one thread waits to raise its read holds).
// The caller's way to the lock (`Port`, a small handle passed by value): `TryPass()` takes a permit from the
// gate if there is one, `Open()` adds one; `id()` is the calling thread, `depth()` its read holds on this
// lock, and `set_depth(n)` notes them, which may throw.
//
// THE PERMIT. There is one real permit. It lies in the gate while the lock is free, and while readers hold
// the lock and nobody waits; else it is out. So a reader that meets nobody neither takes it nor brings it
// back, and the first thread that has to wait behind readers takes it out on their behalf:
//
//   step                           m_state  m_waiters  gate
//   (new lock)                        0         0        1
//   A reads                           1         0        1     readers leave the permit where it is
//   B wants to write                  1         1        0     B takes it out, then sleeps at the gate
//   A unlocks, the last reader        0         1        1     and so posts it
//   B wakes                           0         1        0     the permit is B's: "in flight"
//   C wants to read                   0         1        0     finds no permit, comes again in 1 ms
//   B goes on                        -1         0        0
//   B unlocks                         0         0        1
//
// Downgrading lets waiting readers through with one permit for each, and so does a raise that fails. Such a
// permit can reach the wrong thread, or the right one too late. So a thread that wakes looks at the words
// again before it takes the lock; it passes on a permit that a reader waits for, and drops one that no longer
// means anything.
//
// What must stay true, and what the explorer checks: permits (in the gate, or held by a thread that woke) are
// never fewer than `permit_is_home` says, or a thread would sleep for ever; the words, not the permits,
// decide who holds the lock, so that a superfluous permit costs a wake-up and no more.

namespace Orlo::IMPL {

/// What a step tells the calling thread.
enum class rw_step {
    held,     ///< done: the hold is taken
    retry,    ///< the permit is in another thread's hand: ask again a little later
    wait,     ///< counted among the waiters: sleep at the gate, then take the step for a thread that woke
    raise,    ///< counted among the waiters, and upgrading: look again a little later whether it is alone
    refused,  ///< another thread is already upgrading; nothing was changed
};

/// The steps, for one kind of words.
template <class Words>
struct rw_rules {
    /// True when the real permit belongs into the gate.
    static bool permit_is_home(const Words& lock) {
        return lock.m_state == 0 || (lock.m_state > 0 && lock.m_waiters == 0);
    }

    /// Takes out every permit. For transitions after which none may be left: a superfluous one dies here.
    template <class Port>
    [[gnu::noinline]] static bool empty_gate(Port port) {
        bool any = false;
        while (port.TryPass())
            any = true;
        return any;
    }

    /// Makes the caller the writer. Every other thread is out, and no permit in the gate.
    template <class Port>
    static rw_step write_with(Words& lock, Port port, std::int64_t holds) {
        lock.m_state = -holds;
        lock.m_writer = port.id();
        return rw_step::held;
    }

    template <class Port>
    [[gnu::cold]] static void begin_waiting(Words& lock, Port port, bool reader) {
        if (permit_is_home(lock)) empty_gate(port);
        ++lock.m_waiters;
        if (reader) ++lock.m_readWaiters;
    }

    /// Ends the wait of a thread that did not get the lock: its time is up or it failed. `permit`: it has
    /// woken, and holds a permit.
    template <class Port>
    static void give_up_waiting(Words& lock, Port port, bool reader, bool permit) {
        const bool was_home = permit_is_home(lock) && !permit;
        --lock.m_waiters;
        if (reader) --lock.m_readWaiters;
        const bool let_through = permit && lock.m_state > 0 && lock.m_readWaiters > 0;
        if ((!was_home && permit_is_home(lock)) || let_through) port.Open();
    }

    /// A thread asks for a write hold; `depth` is its read holds.
    template <class Port>
    static rw_step ask_to_write(Words& lock, Port port, std::int64_t depth) {
        if (lock.m_state == 0) {
            if (!empty_gate(port)) return rw_step::retry;
            return write_with(lock, port, 1);
        }
        if (lock.m_state < 0 && lock.m_writer == port.id()) {
            --lock.m_state;
            return rw_step::held;
        }
        if (depth == 0) {
            begin_waiting(lock, port, false);
            return rw_step::wait;
        }
        if (lock.m_state == depth) {
            port.set_depth(0);
            empty_gate(port);
            return write_with(lock, port, depth + 1);
        }
        if (lock.m_upgrading != 0) return rw_step::refused;
        begin_waiting(lock, port, false);
        lock.m_upgrading = 1;
        return rw_step::raise;
    }

    /// A thread that waited to write has passed the gate.
    template <class Port>
    static rw_step woken_to_write(Words& lock, Port port) {
        if (lock.m_state == 0) {
            empty_gate(port);
            --lock.m_waiters;
            return write_with(lock, port, 1);
        }
        if (lock.m_state < 0 || lock.m_readWaiters == 0) return rw_step::wait;
        port.Open();  // it was meant for a reader
        return rw_step::retry;
    }

    /// One permit for each reader that waits.
    template <class Port>
    static void let_readers_in(const Words& lock, Port port) {
        for (std::uint32_t n = lock.m_readWaiters; n != 0; --n)
            port.Open();
    }

    /// Ends the wait of an upgrading thread that will not get the lock. It kept new readers out, and it still
    /// reads: those that went to sleep meanwhile can read beside it now.
    template <class Port>
    static void give_up_raising(Words& lock, Port port) {
        lock.m_upgrading = 0;
        give_up_waiting(lock, port, false, false);
        if (lock.m_readWaiters == 0) return;
        empty_gate(port);
        let_readers_in(lock, port);
    }

    /// An upgrading thread looks whether the other readers have gone.
    template <class Port>
    static rw_step look_to_raise(Words& lock, Port port, std::int64_t depth) {
        if (lock.m_state != depth) return rw_step::raise;
        port.set_depth(0);
        empty_gate(port);
        --lock.m_waiters;
        lock.m_upgrading = 0;
        return write_with(lock, port, depth + 1);
    }

    /// A thread asks for a read hold. A writer that only waits does not hold it back; an upgrading one does,
    /// unless the thread reads already.
    template <class Port>
    static rw_step ask_to_read(Words& lock, Port port) {
        if (lock.m_state < 0 && lock.m_writer == port.id()) {
            --lock.m_state;
            return rw_step::held;
        }
        const std::int64_t depth = port.depth();
        if (lock.m_state < 0 || (lock.m_upgrading != 0 && depth == 0)) {
            begin_waiting(lock, port, true);
            return rw_step::wait;
        }
        // Without waiters the permit of a free lock is surely in the gate, and stays there.
        const bool takes_permit = lock.m_state == 0 && lock.m_waiters != 0;
        if (takes_permit && !empty_gate(port)) [[unlikely]]
            return rw_step::retry;
        try {
            port.set_depth(depth + 1);
        } catch (...) {
            if (takes_permit) port.Open();
            throw;
        }
        ++lock.m_state;
        return rw_step::held;
    }

    /// A thread that waited to read has passed the gate. It still waits if `set_depth` throws.
    template <class Port>
    static rw_step woken_to_read(Words& lock, Port port) {
        if (lock.m_state < 0) return rw_step::wait;
        port.set_depth(1);
        ++lock.m_state;
        --lock.m_waiters;
        --lock.m_readWaiters;
        if (permit_is_home(lock)) port.Open();
        return rw_step::held;
    }

    /// Gives up one hold. False, with nothing changed, if the caller has none.
    template <class Port>
    static bool unlock_one(Words& lock, Port port) {
        const bool was_home = permit_is_home(lock);
        if (lock.m_state > 0) {
            const std::int64_t depth = port.depth();
            if (depth == 0) return false;
            port.set_depth(depth - 1);
            --lock.m_state;
        } else {
            if (lock.m_state == 0 || lock.m_writer != port.id()) return false;
            if (++lock.m_state == 0) lock.m_writer = {};
        }
        if (!was_home && permit_is_home(lock)) port.Open();
        return true;
    }

    /// Turns the write hold into as many read holds. False, with nothing changed, if the caller does not
    /// write.
    template <class Port>
    static bool downgrade(Words& lock, Port port) {
        if (lock.m_state >= 0 || lock.m_writer != port.id()) return false;
        port.set_depth(-lock.m_state);
        lock.m_state = -lock.m_state;
        lock.m_writer = {};
        if (permit_is_home(lock)) port.Open();
        let_readers_in(lock, port);
        return true;
    }
};

}  // namespace Orlo::IMPL

#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include "orlo/threads/lock_guard.h"
#include "orlo/threads/time_limit.h"
#include "strings/failure.h"
#include "threads/rw_rules.h"

// How a thread follows the rules of rw_rules.h: it takes a step under the lock's guard and does, outside of
// it, what the step says: sleep at the gate, or look again in a millisecond, for as long as its time lasts.

namespace Orlo::IMPL {

/// Sleeps for a millisecond; false if no time was left for that.
inline bool pause(const CTimeLeft& time) {
    if (time.Get().IsTry()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return true;
}

/// One operation of one thread. `LOCK::port`, made from the lock, has besides what the rules need of it
/// `Wait(CTimeLimit)`, which takes a permit and is false when the time ran out first.
template <class LOCK>
class rw_drive {
    using rules = rw_rules<LOCK>;
    /// A lock that is more than its words while nobody holds the guard has `BeginStep` and `EndStep`.
    static constexpr bool has_word = requires(typename LOCK::port port) { port.BeginStep(); };

public:
    explicit rw_drive(LOCK& lock) : lock_(lock), port_{lock} {}

    bool write(CTimeLimit limit, const failure<rwlExp>& second_upgrade) {
        const std::int64_t depth = port_.depth();
        const rw_step step = guarded([&] { return rules::ask_to_write(lock_, port_, depth); });
        return step == rw_step::held || rw_drive(*this).go_on_to_write(step, depth, limit, second_upgrade);
    }

    bool read(CTimeLimit limit) {
        const rw_step step = guarded([&] { return rules::ask_to_read(lock_, port_); });
        return step == rw_step::held || rw_drive(*this).go_on_to_read(step, limit);
    }

    void unlock(const failure<rwlExp>& not_held) {
        if (!guarded([&] { return rules::unlock_one(lock_, port_); })) not_held.raise();
    }

    void lower(const failure<rwlExp>& not_held) {
        if (!guarded([&] { return rules::downgrade(lock_, port_); })) not_held.raise();
    }

    std::int64_t state() {
        return guarded([&] { return lock_.m_state; });
    }

private:
    /// Runs one step. Of the two lines that an uncontended hold consists of, this is the one that is
    /// measured: the guard is given up by a destructor that does not ask for exceptions first, as the light
    /// mutex has no failures.
    template <class Step>
    auto guarded(Step&& step) {
        struct scope {
            const rw_drive& drive;
            explicit scope(const rw_drive& d) : drive(d) {
                drive.lock_.m_guard.Lock();
                if constexpr (has_word) drive.port_.BeginStep();
            }
            ~scope() {
                if constexpr (has_word) drive.port_.EndStep();
                drive.lock_.m_guard.Unlock();
            }
        };
        const scope step_scope(*this);
        return step();
    }

    /// What follows a first step that did not take the hold; apart, so that the short way stays short.
    [[gnu::noinline]] bool go_on_to_write(rw_step step, std::int64_t depth, CTimeLimit limit,
                                          const failure<rwlExp>& second_upgrade) {
        const CTimeLeft time(limit);
        while (step == rw_step::retry) {
            if (!pause(time)) return false;
            step = guarded([&] { return rules::ask_to_write(lock_, port_, depth); });
        }
        if (step == rw_step::refused) second_upgrade.raise();
        if (step == rw_step::raise) return raise(time, depth);
        return step == rw_step::held || sleep(time, false);
    }

    [[gnu::noinline]] bool go_on_to_read(rw_step step, CTimeLimit limit) {
        const CTimeLeft time(limit);
        while (step == rw_step::retry) {
            if (!pause(time)) return false;
            step = guarded([&] { return rules::ask_to_read(lock_, port_); });
        }
        return step == rw_step::held || sleep(time, true);
    }

    bool sleep(const CTimeLeft& time, bool reader) {
        bool permit = false;
        const auto give_up = [&] {
            guarded([&] { return rules::give_up_waiting(lock_, port_, reader, permit), false; });
            return false;
        };
        try {
            while (port_.Wait(time.Get())) {
                permit = true;
                const rw_step step = guarded([&] {
                    return reader ? rules::woken_to_read(lock_, port_) : rules::woken_to_write(lock_, port_);
                });
                if (step == rw_step::held) return true;
                permit = false;
                if (step == rw_step::retry && !pause(time)) break;
            }
        } catch (...) {
            give_up();
            throw;
        }
        return give_up();
    }

    bool raise(const CTimeLeft& time, std::int64_t depth) {
        const auto give_up = [&] {
            guarded([&] { return rules::give_up_raising(lock_, port_), false; });
            return false;
        };
        try {
            do {
                if (guarded([&] { return rules::look_to_raise(lock_, port_, depth); }) == rw_step::held)
                    return true;
            } while (pause(time));
        } catch (...) {
            give_up();
            throw;
        }
        return give_up();
    }

    LOCK& lock_;
    typename LOCK::port port_;
};

}  // namespace Orlo::IMPL

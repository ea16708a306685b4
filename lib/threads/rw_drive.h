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

/// What is left of a limit.
class rw_patience {
public:
    explicit rw_patience(CTimeLimit limit) noexcept : limit_(limit) {
        if (!limit.IsTry() && !limit.IsForever()) start_ = clock::now();
    }

    CTimeLimit left() const noexcept {
        if (limit_.IsTry() || limit_.IsForever()) return limit_;
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - start_);
        return CTimeSpan(limit_.GetMicroseconds() - passed.count());
    }

    /// Sleeps for a millisecond; false if no time was left for that.
    bool pause() const {
        if (left().IsTry()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }

private:
    using clock = std::chrono::steady_clock;

    CTimeLimit limit_;
    clock::time_point start_{};
};

/// One operation of one thread. `LOCK::port`, made from the lock, has besides what the rules need of it
/// `Wait(CTimeLimit)`, which takes a permit and is false when the time ran out first.
template <class LOCK>
class rw_drive {
    using rules = rw_rules<LOCK>;

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
            CSpinLightMutex& guard;
            ~scope() { guard.Unlock(); }
        };
        lock_.m_guard.Lock();
        const scope release{lock_.m_guard};
        return step();
    }

    /// What follows a first step that did not take the hold; apart, so that the short way stays short.
    [[gnu::noinline]] bool go_on_to_write(rw_step step, std::int64_t depth, CTimeLimit limit,
                                          const failure<rwlExp>& second_upgrade) {
        const rw_patience patience(limit);
        while (step == rw_step::retry) {
            if (!patience.pause()) return false;
            step = guarded([&] { return rules::ask_to_write(lock_, port_, depth); });
        }
        if (step == rw_step::refused) second_upgrade.raise();
        if (step == rw_step::raise) return raise(patience, depth);
        return step == rw_step::held || sleep(patience, false);
    }

    [[gnu::noinline]] bool go_on_to_read(rw_step step, CTimeLimit limit) {
        const rw_patience patience(limit);
        while (step == rw_step::retry) {
            if (!patience.pause()) return false;
            step = guarded([&] { return rules::ask_to_read(lock_, port_); });
        }
        return step == rw_step::held || sleep(patience, true);
    }

    bool sleep(const rw_patience& patience, bool reader) {
        bool permit = false;
        const auto give_up = [&] {
            guarded([&] { return rules::give_up_waiting(lock_, port_, reader, permit), false; });
            return false;
        };
        try {
            while (port_.Wait(patience.left())) {
                permit = true;
                const rw_step step = guarded([&] {
                    return reader ? rules::woken_to_read(lock_, port_) : rules::woken_to_write(lock_, port_);
                });
                if (step == rw_step::held) return true;
                permit = false;
                if (step == rw_step::retry && !patience.pause()) break;
            }
        } catch (...) {
            give_up();
            throw;
        }
        return give_up();
    }

    bool raise(const rw_patience& patience, std::int64_t depth) {
        const auto give_up = [&] {
            guarded([&] { return rules::give_up_raising(lock_, port_), false; });
            return false;
        };
        try {
            do {
                if (guarded([&] { return rules::look_to_raise(lock_, port_, depth); }) == rw_step::held)
                    return true;
            } while (patience.pause());
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

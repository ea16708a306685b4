#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "regex/program.h"

namespace Orlo::IMPL {

/// Walks from states of a program to all that can be reached from them without reading, each once a round.
class state_walk {
public:
    explicit state_walk(const program& what) : program_(what), seen_(what.states.size()) {}

    /// Forgets which states were reached.
    void begin_round() {
        if (++round_ == 0) {
            std::fill(seen_.begin(), seen_.end(), 0);
            round_ = 1;
        }
    }

    /// Calls `arrive(number)` for each state at which the walk ends: those that take characters and the
    /// match, and conditions for which `passes(state)` is false; what lies outside `within` ends it, too, and
    /// every time.
    template <class Passes, class Arrive>
    void walk(std::uint32_t from, Passes&& passes, Arrive&& arrive, fragment within = {0, UINT32_MAX, 0, 0}) {
        stack_.push_back(from);
        while (!stack_.empty()) {
            const std::uint32_t number = stack_.back();
            stack_.pop_back();
            if (number < within.begin || number >= within.end) {
                arrive(number);
                continue;
            }
            if (seen_[number] == round_) continue;
            seen_[number] = round_;
            const program_state& s = program_.states[number];
            switch (s.kind) {
                case state_kind::chars:
                case state_kind::match:
                    arrive(number);
                    break;
                case state_kind::split:
                    stack_.push_back(s.second);
                    [[fallthrough]];
                case state_kind::pass:
                    stack_.push_back(s.next);
                    break;
                case state_kind::constraint:
                case state_kind::look:
                    if (passes(s)) {
                        stack_.push_back(s.next);
                    } else {
                        arrive(number);
                    }
                    break;
            }
        }
    }

private:
    const program& program_;
    std::vector<std::uint32_t> stack_;
    std::vector<std::uint32_t> seen_;  ///< of each state, in which round
    std::uint32_t round_ = 0;
};

}  // namespace Orlo::IMPL

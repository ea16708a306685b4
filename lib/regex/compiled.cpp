#include "regex/compiled.h"

#include "regex/state_walk.h"

namespace Orlo::IMPL {
namespace {

/// What the states of all automata of an expression may take. Vectors grow by doubling, so that up to twice
/// as much is held: 8 MB.
constexpr std::size_t MOST_MEMORY = 4u << 20;

/// Where a thread begins to look for automata, so that threads do not meet at one place.
std::size_t own_place(std::size_t places) {
    thread_local const char mark = 0;
    return (reinterpret_cast<std::uintptr_t>(&mark) * 0x9E3779B97F4A7C15u >> 40) % places;
}

}  // namespace

compiled_expression::compiled_expression(expression_tree tree)
    : tree_(std::move(tree)),
      letters_(tree_),
      forward_(make_program(tree_.nodes, false)),
      begins_text_(find_begins_text()),
      budget_(MOST_MEMORY) {
    for (const look_around& look : tree_.looks)
        looks_.push_back({look.negative, make_program(look.nodes, look.ahead)});
}

compiled_expression::~compiled_expression() {
    for (std::atomic<automata*>& place : lent_)
        delete place.load(std::memory_order_relaxed);
}

bool compiled_expression::find_begins_text() const {
    if (!forward_.conditions) return false;
    bool others = false;
    const auto is_begin = [](const program_state& s) {
        return s.kind == state_kind::constraint &&
               (s.value == static_cast<std::uint32_t>(constraint::line_begin) ||
                s.value == static_cast<std::uint32_t>(constraint::text_begin));
    };
    state_walk walk(forward_);
    walk.begin_round();
    walk.walk(
        forward_.start, [&](const program_state& s) { return !is_begin(s); },
        [&](std::uint32_t number) { others |= !is_begin(forward_.states[number]); });
    return !others;
}

const program& compiled_expression::backward() const {
    std::call_once(backward_made_, [this] { backward_ = make_program(tree_.nodes, true); });
    return backward_;
}

const byte_fingerprint* compiled_expression::prefilter() const {
    std::call_once(prefilter_made_, [this] {
        if (!tree_.wide && !begins_text_) prefilter_ = make_prefilter(forward_, letters_);
    });
    return prefilter_ ? &*prefilter_ : nullptr;
}

std::unique_ptr<automata> compiled_expression::lend() const {
    const std::size_t own = own_place(lent_.size());
    for (std::size_t i = 0; i < lent_.size(); ++i) {
        std::atomic<automata*>& place = lent_[(own + i) % lent_.size()];
        if (place.load(std::memory_order_relaxed) == nullptr) continue;
        if (automata* const found = place.exchange(nullptr, std::memory_order_acquire))
            return std::unique_ptr<automata>(found);
    }
    return std::make_unique<automata>();
}

void compiled_expression::give_back(std::unique_ptr<automata> used) const {
    const std::size_t own = own_place(lent_.size());
    for (std::size_t i = 0; i < lent_.size(); ++i) {
        automata* nothing = nullptr;
        if (lent_[(own + i) % lent_.size()].compare_exchange_strong(nothing, used.get(),
                                                                    std::memory_order_release)) {
            static_cast<void>(used.release());
            return;
        }
    }
}

}  // namespace Orlo::IMPL

#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>

#include "regex/automaton.h"
#include "regex/prefilter.h"
#include "regex/program.h"

namespace Orlo::IMPL {

/// The automata of one search at a time. They are kept and lent to the next search, with all they know.
struct automata {
    std::unique_ptr<lazy_automaton> forward;   ///< to the end of the leftmost match
    std::unique_ptr<lazy_automaton> backward;  ///< from an end to the earliest begin
    std::unique_ptr<lazy_automaton> longest;   ///< to all ends from one begin
    std::vector<std::unique_ptr<lazy_automaton>> looks;
};

/// A look-around with the program that finds the places where it holds: backward for one that looks ahead.
struct compiled_look {
    bool negative;
    program finder;
};

/// All that can be known about an expression before there is a text.
///
/// Threads: any number; what is made on demand is made once.
class compiled_expression {
public:
    explicit compiled_expression(expression_tree tree);
    ~compiled_expression();
    compiled_expression(const compiled_expression&) = delete;
    compiled_expression& operator=(const compiled_expression&) = delete;

    const expression_tree& tree() const { return tree_; }
    const alphabet& letters() const { return letters_; }
    const program& forward() const { return forward_; }
    /// Made when it is first asked for.
    const program& backward() const;
    /// Null if there is none. Made when it is first asked for.
    const byte_fingerprint* prefilter() const;
    const std::vector<compiled_look>& looks() const { return looks_; }
    bool prefers_shortest() const { return tree_.root().prefers == preference::shortest; }
    /// True if a match can begin at the text's begin only.
    bool begins_text() const { return begins_text_; }
    memory_budget& budget() const { return budget_; }

    /// Automata that nobody else uses, until they are given back.
    std::unique_ptr<automata> lend() const;
    void give_back(std::unique_ptr<automata> used) const;

private:
    bool find_begins_text() const;

    expression_tree tree_;
    alphabet letters_;
    program forward_;
    std::vector<compiled_look> looks_;
    bool begins_text_;
    mutable std::once_flag backward_made_;
    mutable program backward_;
    mutable std::once_flag prefilter_made_;
    mutable std::optional<byte_fingerprint> prefilter_;
    mutable memory_budget budget_;
    mutable std::array<std::atomic<automata*>, 8> lent_{};
};

}  // namespace Orlo::IMPL

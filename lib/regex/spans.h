#pragma once

#include <vector>

#include "orlo/regex/regex.h"
#include "regex/lists.h"

namespace Orlo::IMPL {

/// Finds what the groups of an expression without references matched, when the whole match is known. See the
/// source for the rule and the method.
template <class T>
class span_finder {
public:
    /// `backward` is the backward program of `tree`.
    span_finder(const expression_tree& tree, const program& backward, const subject<T>& s)
        : tree_(tree), program_(backward), subject_(s), walk_(backward) {}

    /// The root matches `begin` to `end`; fills in the spans of all groups within.
    void find(std::size_t begin, std::size_t end, std::vector<regex_span>& groups);

private:
    struct task {
        std::uint32_t node;
        std::size_t begin, end;
    };
    /// A program state, and what is known about the text after it. Lists are in order, the best first.
    struct thread {
        std::uint32_t state;
        std::uint32_t label;
    };
    using list = std::vector<thread>;
    /// Of a sequence: where the part ends, and the label of the next part. Of a repetition: where the pass
    /// ends, and where the last pass begins.
    struct label {
        std::size_t end;
        std::size_t next;
    };
    /// A part while a stretch of text is read from its end: the threads in it.
    struct part {
        std::uint32_t node;
        list entered;                 ///< by the last character read; not closed
        list threads;                 ///< after closing
        std::uint32_t begins = NONE;  ///< label with which the part can begin here
    };
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;
    static constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);

    const tree_node& node(std::uint32_t index) const { return tree_.nodes[index]; }
    void push(std::uint32_t index, std::size_t begin, std::size_t end);
    void split_choice(const task& t);
    void split_sequence(const task& t);
    void split_open_parts(std::size_t begin, std::size_t end);
    void split_repeat(const task& t);
    std::size_t last_pass(const task& t, std::uint32_t child);
    std::uint32_t begin_of_pass(const task& t, std::size_t pass, std::size_t place);
    std::uint32_t end_of_pass(const task& t, std::size_t pass, std::size_t place);
    bool matches(const task& t);

    std::uint32_t close(part& p, const list& from, std::size_t place);
    std::uint32_t close_with(part& p, std::uint32_t end_label, std::size_t place);
    void step(part& p, std::size_t place);
    std::uint32_t new_label(std::size_t end, std::size_t next);
    void collect_labels();

    const expression_tree& tree_;
    const program& program_;
    const subject<T>& subject_;
    std::vector<regex_span>* groups_ = nullptr;
    std::vector<task> tasks_;
    std::vector<std::uint32_t> children_;
    std::vector<part> parts_;
    std::vector<label> labels_;
    std::vector<std::uint32_t> free_labels_;
    bool chained_ = false;  ///< labels lead to labels
    std::size_t label_limit_ = 0;
    state_walk walk_;
};

extern template class span_finder<char>;
extern template class span_finder<wchar_t>;

}  // namespace Orlo::IMPL

// What the groups matched.
//
// The rule: the parts of a sequence are settled from the left, each as long (or short) as it prefers, if only
// the parts after it can match the rest. A choice takes its first branch that matches. The passes of a
// repetition are settled from the left like parts, as its body prefers; a pass that matches nothing is made
// only as long as the minimum asks for it. Of a repetition only the last pass is reported, so every node of
// the tree is settled for one stretch of text at most: a list of tasks (node, begin, end) does it all.
//
//   (a|ab)(c|bcd)(d*)   on "abcd"     ab|c|d: the first part as long as the rest allows
//   (a*?)(a*)           on "aa"       |aa: the first as short as the rest allows
//   (a|b)*              on "abab"     the group reports the last "b"
//
// Where the parts meet is found by reading the stretch once from its end, with lists of program states. A
// thread in part B carries where part B is going to end, and what follows from there, as a label. Where a
// thread leaves part B at a place, B and all parts after it match all from there, so threads of part A are begun,
// with this place as the end of part A. Of two threads in one state the better label stays: the lists are
// kept in the order of preference, so it is the one that comes first. When the begin is reached, the label
// with which part A begins is the answer. For (a|ab)(c|bcd) on "abc":
//
//   place 3     part B ends here: threads of c and of d
//   place 2     c read: part B begins here, so part A may end here: threads of a and b
//   place 1     b read: a thread of a, with end 2
//   place 0     a read: part A begins here, and ends at 2
//
// Passes of a repetition are read likewise, with the body as every part; labels say where the pass ends and
// where the last pass begins.
//
// Costs, for one task with N characters and S states: N x S, and memory of S labels. Parts of fixed length at
// either end need no reading.

#include "regex/spans.h"

#include <algorithm>

namespace Orlo::IMPL {

template <class T>
void span_finder<T>::push(std::uint32_t index, std::size_t begin, std::size_t end) {
    if (node(index).captures) tasks_.push_back({index, begin, end});
}

template <class T>
void span_finder<T>::find(std::size_t begin, std::size_t end, std::vector<regex_span>& groups) {
    groups_ = &groups;
    tasks_.clear();
    push(tree_.root_index(), begin, end);
    while (!tasks_.empty()) {
        const task t = tasks_.back();
        tasks_.pop_back();
        switch (node(t.node).kind) {
            case node_kind::group:
                groups[node(t.node).value] = {t.begin, t.end};
                push(t.node - 1, t.begin, t.end);
                break;
            case node_kind::choice:
                split_choice(t);
                break;
            case node_kind::sequence:
                split_sequence(t);
                break;
            case node_kind::repeat:
                split_repeat(t);
                break;
            default:
                break;
        }
    }
}

// --- labels

template <class T>
std::uint32_t span_finder<T>::new_label(std::size_t end, std::size_t next) {
    if (free_labels_.empty() && labels_.size() >= label_limit_) collect_labels();
    if (free_labels_.empty()) {
        labels_.push_back({end, next});
        return static_cast<std::uint32_t>(labels_.size() - 1);
    }
    const std::uint32_t made = free_labels_.back();
    free_labels_.pop_back();
    labels_[made] = {end, next};
    return made;
}

/// Frees the labels that no thread leads to.
template <class T>
void span_finder<T>::collect_labels() {
    std::vector<bool> used(labels_.size());
    const auto use = [&](std::size_t index) {
        while (index < used.size() && !used[index]) {
            used[index] = true;
            index = chained_ ? labels_[index].next : NOWHERE;
        }
    };
    for (const part& p : parts_) {
        use(p.begins == NONE ? NOWHERE : p.begins);
        for (const thread t : p.entered)
            use(t.label);
        for (const thread t : p.threads)
            use(t.label);
    }
    for (std::size_t i = 0; i < used.size(); ++i)
        if (!used[i]) free_labels_.push_back(static_cast<std::uint32_t>(i));
    label_limit_ = std::max<std::size_t>(64, 2 * (labels_.size() - free_labels_.size()));
}

// --- threads of one part

/// Adds what can be reached from the threads of `from` without reading, to `threads`; returns the first label
/// that reached the part's begin.
template <class T>
std::uint32_t span_finder<T>::close(part& p, const list& from, std::size_t place) {
    const fragment& within = program_.fragments[p.node];
    std::uint32_t begins = NONE;
    const auto may_pass = [&](const program_state& s) { return passes(s, subject_, place); };
    for (const thread t : from) {
        const auto arrive = [&](std::uint32_t number) {
            if (number < within.begin || number >= within.end) {
                if (begins == NONE) begins = t.label;
            } else if (program_.states[number].kind == state_kind::chars) {
                p.threads.push_back({number, t.label});
            }
        };
        walk_.walk(t.state, may_pass, arrive, within);
    }
    return begins;
}

/// Closes the threads that were entered and, if the part may end here, one that enters at its end. Returns
/// the best label that reached the part's begin.
template <class T>
std::uint32_t span_finder<T>::close_with(part& p, std::uint32_t end_label, std::size_t place) {
    p.threads.clear();
    walk_.begin_round();
    const list ended{{program_.fragments[p.node].in, end_label}};
    const bool shortest = node(p.node).prefers == preference::shortest;
    std::uint32_t begins = NONE;
    if (shortest && end_label != NONE) begins = close(p, ended, place);
    const std::uint32_t longer = close(p, p.entered, place);
    if (begins == NONE) begins = longer;
    if (shortest || end_label == NONE) return begins;
    const std::uint32_t shortest_begins = close(p, ended, place);
    return begins == NONE ? shortest_begins : begins;
}

template <class T>
void span_finder<T>::step(part& p, std::size_t place) {
    const std::uint32_t symbol = subject_.before(place);
    p.entered.clear();
    for (const thread t : p.threads) {
        const program_state& s = program_.states[t.state];
        if (subject_.letters.in_set(s.value, symbol)) p.entered.push_back({s.next, t.label});
    }
}

// --- choices

/// True if the node matches exactly this stretch.
template <class T>
bool span_finder<T>::matches(const task& t) {
    parts_.assign(1, part{t.node, {}, {}});
    for (std::size_t place = t.end;; --place) {
        const std::uint32_t begins = close_with(parts_[0], place == t.end ? 0 : NONE, place);
        if (place == t.begin) return begins != NONE;
        if (parts_[0].threads.empty()) return false;
        step(parts_[0], place);
    }
}

template <class T>
void span_finder<T>::split_choice(const task& t) {
    const std::size_t length = t.end - t.begin;
    children_of(tree_.nodes, t.node, children_);
    std::erase_if(children_, [&](std::uint32_t child) {
        return node(child).min_length > length || node(child).max_length < length;
    });
    for (std::size_t i = 0; i < children_.size(); ++i) {
        // one of them matches; the last need not be asked
        if (i + 1 < children_.size() && !matches({children_[i], t.begin, t.end})) continue;
        return push(children_[i], t.begin, t.end);
    }
}

// --- sequences

template <class T>
void span_finder<T>::split_sequence(const task& t) {
    children_of(tree_.nodes, t.node, children_);
    std::size_t begin = t.begin;
    std::size_t end = t.end;
    std::size_t first = 0;
    std::size_t last = children_.size() - 1;
    for (; first < last && node(children_[first]).fixed_length(); ++first) {
        push(children_[first], begin, begin + node(children_[first]).min_length);
        begin += node(children_[first]).min_length;
    }
    for (; first < last && node(children_[last]).fixed_length(); --last) {
        push(children_[last], end - node(children_[last]).min_length, end);
        end -= node(children_[last]).min_length;
    }
    if (first == last) return push(children_[first], begin, end);
    bool captures = false;
    parts_.clear();
    for (std::size_t i = first; i <= last; ++i) {
        parts_.push_back({children_[i], {}, {}});
        captures |= node(children_[i]).captures;
    }
    if (captures) split_open_parts(begin, end);
}

template <class T>
void span_finder<T>::split_open_parts(std::size_t begin, std::size_t end) {
    chained_ = true;
    labels_.clear();
    free_labels_.clear();
    for (std::size_t place = end;; --place) {
        for (std::size_t i = parts_.size(); i-- > 0;) {
            const bool last = i + 1 == parts_.size();
            std::uint32_t end_label = NONE;
            if (last && place == end) end_label = new_label(place, NOWHERE);
            if (!last && parts_[i + 1].begins != NONE) end_label = new_label(place, parts_[i + 1].begins);
            parts_[i].begins = close_with(parts_[i], end_label, place);
        }
        if (place == begin) break;
        for (part& p : parts_)
            step(p, place);
    }
    std::size_t next = parts_[0].begins;
    for (const part& p : parts_) {
        const std::size_t part_end = labels_[next].end;
        push(p.node, begin, part_end);
        begin = part_end;
        next = labels_[next].next;
    }
}

// --- repetitions

template <class T>
void span_finder<T>::split_repeat(const task& t) {
    const tree_node& repeat = node(t.node);
    const std::uint32_t child = t.node - 1;
    if (repeat.most == 0 || (t.begin == t.end && repeat.least == 0)) return;
    if (t.begin == t.end || repeat.most == 1) return push(child, t.begin, t.end);
    if (node(child).fixed_length()) return push(child, t.end - node(child).min_length, t.end);
    push(child, last_pass(t, child), t.end);
}

/// The label with which pass number `pass` ends at this place, if it may.
template <class T>
std::uint32_t span_finder<T>::end_of_pass(const task& t, std::size_t pass, std::size_t place) {
    if (place == t.end && pass + 1 >= node(t.node).least) return new_label(place, NOWHERE);
    const bool loops = node(t.node).most == UNLIMITED && pass + 1 == parts_.size();
    const std::size_t following = loops ? pass : pass + 1;
    if (following == parts_.size() || parts_[following].begins == NONE) return NONE;
    const std::size_t last = labels_[parts_[following].begins].next;
    return new_label(place, last == NOWHERE ? place : last);
}

/// The label with which pass number `pass` begins at this place.
template <class T>
std::uint32_t span_finder<T>::begin_of_pass(const task& t, std::size_t pass, std::size_t place) {
    const tree_node& repeat = node(t.node);
    const bool loops = repeat.most == UNLIMITED && pass + 1 == parts_.size();
    part& p = parts_[pass];
    p.begins = close_with(p, NONE, place);  // passes that match something
    const std::uint32_t reading = p.begins;
    const std::uint32_t end_label = end_of_pass(t, pass, place);
    if (end_label == NONE) return reading;
    const std::uint32_t any = close_with(p, end_label, place);
    // A pass that matches nothing is for the minimum only. One before passes that match something changes
    // nothing about the last, so a loop makes it at the very end only.
    return pass < repeat.least && (!loops || place == t.end) ? any : reading;
}

/// Where the last pass begins.
template <class T>
std::size_t span_finder<T>::last_pass(const task& t, std::uint32_t child) {
    const tree_node& repeat = node(t.node);
    parts_.assign(repeat.most == UNLIMITED ? std::max(repeat.least, 1u) : repeat.most, part{child, {}, {}});
    chained_ = false;
    labels_.clear();
    free_labels_.clear();
    for (std::size_t place = t.end;; --place) {
        for (std::size_t pass = parts_.size(); pass-- > 0;)
            parts_[pass].begins = begin_of_pass(t, pass, place);
        if (place == t.begin) break;
        for (part& p : parts_)
            step(p, place);
    }
    const std::size_t last = labels_[parts_[0].begins].next;
    return last == NOWHERE ? t.begin : last;
}

template class span_finder<char>;
template class span_finder<wchar_t>;

}  // namespace Orlo::IMPL

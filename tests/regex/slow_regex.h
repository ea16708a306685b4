#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orlo/regex/regex.h"

/// The obvious matcher of short texts: for every part of an expression and every place the set of places
/// where the part can end, as a mask. It knows a b . | ( ) * + ? {m,n}, shortest quantifiers, ^ $, (?:, the
/// four look-arounds and \1 to \9.
class slow_regex {
public:
    using spans = std::vector<Orlo::regex_span>;

    /// Nothing if the expression is none.
    static std::optional<slow_regex> parse(std::string_view expression) {
        slow_regex made;
        made.in_ = expression;
        const int root = made.read_choice();
        if (root < 0 || made.at_ != expression.size()) return std::nullopt;
        made.root_ = root;
        return made;
    }

    bool search(std::string_view text, spans& found) {
        text_ = text;
        known_.assign(nodes_.size() * (text.size() + 1), 0);
        for (std::size_t begin = 0; begin <= text.size(); ++begin)
            for (const std::size_t end : in_order(root_, ends(root_, begin))) {
                found_.assign(groups_ + 1, {});
                found_[0] = {begin, end};
                if (settle(root_, begin, end, [] { return true; })) return found = found_, true;
            }
        return false;
    }

private:
    using mask = std::uint32_t;
    using then = std::function<bool()>;
    static constexpr mask DONE = 1u << 31;
    static constexpr int MANY = 100;
    struct node {
        char kind;  ///< as in the expression; 's' sequence, ',' repetition, '\\' reference, 'e' empty
        std::vector<int> children{};
        int least = 0, most = 0;
        int prefers = 0;  ///< 1 the longest, -1 the shortest
        std::size_t group = 0;
        bool negative = false, behind = false;
    };

    // --- reading
    bool more(char c) const { return at_ < in_.size() && in_[at_] == c; }
    bool take(std::string_view what) {
        if (!in_.substr(at_).starts_with(what)) return false;
        at_ += what.size();
        return true;
    }
    int add(node n) {
        for (const int child : n.children)
            if (n.prefers == 0 && n.kind != '|' && n.kind != '=') n.prefers = nodes_[child].prefers;
        if (n.kind == '|') n.prefers = 1;
        nodes_.push_back(std::move(n));
        return static_cast<int>(nodes_.size()) - 1;
    }
    int read_choice() {
        node n{.kind = '|'};
        do {
            node branch{.kind = 's'};
            while (at_ < in_.size() && !more('|') && !more(')')) {
                branch.children.push_back(read_piece());
                if (branch.children.back() < 0) return -1;
            }
            n.children.push_back(add(branch));
        } while (take("|"));
        return n.children.size() == 1 ? n.children[0] : add(n);
    }
    int read_piece() {
        const int atom = read_atom();
        if (atom < 0 || at_ == in_.size()) return atom;
        node n{.kind = ',', .children = {atom}, .least = 0, .most = MANY};
        if (take("+")) {
            n.least = 1;
        } else if (take("?")) {
            n.most = 1;
        } else if (take("{")) {
            n.least = n.most = in_[at_++] - '0';
            if (take(",")) n.most = more('}') ? MANY : in_[at_++] - '0';
            if (!take("}") || n.most < n.least) return -1;
        } else if (!take("*")) {
            return atom;
        }
        const char kind = nodes_[atom].kind;
        if (kind == '^' || kind == '$' || kind == '=') return -1;
        const bool shortest = take("?");
        if (n.least != n.most) n.prefers = shortest ? -1 : 1;
        if (more('*') || more('+') || more('?') || more('{')) return -1;
        return add(n);
    }
    int read_atom() {
        const bool look = in_.substr(at_).starts_with("(?=") || in_.substr(at_).starts_with("(?!") ||
                          in_.substr(at_).starts_with("(?<");
        if (look) {
            node n{.kind = '='};
            at_ += 2;
            n.behind = take("<");
            n.negative = in_[at_++] == '!';
            n.children = {read_choice()};
            return n.children[0] < 0 || !take(")") ? -1 : add(n);
        }
        if (take("(")) {
            node n{.kind = '('};
            if (!take("?:")) n.group = ++groups_;
            n.children = {read_choice()};
            return n.children[0] < 0 || !take(")") ? -1 : add(n);
        }
        if (take("\\")) {
            const auto number = static_cast<std::size_t>(in_[at_++] - '0');
            const bool closed = std::any_of(nodes_.begin(), nodes_.end(), [&](const node& n) {
                return n.kind == '(' && n.group == number;
            });
            return closed ? add({.kind = '\\', .group = number}) : -1;
        }
        if (std::string_view("*+?{").find(in_[at_]) != std::string_view::npos) return -1;
        return add({.kind = in_[at_++]});
    }

    // --- sets of ends
    mask ends(int index, std::size_t place) {
        mask& known = known_[static_cast<std::size_t>(index) * (text_.size() + 1) + place];
        if (known == 0) {
            const mask found = find_ends(nodes_[index], place);
            known_[static_cast<std::size_t>(index) * (text_.size() + 1) + place] = found | DONE;
            return found;
        }
        return known & ~DONE;
    }
    mask ends_of_all(int index, mask places) {
        mask found = 0;
        for (std::size_t place = 0; place <= text_.size(); ++place)
            if ((places >> place & 1) != 0) found |= ends(index, place);
        return found;
    }
    mask find_ends(const node& n, std::size_t place) {
        const mask here = mask{1} << place;
        mask found = n.kind == '|' ? 0 : here;
        switch (n.kind) {
            case 's':
                for (const int child : n.children)
                    found = ends_of_all(child, found);
                return found;
            case '|':
                for (const int child : n.children)
                    found |= ends(child, place);
                return found;
            case '(':
                return ends(n.children[0], place);
            case ',': {
                mask all = n.least == 0 ? here : 0;
                for (int pass = 1;
                     pass <= std::min<int>(n.most, n.least + static_cast<int>(text_.size()) + 1); ++pass) {
                    found = ends_of_all(n.children[0], found);
                    if (pass >= n.least) all |= found;
                }
                return all;
            }
            case '^':
                return place == 0 ? here : 0;
            case '$':
                return place == text_.size() ? here : 0;
            case '\\':
                return (mask{2} << text_.size()) - here;  // anything
            case '=': {
                bool holds = !n.behind && ends(n.children[0], place) != 0;
                for (std::size_t begin = 0; n.behind && begin <= place; ++begin)
                    holds |= (ends(n.children[0], begin) & here) != 0;
                return holds != n.negative ? here : 0;
            }
            default:
                return place < text_.size() && (n.kind == '.' || n.kind == text_[place]) ? here << 1 : 0;
        }
    }
    std::vector<std::size_t> in_order(int index, mask places) const {
        std::vector<std::size_t> order;
        for (std::size_t place = 0; place <= text_.size(); ++place)
            if ((places >> place & 1) != 0) order.push_back(place);
        if (nodes_[index].prefers >= 0) std::reverse(order.begin(), order.end());
        return order;
    }

    // --- the rule: true if the node matches exactly begin to end, and what comes then succeeds
    bool settle(int index, std::size_t begin, std::size_t end, const then& next) {
        if ((ends(index, begin) >> end & 1) == 0) return false;
        const node& n = nodes_[index];
        switch (n.kind) {
            case '(': {
                if (n.group == 0) return settle(n.children[0], begin, end, next);
                const auto captured = [&] {
                    const Orlo::regex_span before = found_[n.group];
                    found_[n.group] = {begin, end};
                    return next() || (found_[n.group] = before, false);
                };
                return settle(n.children[0], begin, end, captured);
            }
            case '|':
                return std::any_of(n.children.begin(), n.children.end(),
                                   [&](int child) { return settle(child, begin, end, next); });
            case 's':
                return settle_parts(n, 0, begin, end, next);
            case ',':
                return settle_passes(n, 0, begin, end, next);
            case '\\': {
                const Orlo::regex_span span = found_[n.group];
                return span.begin != Orlo::regex_span::npos &&
                       text_.substr(span.begin, span.end - span.begin) == text_.substr(begin, end - begin) &&
                       next();
            }
            default:
                return next();
        }
    }
    bool settle_parts(const node& n, std::size_t part, std::size_t begin, std::size_t end, const then& next) {
        if (part == n.children.size()) return begin == end && next();
        for (const std::size_t middle : in_order(n.children[part], ends(n.children[part], begin))) {
            if (middle > end || !can_follow(n, part + 1, middle, end)) continue;
            if (settle(n.children[part], begin, middle,
                       [&, middle] { return settle_parts(n, part + 1, middle, end, next); }))
                return true;
        }
        return false;
    }
    bool can_follow(const node& n, std::size_t part, std::size_t begin, std::size_t end) {
        mask found = mask{1} << begin;
        for (; part < n.children.size(); ++part)
            found = ends_of_all(n.children[part], found);
        return (found >> end & 1) != 0;
    }
    bool settle_passes(const node& n, int count, std::size_t begin, std::size_t end, const then& next) {
        if (begin == end && count >= n.least) return next();
        if (count == n.most) return false;
        const spans before = found_;
        for (const std::size_t middle : in_order(n.children[0], ends(n.children[0], begin))) {
            if (middle > end || (middle == begin && count >= n.least)) continue;
            forget_groups(n.children[0]);
            if (settle(n.children[0], begin, middle,
                       [&, middle] { return settle_passes(n, count + 1, middle, end, next); }))
                return true;
            found_ = before;
        }
        return false;
    }
    void forget_groups(int index) {
        if (nodes_[index].group != 0 && nodes_[index].kind == '(') found_[nodes_[index].group] = {};
        for (const int child : nodes_[index].children)
            forget_groups(child);
    }

    std::string_view in_;
    std::size_t at_ = 0;
    int root_ = 0;
    std::vector<node> nodes_;
    std::size_t groups_ = 0;
    std::string_view text_;
    std::vector<mask> known_;
    spans found_;
};

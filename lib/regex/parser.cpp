// From an expression to its tree.
//
// The parser reads from left to right and keeps one frame for each group that is open, so that nesting costs
// no stack. Nodes are written when they are complete, children first: at a "|" the parts of the branch become
// a sequence, at a ")" the branches become a choice and the choice a group. For "x(a|bc)*":
//
//   read      frames                    nodes
//   x         [.]                       x
//   (a        [.] [group, 1 part]       x a
//   |bc       [.] [group, 1 branch..]   x a b c
//   )         [.]                       x a b c (sequence b c) (choice a, bc) (group)
//   *         [.]                       ... (repeat)
//   end                                 ... (sequence x, repeat)
//
// The nodes of a look-around are moved out into a tree of their own.

#include "regex/parser.h"

#include <array>
#include <unordered_map>

#include "orlo/regex/regex.h"
#include "regex/scanner.h"

namespace Orlo::IMPL {
namespace {

constexpr const char* UNMATCHED_PARENTHESIS = "unmatched parenthesis";
constexpr const char* OPERAND_INVALID = "quantifier operand invalid";
constexpr const char* INVALID_OPTION = "invalid embedded option";

constexpr std::uint32_t ONLY_HALF =
    std::uint32_t{regex_flag::newline_stops} | std::uint32_t{regex_flag::newline_anchors};

class parser {
public:
    parser(std::u32string_view expression, std::uint32_t flags, bool wide)
        : in_(expression, wide), flags_(flags) {
        tree_.wide = wide;
        single_.fill(NO_SET);
    }

    expression_tree parse();

private:
    enum class frame_kind { whole, group, plain, look };
    struct frame {
        frame_kind kind;
        std::uint32_t group;         ///< number of the group
        bool ahead, negative;        ///< of a look-around
        std::uint32_t begin;         ///< first node
        std::uint32_t branch_begin;  ///< first node of the branch
        std::uint32_t parts;         ///< complete parts of the branch
        std::uint32_t branches;      ///< complete branches
        std::size_t position;
    };
    static constexpr std::uint32_t NO_SET = UINT32_MAX;

    bool has(std::uint32_t flag) const { return (flags_ & flag) != 0; }
    bool advanced() const { return !has(regex_flag::extended_only); }

    void read_start();
    void read_options();
    void skip_comments();
    void read_part();
    void read_parenthesis();
    void open(frame_kind kind, bool ahead = true, bool negative = false);
    void close();
    void end_branch();
    void read_quantifier();
    void read_backslash();
    void add_dot();
    void add_bracket();
    void add_char(std::uint32_t c);
    std::uint32_t index_of(char_set set);
    void add_set(char_set set);
    void add_type(const escape_meaning& meaning);
    void add_constraint(constraint c);
    void add_reference(std::uint32_t number);
    void add_part(tree_node node);
    void add_node(tree_node node);
    std::uint32_t size() const { return static_cast<std::uint32_t>(tree_.nodes.size()); }

    expression_scanner in_;
    std::uint32_t flags_;
    expression_tree tree_;
    std::vector<frame> frames_;
    std::vector<bool> closed_;                                           ///< of each group
    std::array<std::uint32_t, char_set::low_end> single_;                ///< the sets of single characters
    std::unordered_map<std::size_t, std::vector<std::uint32_t>> known_;  ///< the sets by their hash
    bool can_repeat_ = false;  ///< the last part may be followed by a quantifier
    std::uint32_t looks_open_ = 0;
};

// --- nodes

void parser::add_node(tree_node node) {
    if (tree_.nodes.size() >= MOST_STATES) throw TOO_COMPLEX;
    tree_.nodes.push_back(node);
    complete_node(tree_.nodes, size() - 1);
}

void parser::add_part(tree_node node) {
    node.begin = size();
    add_node(node);
    ++frames_.back().parts;
    can_repeat_ = true;
}

std::uint32_t parser::index_of(char_set set) {
    std::vector<std::uint32_t>& alike = known_[set.hash()];
    for (const std::uint32_t index : alike)
        if (tree_.sets[index] == set) return index;
    if (tree_.sets.size() == MOST_SETS) throw TOO_COMPLEX;
    alike.push_back(static_cast<std::uint32_t>(tree_.sets.size()));
    tree_.sets.push_back(std::move(set));
    return alike.back();
}

void parser::add_set(char_set set) {
    add_part({.kind = node_kind::chars, .value = index_of(std::move(set))});
}

void parser::add_char(std::uint32_t c) {
    if (c < single_.size() && single_[c] != NO_SET)
        return add_part({.kind = node_kind::chars, .value = single_[c]});
    char_set set;
    set.add(c);
    if (has(regex_flag::ignore_case)) set.fold_case(tree_.wide);
    set.normalize();
    add_set(std::move(set));
    if (c < single_.size()) single_[c] = tree_.nodes.back().value;
}

void parser::add_dot() {
    char_set set;
    set.negate();
    if (has(regex_flag::newline) || has(regex_flag::newline_stops)) set.remove_low('\n');
    add_set(std::move(set));
}

void parser::add_bracket() {
    if (in_.take(U"[:<:]]")) return add_constraint(constraint::word_begin);
    if (in_.take(U"[:>:]]")) return add_constraint(constraint::word_end);
    add_set(in_.read_bracket(has(regex_flag::ignore_case), advanced(),
                             has(regex_flag::newline) || has(regex_flag::newline_stops)));
}

void parser::add_type(const escape_meaning& meaning) {
    char_set set;
    const auto type = static_cast<char_type>(meaning.value);
    set.add_type(type, tree_.wide);
    if (type == char_type::alnum) set.add('_');
    if (meaning.negated) set.negate();
    add_set(std::move(set));
}

void parser::add_constraint(constraint c) {
    tree_.newlines |= c == constraint::any_line_begin || c == constraint::any_line_end;
    tree_.word_edges |= c >= constraint::word_begin;
    add_part({.kind = node_kind::constraint, .value = static_cast<std::uint32_t>(c)});
    can_repeat_ = false;
}

void parser::add_reference(std::uint32_t number) {
    if (looks_open_ != 0 || number > tree_.groups || !closed_[number - 1])
        in_.fail("invalid back reference number");
    char_set all;
    all.negate();
    add_part({.kind = node_kind::reference, .value = number, .least = index_of(std::move(all))});
}

// --- groups and branches

void parser::open(frame_kind kind, bool ahead, bool negative) {
    if (frames_.size() > MOST_NESTED) throw syntax_fault{in_.position(), "nesting too deep", 4};
    if (looks_open_ != 0 && kind == frame_kind::group) kind = frame_kind::plain;
    if (kind == frame_kind::look) ++looks_open_;
    if (kind == frame_kind::group) {
        ++tree_.groups;
        closed_.push_back(false);
    }
    frames_.push_back({kind, tree_.groups, ahead, negative, size(), size(), 0, 0, in_.position()});
    can_repeat_ = false;
}

void parser::end_branch() {
    frame& top = frames_.back();
    if (top.parts == 0) add_node({.kind = node_kind::empty, .begin = size()});
    if (top.parts > 1) add_node({.kind = node_kind::sequence, .begin = top.branch_begin});
    ++top.branches;
    top.parts = 0;
    top.branch_begin = size();
    can_repeat_ = false;
}

void parser::close() {
    end_branch();
    const frame top = frames_.back();
    frames_.pop_back();
    if (top.branches > 1) add_node({.kind = node_kind::choice, .begin = top.begin});
    if (top.kind == frame_kind::whole) return;
    if (top.kind == frame_kind::look) {
        --looks_open_;
        look_around look{top.ahead, top.negative, {}};
        look.nodes.assign(tree_.nodes.begin() + top.begin, tree_.nodes.end());
        for (tree_node& node : look.nodes)
            node.begin -= top.begin;
        tree_.nodes.resize(top.begin);
        tree_.looks.push_back(std::move(look));
        add_part({.kind = node_kind::look, .value = static_cast<std::uint32_t>(tree_.looks.size() - 1)});
        can_repeat_ = false;
        return;
    }
    if (top.kind == frame_kind::group) {
        add_node({.kind = node_kind::group, .value = top.group, .begin = top.begin});
        closed_[top.group - 1] = true;
    }
    ++frames_.back().parts;
    can_repeat_ = true;
}

/// After "(".
void parser::read_parenthesis() {
    if (!advanced() || in_.peek() != '?') {
        if (in_.peek() == '?') in_.fail(OPERAND_INVALID);
        return open(frame_kind::group);
    }
    if (in_.take(U"?:")) return open(frame_kind::plain);
    if (in_.take(U"?=")) return open(frame_kind::look, true, false);
    if (in_.take(U"?!")) return open(frame_kind::look, true, true);
    if (in_.take(U"?<=")) return open(frame_kind::look, false, false);
    if (in_.take(U"?<!")) return open(frame_kind::look, false, true);
    in_.fail(OPERAND_INVALID);
}

// --- parts

void parser::read_backslash() {
    if (!advanced()) {
        if (in_.at_end()) in_.fail("invalid escape");
        return add_char(in_.next());
    }
    const escape_meaning meaning = in_.read_escape(tree_.groups, false);
    switch (meaning.is) {
        case escape_meaning::kind::character:
            return add_char(meaning.value);
        case escape_meaning::kind::type:
            return add_type(meaning);
        case escape_meaning::kind::constraint:
            return add_constraint(static_cast<constraint>(meaning.value));
        case escape_meaning::kind::reference:
            return add_reference(meaning.value);
    }
}

/// At one of * + ? and a brace before a digit.
void parser::read_quantifier() {
    if (!can_repeat_) in_.fail(OPERAND_INVALID);
    const std::size_t start = in_.position();
    tree_node node{
        .kind = node_kind::repeat, .begin = tree_.nodes.back().begin, .least = 0, .most = UNLIMITED};
    switch (in_.next()) {
        case '*':
            break;
        case '+':
            node.least = 1;
            break;
        case '?':
            node.most = 1;
            break;
        default:
            node.least = node.most = in_.read_count(MOST_REPEATS);
            if (in_.peek() == ',') {
                in_.skip(1);
                const bool limited = expression_scanner::is_digit(in_.peek());
                node.most = limited ? in_.read_count(MOST_REPEATS) : UNLIMITED;
            }
            if (in_.at_end()) expression_scanner::fail_at(start, "unmatched brace");
            if (in_.next() != '}' || node.most < node.least)
                expression_scanner::fail_at(start, "invalid repetition count");
    }
    node.prefers = preference::longest;
    if (advanced() && in_.peek() == '?') {
        in_.skip(1);
        node.prefers = preference::shortest;
    }
    add_node(node);
    can_repeat_ = false;
}

void parser::read_part() {
    const bool lines = has(regex_flag::newline) || has(regex_flag::newline_anchors);
    switch (in_.peek()) {
        case '*':
        case '+':
        case '?':
            return read_quantifier();
        case '{':
            if (expression_scanner::is_digit(in_.peek(1))) return read_quantifier();
            break;
        default:
            break;
    }
    const char32_t c = in_.next();
    switch (c) {
        case '|':
            return end_branch();
        case '(':
            return read_parenthesis();
        case ')':
            if (frames_.size() == 1) expression_scanner::fail_at(in_.position() - 1, UNMATCHED_PARENTHESIS);
            return close();
        case '[':
            return add_bracket();
        case '.':
            return add_dot();
        case '^':
            return add_constraint(lines ? constraint::any_line_begin : constraint::line_begin);
        case '$':
            return add_constraint(lines ? constraint::any_line_end : constraint::line_end);
        case '\\':
            return read_backslash();
        default:
            return add_char(c);
    }
}

/// White space and "#..." in expanded syntax, and "(?#...)" in any advanced expression.
void parser::skip_comments() {
    for (;;) {
        if (advanced() && in_.take(U"(?#")) {
            const std::size_t start = in_.position();
            while (!in_.at_end() && in_.peek() != ')')
                in_.skip(1);
            if (in_.at_end()) expression_scanner::fail_at(start, UNMATCHED_PARENTHESIS);
            in_.skip(1);
        } else if (has(regex_flag::expanded) && !in_.at_end() &&
                   is_of_type(in_.peek(), char_type::space, tree_.wide)) {
            in_.skip(1);
        } else if (has(regex_flag::expanded) && in_.peek() == '#') {
            while (!in_.at_end() && in_.peek() != '\n')
                in_.skip(1);
        } else {
            return;
        }
    }
}

// --- the start

/// "(?letters)".
void parser::read_options() {
    in_.skip(2);
    while (in_.peek() != ')') {
        if (in_.at_end()) in_.fail(INVALID_OPTION);
        switch (in_.peek()) {
            case 'i':
                flags_ |= regex_flag::ignore_case;
                break;
            case 'c':
                flags_ &= ~regex_flag::ignore_case;
                break;
            case 'n':
                flags_ |= regex_flag::newline;
                break;
            case 's':
                flags_ &= ~std::uint32_t{regex_flag::newline};
                flags_ &= ~ONLY_HALF;
                break;
            case 'p':
                flags_ = (flags_ & ~regex_flag::newline) | regex_flag::newline_stops;
                break;
            case 'w':
                flags_ = (flags_ & ~regex_flag::newline) | regex_flag::newline_anchors;
                break;
            case 'x':
                flags_ |= regex_flag::expanded;
                break;
            case 't':
                flags_ &= ~regex_flag::expanded;
                break;
            case 'q':
                flags_ |= regex_flag::literal;
                break;
            case 'e':
                flags_ |= regex_flag::extended_only;
                break;
            default:
                in_.fail(INVALID_OPTION);
        }
        in_.skip(1);
    }
    in_.skip(1);
}

void parser::read_start() {
    if (has(regex_flag::literal) || !advanced()) return;
    if (in_.take(U"***=")) {
        flags_ |= regex_flag::literal;
        return;
    }
    in_.take(U"***:");
    if (in_.peek() == '(' && in_.peek(1) == '?' && is_of_type(in_.peek(2), char_type::alpha, false))
        read_options();
}

expression_tree parser::parse() {
    read_start();
    open(frame_kind::whole);
    if (has(regex_flag::literal)) {
        while (!in_.at_end())
            add_char(in_.next());
    } else {
        for (skip_comments(); !in_.at_end(); skip_comments())
            read_part();
    }
    if (frames_.size() > 1) expression_scanner::fail_at(frames_.back().position - 1, UNMATCHED_PARENTHESIS);
    close();
    tree_.reports_groups = !has(regex_flag::no_captures);
    tree_.ignore_case = has(regex_flag::ignore_case);
    tree_.references = tree_.root().references;
    return std::move(tree_);
}

}  // namespace

expression_tree parse_expression(std::u32string_view expression, std::uint32_t flags, bool wide) {
    return parser(expression, flags, wide).parse();
}

}  // namespace Orlo::IMPL

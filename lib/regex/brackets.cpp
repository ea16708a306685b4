// Sets of characters in brackets.
//
//   []abc]  [^]abc]     a "]" at the start is itself, and so is a "-" at the start, at the end, and as the
//   [a-] [-a] [--/]     begin of a range
//   [[:alpha:]]         a named class; "\d" and the like are classes, too
//   [[.x.]] [[=x=]]     the character x: elements and classes of collation are single characters
//   [a-c-e] [b-a]       errors: ranges share no end and do not run backwards

#include <string>

#include "regex/scanner.h"

namespace Orlo::IMPL {
namespace {

constexpr const char* UNMATCHED = "unmatched bracket";
constexpr const char* INVALID_CLASS = "invalid character class";
constexpr const char* INVALID_RANGE = "invalid character range";

}  // namespace

/// After "[:", "[." or "[=" (`mark`): up to the place after the same mark and "]".
expression_scanner::bracket_item expression_scanner::read_named(char_set& set, char32_t mark) {
    const std::size_t start = position_;
    const char32_t close[] = {mark, ']'};
    const std::size_t end = text_.find(std::u32string_view(close, 2), start + (mark == ':' ? 0 : 1));
    if (end == std::u32string_view::npos) fail_at(start, UNMATCHED);
    const std::u32string_view name = text_.substr(start, end - start);
    position_ = end + 2;
    if (mark != ':') {
        if (name.size() != 1) fail_at(start, INVALID_CLASS);
        return {true, name[0]};
    }
    std::string narrow;
    for (const char32_t c : name)
        narrow += c < 128 ? static_cast<char>(c) : '?';
    const auto type = find_char_type(narrow);
    if (!type) fail_at(start, INVALID_CLASS);
    set.add_type(*type, wide_);
    return {false, 0};
}

/// One character, which is returned so that it may begin a range, or one class, which is added.
expression_scanner::bracket_item expression_scanner::read_bracket_item(char_set& set, bool escapes) {
    const char32_t c = next();
    if (c == '[' && (peek() == ':' || peek() == '.' || peek() == '=')) return read_named(set, next());
    if (c != '\\' || !escapes) return {true, c};
    const escape_meaning meaning = read_escape(0, true);
    if (meaning.is == escape_meaning::kind::character) return {true, meaning.value};
    const auto type = static_cast<char_type>(meaning.value);
    if (type == char_type::alnum && meaning.negated) {  // all but the letters, digits and the underscore
        char_set others;
        others.add_all_but_type(type, wide_);
        others.remove_low('_');
        set.merge(others);
        return {false, 0};
    }
    if (meaning.negated) {
        set.add_all_but_type(type, wide_);
    } else {
        set.add_type(type, wide_);
        if (type == char_type::alnum) set.add('_');
    }
    return {false, 0};
}

char_set expression_scanner::read_bracket(bool ignore_case, bool escapes, bool newline_apart) {
    const std::size_t start = position_;
    const bool negated = peek() == '^';
    if (negated) skip(1);
    char_set set;
    bool behind_range = false;
    for (bool first = true; first || peek() != ']'; first = false) {
        if (at_end()) fail_at(start, UNMATCHED);
        const std::size_t item_start = position_;
        if (behind_range && peek() == '-' && peek(1) != ']') fail(INVALID_RANGE);
        const bracket_item item = read_bracket_item(set, escapes);
        behind_range = peek() == '-' && peek(1) != ']' && peek(1) != NO_CHARACTER;
        if (!behind_range) {
            if (item.is_char) set.add(item.c);
            continue;
        }
        skip(1);
        const bracket_item last = read_bracket_item(set, escapes);
        if (!item.is_char || !last.is_char || last.c < item.c) fail_at(item_start, INVALID_RANGE);
        set.add(item.c, last.c);
    }
    skip(1);
    if (ignore_case) set.fold_case(wide_);
    if (negated) set.negate();
    if (negated && newline_apart) set.remove_low('\n');
    set.normalize();
    return set;
}

}  // namespace Orlo::IMPL

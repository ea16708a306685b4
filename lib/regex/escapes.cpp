// Backslashes.

#include <algorithm>
#include <iterator>

#include "regex/scanner.h"

namespace Orlo::IMPL {
namespace {

struct simple_escape {
    char letter;
    escape_meaning meaning;
};

constexpr escape_meaning character(std::uint32_t c) {
    return {escape_meaning::kind::character, c, false};
}
constexpr escape_meaning type(char_type t, bool negated) {
    return {escape_meaning::kind::type, static_cast<std::uint32_t>(t), negated};
}
constexpr escape_meaning place(constraint c) {
    return {escape_meaning::kind::constraint, static_cast<std::uint32_t>(c), false};
}

/// \w is alnum here: whoever uses it adds the underscore.
constexpr simple_escape ESCAPES[] = {
    {'a', character('\a')},
    {'b', character('\b')},
    {'B', character('\\')},
    {'e', character(27)},
    {'f', character('\f')},
    {'n', character('\n')},
    {'r', character('\r')},
    {'t', character('\t')},
    {'v', character('\v')},
    {'d', type(char_type::digit, false)},
    {'s', type(char_type::space, false)},
    {'w', type(char_type::alnum, false)},
    {'D', type(char_type::digit, true)},
    {'S', type(char_type::space, true)},
    {'W', type(char_type::alnum, true)},
    {'A', place(constraint::text_begin)},
    {'Z', place(constraint::text_end)},
    {'m', place(constraint::word_begin)},
    {'M', place(constraint::word_end)},
    {'y', place(constraint::word_edge)},
    {'Y', place(constraint::no_word_edge)},
};

constexpr const char* INVALID_ESCAPE = "invalid escape";

int digit_value(char32_t c) {
    if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<int>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
    return 16;
}

}  // namespace

bool expression_scanner::take(std::u32string_view what) {
    if (text_.substr(std::min(position_, text_.size())).substr(0, what.size()) != what) return false;
    position_ += what.size();
    return true;
}

std::uint32_t expression_scanner::checked_char(std::uint32_t c, std::size_t position) const {
    if (c > (wide_ ? 0x10FFFFu : 0xFFu)) fail_at(position, INVALID_ESCAPE);
    return c;
}

std::uint32_t expression_scanner::read_hexadecimal(std::size_t least, std::size_t most) {
    const std::size_t start = position_;
    std::uint32_t value = 0;
    while (position_ - start < most && digit_value(peek()) < 16)
        value = value * 16 + static_cast<std::uint32_t>(digit_value(next()));
    if (position_ - start < least) fail_at(start, INVALID_ESCAPE);
    return checked_char(value, start);
}

/// A reference, or a character by its octal number: \0, or two or three octal digits that no group has as its
/// number.
escape_meaning expression_scanner::read_digits(std::uint32_t opened, bool in_bracket) {
    const std::size_t start = position_;
    if (!in_bracket && peek() != '0') {
        std::uint32_t number = static_cast<std::uint32_t>(next() - '0');
        const std::uint32_t two = number * 10 + static_cast<std::uint32_t>(peek() - '0');
        const bool second = is_digit(peek());
        if (second && two <= opened) {
            skip(1);
            number = two;
        }
        if (!second || two <= opened || digit_value(text_[start]) > 7 || digit_value(peek()) > 7)
            return {escape_meaning::kind::reference, number, false};
        position_ = start;
    }
    std::uint32_t value = 0;
    while (position_ - start < 3 && digit_value(peek()) < 8)
        value = value * 8 + static_cast<std::uint32_t>(next() - '0');
    if (position_ == start) fail(INVALID_ESCAPE);
    return character(checked_char(value, start));
}

escape_meaning expression_scanner::read_escape(std::uint32_t opened, bool in_bracket) {
    if (at_end()) fail(INVALID_ESCAPE);
    const std::size_t start = position_;
    const char32_t c = peek();
    if (is_digit(c)) return read_digits(opened, in_bracket);
    skip(1);
    switch (c) {
        case 'x':
            return character(read_hexadecimal(1, 2));
        case 'u':
            return character(read_hexadecimal(4, 4));
        case 'U':
            return character(read_hexadecimal(8, 8));
        case 'c':
            if (at_end()) fail_at(start, INVALID_ESCAPE);
            return character(next() & 31);
        default:
            break;
    }
    const auto* const found =
        std::find_if(std::begin(ESCAPES), std::end(ESCAPES),
                     [c](const simple_escape& e) { return static_cast<char32_t>(e.letter) == c; });
    const bool known = found != std::end(ESCAPES);
    if (known && !(in_bracket && found->meaning.is == escape_meaning::kind::constraint))
        return found->meaning;
    if (is_of_type(c, char_type::alpha, wide_)) fail_at(start, INVALID_ESCAPE);
    return character(c);
}

std::uint32_t expression_scanner::read_count(std::uint32_t most) {
    const std::size_t start = position_;
    std::uint32_t value = 0;
    while (is_digit(peek())) {
        value = value * 10 + static_cast<std::uint32_t>(next() - '0');
        if (value > most) fail_at(start, "invalid repetition count");
    }
    return value;
}

}  // namespace Orlo::IMPL

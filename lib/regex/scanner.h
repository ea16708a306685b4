#pragma once

#include <initializer_list>
#include <string_view>

#include "regex/parser.h"

namespace Orlo::IMPL {

/// What a backslash and the characters after it mean.
struct escape_meaning {
    enum class kind { character, type, constraint, reference };
    kind is = kind::character;
    std::uint32_t value = 0;  ///< the character, `char_type`, `constraint` or number of the group
    bool negated = false;     ///< of a type
};

/// Walks over an expression and reads its small parts: escapes and brackets. The parser on top of it knows
/// groups, branches and quantifiers.
class expression_scanner {
public:
    expression_scanner(std::u32string_view text, bool wide) : text_(text), wide_(wide) {}

    bool at_end() const { return position_ >= text_.size(); }
    std::size_t position() const { return position_; }
    void skip(std::size_t count) { position_ += count; }
    /// The character `ahead` places from here; 0xFFFFFFFF after the end.
    char32_t peek(std::size_t ahead = 0) const {
        return position_ + ahead < text_.size() ? text_[position_ + ahead] : NO_CHARACTER;
    }
    char32_t next() { return text_[position_++]; }
    /// Skips `what` if it comes next.
    bool take(std::u32string_view what);

    [[noreturn]] void fail(const char* sentence) const { fail_at(position_, sentence); }
    [[noreturn]] static void fail_at(std::size_t position, const char* sentence) {
        throw syntax_fault{position, sentence, 3};
    }

    /// After a backslash. `opened` is the number of groups so far, which tells a reference of two digits
    /// from an octal number; in a bracket there are no references.
    escape_meaning read_escape(std::uint32_t opened, bool in_bracket);
    /// The number at this place; at most `most`. The caller has seen a digit.
    std::uint32_t read_count(std::uint32_t most);
    /// After "[": a set, up to the place after "]".
    char_set read_bracket(bool ignore_case, bool escapes, bool newline_apart);

    static bool is_digit(char32_t c) { return c >= '0' && c <= '9'; }
    static constexpr char32_t NO_CHARACTER = 0xFFFFFFFF;

private:
    struct bracket_item {
        bool is_char = true;
        std::uint32_t c = 0;
    };

    std::uint32_t read_hexadecimal(std::size_t least, std::size_t most);
    std::uint32_t checked_char(std::uint32_t c, std::size_t position) const;
    escape_meaning read_digits(std::uint32_t opened, bool in_bracket);
    bracket_item read_bracket_item(char_set& set, bool escapes);
    bracket_item read_named(char_set& set, char32_t mark);

    std::u32string_view text_;
    std::size_t position_ = 0;
    bool wide_;
};

}  // namespace Orlo::IMPL

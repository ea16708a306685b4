#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"

// Regular expressions: POSIX extended ones with the "advanced" additions. All failures are `regexExp`.
//
// | atoms       | x  .  (re)  (?:re)  ()  [...]  escapes; an empty branch matches the empty text              |
// | quantifiers | *  +  ?  {m}  {m,}  {m,n}, 0 to 255; with another ? the shortest; a { before what is no     |
// |             | digit is itself; none stands after another one or after a constraint                        |
// | constraints | ^ $ (of lines with `newline`)  \A \Z (of the text)  \m \M (begin and end of a word)  \y \Y  |
// |             | (at either, at neither)  [[:<:]] [[:>:]] (as \m \M)  (?=re) (?!re) (?<=re) (?<!re)          |
// | characters  | \a \b \B(backslash) \cX \e \f \n \r \t \v \0 \xhh \uhhhh \Uhhhhhhhh \ooo; a backslash       |
// |             | before a letter without meaning is an error, before anything else the character itself      |
// | classes     | \d \s \w \D \S \W  [[:alpha:]] and the like, by ASCII; above 127 by the locale, and in wide |
// |             | text only                                                                                   |
// | references  | \1 to \9, and \nn where so many groups were opened: the text of a group that is closed      |
// | at the      | ***= the rest is literal; ***: nothing; then (?letters): i ignore case, c do not, n newline,|
// | start       | p only . and [^ stop at newlines, w only ^ and $ know lines, s neither, x expanded, t not,  |
// |             | q the rest is literal, e the rest is a plain extended expression                            |
// | comments    | (?#text), and with `expanded` white space and # to the line's end                           |
//
// In look-arounds, (?=re) and the like, groups are not remembered and references not allowed.
//
// Which match: the earliest; from there the longest, or the shortest if the expression prefers it. Then its
// parts from the left, each as long or as short as it prefers, if only the rest can match. A character has no
// preference, a repetition that of its quantifier (of a fixed count that of what it repeats), a group that of
// what it holds, a sequence that of its first part that has one; what has a | prefers the longest. A group in
// a repetition reports its last pass; a pass that would match nothing is made only to reach the minimum.
//
// Time is at most the text's length times the expression's, memory limited and the stack's depth fixed,
// whatever the expression and the text. Expressions with references are the exception: they have a budget of
// steps, after which they fail.

namespace Orlo {

/// Flags of an expression, and of a match; to be joined by |.
namespace regex_flag {
enum : std::uint32_t {
    ignore_case = 1,
    newline = 2,         ///< ^ and $ are of lines, and . and [^ do not match a newline
    expanded = 4,        ///< white space and comments are skipped
    literal = 8,         ///< no character is special
    extended_only = 16,  ///< no additions: no escapes but of special characters, no (?...), no shortest match
    no_captures = 32,    ///< groups are not reported
    not_bol = 256,       ///< of a match: ^ does not match at the begin of the text
    not_eol = 512,       ///< of a match: $ does not match at its end
};
}  // namespace regex_flag

/// Codes of `regexExp`.
namespace regex_code {
enum : std::int32_t {
    unknown_flags = 2,
    invalid_expression = 3,
    too_complex_expression = 4,  ///< more than 1000 groups deep, or too many states
    too_complex_match = 6,
};
}  // namespace regex_code

/// From `begin` to before `end`; both are `npos` for a group that took no part.
struct regex_span {
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    std::size_t begin = npos, end = npos;
    bool operator==(const regex_span&) const = default;
};

template <class T>
class ORLO_API basic_regex_matches;

namespace IMPL {
class compiled_expression;
}

/// A regular expression.
///
/// ```cpp
/// const CRegEx expression("([0-9]+)-([0-9]+)");
/// std::vector<regex_span> groups;
/// const std::string_view text = "pages 10-25";
/// const bool found = expression.Search(text, 0, groups);         // groups[0] is 6 to 11, groups[1] 6 to 8
/// const stringEx turned = expression.Replace(text, "\\2-\\1");  // "pages 25-10"
/// for (const std::vector<regex_span>& match : expression.Matches("1-2, 3-4"))
///     static_cast<void>(match[found ? 1 : 0].begin);
/// ```
///
/// Immutable, shared by its copies, and usable from many threads at once. Its searches share at most 8 MB of
/// memory for what they learn about texts.
///
/// Failures: `regexExp` `unknown_flags` from whatever takes flags, `too_complex_match` from whatever matches
/// an expression with references, and `std::bad_alloc`.
template <class T>
class ORLO_API basic_regex {
public:
    using view_type = std::basic_string_view<T>;
    static constexpr std::size_t npos = regex_span::npos;

    /// Reads the expression. Throws `regexExp` `invalid_expression` and `too_complex_expression`, whose text
    /// says what is wrong at which position.
    explicit basic_regex(const basic_buffer<T>& expression, std::uint32_t flags = 0);
    explicit basic_regex(const T* expression, std::uint32_t flags = 0)
        : basic_regex(basic_buffer<T>(expression), flags) {}
    basic_regex(const basic_regex& other) noexcept : core_(other.core_), owners_(other.owners_) {
        owners_.share();
    }
    basic_regex(basic_regex&& other) noexcept : basic_regex(static_cast<const basic_regex&>(other)) {}
    basic_regex& operator=(basic_regex other) noexcept {
        std::swap(core_, other.core_);
        std::swap(owners_, other.owners_);
        return *this;
    }
    ~basic_regex();

    /// True if a match is anywhere in the text.
    [[nodiscard]] bool IsMatch(view_type text, std::uint32_t flags = 0) const;

    /// True if the expression matches the whole text. Sets `groups`, if given, as `Search` does.
    [[nodiscard]] bool FullMatch(view_type text, std::uint32_t flags = 0) const;
    bool FullMatch(view_type text, std::vector<regex_span>& groups, std::uint32_t flags = 0) const;

    /// Finds the first match that begins at or after `from`; constraints see the text before `from`, too.
    /// Sets `groups` to the whole match and the groups, `GroupCount() + 1` spans; leaves it alone if there is
    /// none.
    bool Search(view_type text, std::size_t from, std::vector<regex_span>& groups,
                std::uint32_t flags = 0) const;

    /// All matches from the left, each from the end of the one before (one further, if that was empty). The
    /// text must live as long as the range.
    [[nodiscard]] basic_regex_matches<T> Matches(view_type text, std::uint32_t flags = 0) const;

    /// The number of matches.
    [[nodiscard]] std::size_t Count(view_type text, std::uint32_t flags = 0) const;

    /// The number of groups that are reported.
    [[nodiscard]] std::size_t GroupCount() const noexcept;

    /// A copy of the text in which the first `most` matches are replaced. In `by`, "&" and "\0" stand for the
    /// match, "\1" to "\9" for a group (for nothing if it took no part), and a backslash before another
    /// character for that character.
    [[nodiscard]] basic_buffer<T> Replace(view_type text, view_type by, std::size_t most = npos,
                                          std::uint32_t flags = 0) const;

    /// An expression that matches just this text, for use within another one.
    [[nodiscard]] static basic_buffer<T> Escape(view_type text);

private:
    friend class basic_regex_matches<T>;

    const IMPL::compiled_expression* core_ = nullptr;
    shared_count owners_;
};

/// The matches of an expression in a text; see `basic_regex::Matches`. Threads: one at a time.
template <class T>
class ORLO_API basic_regex_matches {
public:
    /// Where the walk stands. All iterators of one range stand at the same match.
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = std::vector<regex_span>;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = const value_type&;

        reference operator*() const noexcept { return matches_->groups_; }
        pointer operator->() const noexcept { return &matches_->groups_; }
        iterator& operator++() {
            if (!matches_->_Advance()) matches_ = nullptr;
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(const iterator&) const = default;

    private:
        friend class basic_regex_matches;
        explicit iterator(basic_regex_matches* matches) : matches_(matches) {}
        basic_regex_matches* matches_;
    };

    basic_regex_matches(const basic_regex_matches&) = delete;
    basic_regex_matches& operator=(const basic_regex_matches&) = delete;
    ~basic_regex_matches();

    /// Goes to the first match. May be called once.
    iterator begin() { return iterator(_Advance() ? this : nullptr); }
    iterator end() { return iterator(nullptr); }

private:
    friend class basic_regex<T>;
    struct state;

    basic_regex_matches(const basic_regex<T>& expression, std::basic_string_view<T> text,
                        std::uint32_t flags);
    bool _Advance();

    state* state_;
    std::vector<regex_span> groups_;
};

extern template class basic_regex<char>;
extern template class basic_regex<wchar_t>;
extern template class basic_regex_matches<char>;
extern template class basic_regex_matches<wchar_t>;

using CRegEx = basic_regex<char>;
using CWRegEx = basic_regex<wchar_t>;

}  // namespace Orlo

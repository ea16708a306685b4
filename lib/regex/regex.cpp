// The public classes: they read flags, raise failures, and leave the work to `matcher`.

#include "orlo/regex/regex.h"

#include <memory>
#include <string>

#include "regex/matcher.h"
#include "regex/parser.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"

namespace Orlo {
namespace {

constexpr std::uint32_t EXPRESSION_FLAGS = 63;
constexpr std::uint32_t MATCH_FLAGS = regex_flag::not_bol | regex_flag::not_eol;

constexpr failure_layout INVALID{
    .head = "CRegEx::CRegEx - invalid regular expression\n",
    .keys = {"  expression = ", "  position   = ", "  error desc = "},
};
constexpr failure<regexExp> UNKNOWN_FLAGS{{
    .code = regex_code::unknown_flags,
    .head = "CRegEx::CRegEx - unknown flags",
}};
constexpr failure<regexExp> UNKNOWN_MATCH_FLAGS{{
    .code = regex_code::unknown_flags,
    .head = "CRegEx::Search - unknown flags",
}};
constexpr failure<regexExp> TOO_COMPLEX_MATCH{{
    .code = regex_code::too_complex_match,
    .head = "CRegEx::Search - match too complex\n",
    .keys = {"  steps = "},
}};

stringEx shown(const stringEx& text) {
    return text;
}
stringEx shown(const wstringEx& text) {
    return IMPL::NarrowName(text);
}

/// Does `work` with a matcher; its failures become those of the public class.
template <class T, class Work>
auto with_matcher(const IMPL::compiled_expression& core, std::basic_string_view<T> text, std::uint32_t flags,
                  const Work& work) {
    if ((flags & ~MATCH_FLAGS) != 0) UNKNOWN_MATCH_FLAGS.raise();
    try {
        IMPL::matcher<T> found(core, text, flags);
        return work(found);
    } catch (const IMPL::match_too_complex& e) {
        TOO_COMPLEX_MATCH.raise({e.steps});
    }
}

/// Where the search for the match after this one begins.
std::size_t after(const regex_span& match) {
    return match.end + (match.begin == match.end ? 1 : 0);
}

template <class T>
void append_replacement(basic_buffer<T>& target, std::basic_string_view<T> text, std::basic_string_view<T> by,
                        const std::vector<regex_span>& groups) {
    const auto append_group = [&](std::size_t group) {
        if (group < groups.size() && groups[group].begin != regex_span::npos)
            target.append(text.substr(groups[group].begin, groups[group].end - groups[group].begin));
    };
    for (std::size_t i = 0; i < by.size(); ++i) {
        if (by[i] == T('&')) {
            append_group(0);
        } else if (by[i] == T('\\') && i + 1 < by.size()) {
            const T c = by[++i];
            if (c >= T('0') && c <= T('9')) {
                append_group(static_cast<std::size_t>(c - T('0')));
            } else {
                target.append(c);
            }
        } else {
            target.append(by[i]);
        }
    }
}

}  // namespace

template <class T>
basic_regex<T>::basic_regex(const basic_buffer<T>& expression, std::uint32_t flags) {
    if ((flags & ~EXPRESSION_FLAGS) != 0) UNKNOWN_FLAGS.raise();
    std::u32string codes;
    codes.reserve(expression.size());
    for (const T c : expression)
        codes += static_cast<char32_t>(static_cast<std::make_unsigned_t<T>>(c));
    try {
        auto made = std::make_unique<IMPL::compiled_expression>(
            IMPL::parse_expression(codes, flags, std::is_same_v<T, wchar_t>));
        owners_ = shared_count::create();
        core_ = made.release();
    } catch (const IMPL::syntax_fault& fault) {
        throw regexExp(INVALID.text({shown(expression), std::uint64_t{fault.position}, fault.sentence}),
                       fault.code);
    }
}

template <class T>
basic_regex<T>::~basic_regex() {
    if (owners_.release()) delete core_;
}

template <class T>
bool basic_regex<T>::IsMatch(view_type text, std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [](auto& found) { return found.exists(); });
}

template <class T>
bool basic_regex<T>::FullMatch(view_type text, std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [](auto& found) { return found.whole(); });
}

template <class T>
bool basic_regex<T>::FullMatch(view_type text, std::vector<regex_span>& groups, std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [&](auto& found) {
        if (!found.whole()) return false;
        found.fill_groups({0, text.size()}, groups);
        return true;
    });
}

template <class T>
bool basic_regex<T>::Search(view_type text, std::size_t from, std::vector<regex_span>& groups,
                            std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [&](auto& found) {
        regex_span match;
        if (!found.find(from, match)) return false;
        found.fill_groups(match, groups);
        return true;
    });
}

template <class T>
basic_regex_matches<T> basic_regex<T>::Matches(view_type text, std::uint32_t flags) const {
    return {*this, text, flags};
}

template <class T>
std::size_t basic_regex<T>::Count(view_type text, std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [](auto& found) {
        std::size_t count = 0;
        regex_span match;
        for (std::size_t from = 0; found.find(from, match); from = after(match))
            ++count;
        return count;
    });
}

template <class T>
std::size_t basic_regex<T>::GroupCount() const noexcept {
    return core_->tree().reports_groups ? core_->tree().groups : 0;
}

template <class T>
basic_buffer<T> basic_regex<T>::Replace(view_type text, view_type by, std::size_t most,
                                        std::uint32_t flags) const {
    return with_matcher(*core_, text, flags, [&](auto& found) {
        basic_buffer<T> made;
        std::vector<regex_span> groups;
        std::size_t copied = 0;
        regex_span match;
        for (std::size_t from = 0; most != 0 && found.find(from, match); from = after(match), --most) {
            found.fill_groups(match, groups);
            made.append(text.substr(copied, match.begin - copied));
            append_replacement<T>(made, text, by, groups);
            copied = match.end;
        }
        made.append(text.substr(copied));
        return made;
    });
}

template <class T>
basic_buffer<T> basic_regex<T>::Escape(view_type text) {
    basic_buffer<T> made;
    for (const T c : text) {
        const auto code = static_cast<std::make_unsigned_t<T>>(c);
        const bool plain = code >= 128 || code == 0 || IMPL::is_of_type(code, IMPL::char_type::alnum, false);
        if (!plain) made.append(T('\\'));
        made.append(c);
    }
    return made;
}

// --- the range of matches

template <class T>
struct basic_regex_matches<T>::state {
    state(const basic_regex<T>& what, std::basic_string_view<T> text, std::uint32_t flags)
        : expression(what), found(*what.core_, text, flags) {}

    basic_regex<T> expression;  ///< keeps what `found` uses
    IMPL::matcher<T> found;
    std::size_t from = 0;
};

template <class T>
basic_regex_matches<T>::basic_regex_matches(const basic_regex<T>& expression, std::basic_string_view<T> text,
                                            std::uint32_t flags)
    : state_(nullptr) {
    if ((flags & ~MATCH_FLAGS) != 0) UNKNOWN_MATCH_FLAGS.raise();
    state_ = new state(expression, text, flags);
}

template <class T>
basic_regex_matches<T>::~basic_regex_matches() {
    delete state_;
}

template <class T>
bool basic_regex_matches<T>::_Advance() {
    regex_span match;
    try {
        if (!state_->found.find(state_->from, match)) return false;
    } catch (const IMPL::match_too_complex& e) {
        TOO_COMPLEX_MATCH.raise({e.steps});
    }
    state_->found.fill_groups(match, groups_);
    state_->from = after(match);
    return true;
}

template class basic_regex<char>;
template class basic_regex<wchar_t>;
template class basic_regex_matches<char>;
template class basic_regex_matches<wchar_t>;

}  // namespace Orlo

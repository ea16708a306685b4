#pragma once

#include <memory>

#include "regex/compiled.h"
#include "regex/reader.h"
#include "regex/references.h"
#include "regex/spans.h"
#include "regex/subject.h"

namespace Orlo::IMPL {

/// An expression at work on one text. Which engine does what is told in the source.
///
/// Threads: one at a time. Failures: `match_too_complex`, `std::bad_alloc`.
template <class T>
class matcher {
public:
    /// `flags` are those of a match. Both arguments must live as long.
    matcher(const compiled_expression& what, std::basic_string_view<T> text, std::uint32_t flags);
    ~matcher() { what_.give_back(std::move(automata_)); }
    matcher(const matcher&) = delete;
    matcher& operator=(const matcher&) = delete;

    /// True if there is a match at all.
    bool exists();
    /// The first match that begins at or after `from`.
    bool find(std::size_t from, regex_span& match);
    /// True if the whole text matches.
    bool whole();
    /// Sets the spans of a match that `find` or `whole` has just found.
    void fill_groups(const regex_span& match, std::vector<regex_span>& groups);

private:
    lazy_automaton& automaton(std::unique_ptr<lazy_automaton>& held, const program& what, match_mode mode);
    void find_looks();
    reading_end read_forward(std::size_t from, bool anchored, bool any, regex_span& match);
    bool find_end(std::size_t from, bool any, regex_span& match);
    bool find_end_plain(std::size_t from, bool any, regex_span& match);
    bool find_end_filtered(const byte_fingerprint& filter, std::size_t from, bool any, regex_span& match);
    std::size_t find_begin(std::size_t from, std::size_t end);
    bool find_with_references(std::size_t from, regex_span& match);
    bool match_references_from(std::size_t begin, regex_span& match);
    reference_matcher<T>& references();
    match_mode mode() const { return what_.prefers_shortest() ? match_mode::shortest : match_mode::longest; }

    const compiled_expression& what_;
    subject<T> subject_;
    std::unique_ptr<automata> automata_;
    std::unique_ptr<reference_matcher<T>> references_;
    std::unique_ptr<span_finder<T>> spans_;
    std::vector<regex_span> referred_groups_;  ///< of the last match with references
};

extern template class matcher<char>;
extern template class matcher<wchar_t>;

}  // namespace Orlo::IMPL

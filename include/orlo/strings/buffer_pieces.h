#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "orlo/export.h"

namespace Orlo {

template <class T>
class basic_buffer;

/// The part of `basic_buffer` that takes texts apart: replacing, splitting, head and tail.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// const stringEx path("/srv/data/a.csv");
/// const stringEx name = path.tail("/");         // "a.csv"
/// const stringEx folder = path.head_view("/", 2); // "/srv/data", valid as long as `path`
/// stringEx changed = path;
/// changed.replace_all("/", "::");
/// ```
template <class T>
class ORLO_API buffer_pieces {
    static constexpr std::size_t to_end = static_cast<std::size_t>(-1);

public:
    /// Replaces at most `max_count` occurrences of `from`, searched from `pos` on and after each inserted
    /// text. Returns how many. An empty `from` replaces nothing. Linear in the text.
    std::size_t replace_all(std::basic_string_view<T> from, std::basic_string_view<T> to, std::size_t pos = 0,
                            std::size_t max_count = to_end);

    /// An (offset, length) pair.
    using range = std::pair<std::size_t, std::size_t>;
    /// Fills `ranges` with the stretches between occurrences of `separator`, empty ones included: always one
    /// more than there are separators. When memory runs out, `ranges` holds some of them.
    void split_ranges(std::vector<range>& ranges, std::basic_string_view<T> separator) const;

    /// The text before occurrence number `n` + 1 of `separator` from the left; the whole text when `n` is
    /// negative or there are fewer.
    [[nodiscard]] basic_buffer<T> head(std::basic_string_view<T> separator, std::int64_t n = 0) const {
        return piece(head_range(separator, n));
    }
    /// The text after occurrence number `n` + 1 of `separator` from the right; the whole text as above.
    [[nodiscard]] basic_buffer<T> tail(std::basic_string_view<T> separator, std::int64_t n = 0) const {
        return piece(tail_range(separator, n));
    }
    /// The same as borrowed views, valid until this object is changed or destroyed.
    [[nodiscard]] basic_buffer<T> head_view(std::basic_string_view<T> separator,
                                            std::int64_t n = 0) const noexcept {
        return piece_view(head_range(separator, n));
    }
    [[nodiscard]] basic_buffer<T> tail_view(std::basic_string_view<T> separator,
                                            std::int64_t n = 0) const noexcept {
        return piece_view(tail_range(separator, n));
    }

    /// A copy of at most `count` elements from `pos` on; empty when `pos` is not before the end.
    [[nodiscard]] basic_buffer<T> substr(std::size_t pos, std::size_t count = to_end) const {
        return piece(cut_range(pos, count));
    }
    /// The same as a borrowed view.
    [[nodiscard]] basic_buffer<T> substr_view(std::size_t pos, std::size_t count = to_end) const noexcept {
        return piece_view(cut_range(pos, count));
    }

protected:
    /// The range of at most `count` elements from `pos` on, cut at the end.
    range cut_range(std::size_t pos, std::size_t count) const noexcept {
        const std::size_t size = self().size();
        if (pos >= size) return {size, 0};
        return {pos, count < size - pos ? count : size - pos};
    }

private:
    basic_buffer<T>& self() noexcept { return static_cast<basic_buffer<T>&>(*this); }
    const basic_buffer<T>& self() const noexcept { return static_cast<const basic_buffer<T>&>(*this); }

    range head_range(std::basic_string_view<T> separator, std::int64_t n) const noexcept;
    range tail_range(std::basic_string_view<T> separator, std::int64_t n) const noexcept;
    basic_buffer<T> piece(range r) const {
        return r.second == self().size() ? self() : basic_buffer<T>(self().data() + r.first, r.second);
    }
    basic_buffer<T> piece_view(range r) const noexcept {
        return basic_buffer<T>::borrow({self().data() + r.first, r.second});
    }
};

/// The part of `stringEx` and `wstringEx` that knows letters and blanks: wildcards, trimming, case.
///
/// ```cpp
/// #include "orlo/strings/buffer.h"
/// stringEx name(" Report.CSV ");
/// name.trim();
/// if (name.wildcard_match("*.csv", 0, '?', '*', true)) name.to_lower(); // "report.csv"
/// ```
template <class T>
class ORLO_API buffer_letters {
public:
    /// True if the text from `pos` on matches `mask`, in which `any_one` stands for one character and
    /// `any_run` for any run. `no_case` folds ASCII letters. Nothing matches when `pos` is not before the
    /// text's end. A mask that ends in other than a run must end with the text at the first place where its
    /// last stretch fits: "*.csv" does not match "a.csv.csv".
    [[nodiscard]] bool wildcard_match(std::basic_string_view<T> mask, std::size_t pos = 0, T any_one = T('?'),
                                      T any_run = T('*'), bool no_case = false) const noexcept;

    /// Removes blank characters (see `is_blank_char`) from both ends, the left or the right one.
    void trim();
    void trim_left();
    void trim_right();
    /// Changes ASCII letters to lower or upper case.
    void to_lower();
    void to_upper();

private:
    basic_buffer<T>& self() noexcept { return static_cast<basic_buffer<T>&>(*this); }
    const basic_buffer<T>& self() const noexcept { return static_cast<const basic_buffer<T>&>(*this); }
};

}  // namespace Orlo

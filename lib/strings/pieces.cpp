// Replacing, splitting, head and tail, trimming and case.

#include "orlo/strings/buffer.h"

namespace Orlo {

/// Builds the result beside the text, so that the cost is linear and `from` and `to` may lie inside it.
template <class T>
std::size_t buffer_pieces<T>::replace_all(std::basic_string_view<T> from, std::basic_string_view<T> to,
                                          std::size_t pos, std::size_t max_count) {
    if (from.empty()) return 0;

    const std::basic_string_view<T> text = self().view();
    basic_buffer<T> built;
    std::size_t copied = 0;
    std::size_t replaced = 0;
    while (replaced < max_count) {
        const std::size_t hit = text.find(from, pos);
        if (hit == text.npos) break;
        built.append(text.substr(copied, hit - copied)).append(to);
        copied = pos = hit + from.size();
        ++replaced;
    }
    if (replaced == 0) return 0;
    built.append(text.substr(copied));
    self() = std::move(built);
    return replaced;
}

template <class T>
void buffer_pieces<T>::split_ranges(std::vector<range>& ranges, std::basic_string_view<T> separator) const {
    const std::basic_string_view<T> text = self().view();
    ranges.clear();
    std::size_t from = 0;
    while (!separator.empty()) {
        const std::size_t hit = text.find(separator, from);
        if (hit == text.npos) break;
        ranges.emplace_back(from, hit - from);
        from = hit + separator.size();
    }
    ranges.emplace_back(from, text.size() - from);
}

template <class T>
typename buffer_pieces<T>::range buffer_pieces<T>::head_range(std::basic_string_view<T> separator,
                                                              std::int64_t n) const noexcept {
    const std::basic_string_view<T> text = self().view();
    std::size_t from = 0;
    while (n >= 0 && !separator.empty()) {
        const std::size_t hit = text.find(separator, from);
        if (hit == text.npos) break;
        if (n-- == 0) return {0, hit};
        from = hit + separator.size();
    }
    return {0, text.size()};
}

template <class T>
typename buffer_pieces<T>::range buffer_pieces<T>::tail_range(std::basic_string_view<T> separator,
                                                              std::int64_t n) const noexcept {
    const std::basic_string_view<T> text = self().view();
    std::basic_string_view<T> left = text;
    while (n >= 0 && !separator.empty()) {
        const std::size_t hit = left.rfind(separator);
        if (hit == text.npos) break;
        const std::size_t after = hit + separator.size();
        if (n-- == 0) return {after, text.size() - after};
        left = left.substr(0, hit);
    }
    return {0, text.size()};
}

template class buffer_pieces<char>;
template class buffer_pieces<wchar_t>;
template class buffer_pieces<unsigned char>;

template <class T>
void buffer_letters<T>::trim() {
    trim_right();
    trim_left();
}

template <class T>
void buffer_letters<T>::trim_left() {
    const std::basic_string_view<T> text = self().view();
    std::size_t blanks = 0;
    while (blanks < text.size() && basic_buffer<T>::is_blank_char(text[blanks]))
        ++blanks;
    if (blanks != 0) self().assign(text.substr(blanks));
}

template <class T>
void buffer_letters<T>::trim_right() {
    const std::basic_string_view<T> text = self().view();
    std::size_t kept = text.size();
    while (kept != 0 && basic_buffer<T>::is_blank_char(text[kept - 1]))
        --kept;
    if (kept != text.size()) self().assign(text.substr(0, kept));
}

namespace {

/// Moves the letters from `first` to `first` + 25 by `step`, touching nothing when there are none.
template <class T>
void shift_letters(basic_buffer<T>& text, T first, int step) {
    const auto is_hit = [first](T c) { return c >= first && c < first + 26; };
    if (std::none_of(text.begin(), text.end(), is_hit)) return;
    text.reserve_for_write(text.size() + 1);
    T* const data = text.mutable_data();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (is_hit(data[i])) data[i] = static_cast<T>(data[i] + step);
    }
}

}  // namespace

template <class T>
void buffer_letters<T>::to_lower() {
    shift_letters(self(), T('A'), 'a' - 'A');
}

template <class T>
void buffer_letters<T>::to_upper() {
    shift_letters(self(), T('a'), 'A' - 'a');
}

#define ORLO_LETTERS(T)                            \
    template void buffer_letters<T>::trim();       \
    template void buffer_letters<T>::trim_left();  \
    template void buffer_letters<T>::trim_right(); \
    template void buffer_letters<T>::to_lower();   \
    template void buffer_letters<T>::to_upper();
ORLO_LETTERS(char)
ORLO_LETTERS(wchar_t)
#undef ORLO_LETTERS

}  // namespace Orlo

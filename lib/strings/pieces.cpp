// Replacing, splitting, head and tail, trimming and case.

#include "orlo/strings/buffer.h"

namespace Orlo {

/// Builds the result beside the text, so that the cost is linear and `from` and `to` may lie inside it.
template <class T>
std::size_t basic_buffer<T>::replace_all(view_type from, view_type to, std::size_t pos,
                                         std::size_t max_count) {
    if (from.empty()) return 0;

    basic_buffer built;
    std::size_t copied = 0;
    std::size_t replaced = 0;
    while (replaced < max_count) {
        const std::size_t hit = find(from, pos);
        if (hit == npos) break;
        built.append(data_ + copied, hit - copied).append(to);
        copied = pos = hit + from.size();
        ++replaced;
    }
    if (replaced == 0) return 0;
    built.append(data_ + copied, size_ - copied);
    *this = std::move(built);
    return replaced;
}

template <class T>
void basic_buffer<T>::split_ranges(std::vector<range>& ranges, view_type separator) const {
    ranges.clear();
    std::size_t from = 0;
    while (!separator.empty()) {
        const std::size_t hit = find(separator, from);
        if (hit == npos) break;
        ranges.emplace_back(from, hit - from);
        from = hit + separator.size();
    }
    ranges.emplace_back(from, size_ - from);
}

template <class T>
typename basic_buffer<T>::range basic_buffer<T>::head_range(view_type separator,
                                                            std::int64_t n) const noexcept {
    std::size_t from = 0;
    while (n >= 0 && !separator.empty()) {
        const std::size_t hit = find(separator, from);
        if (hit == npos) break;
        if (n-- == 0) return {0, hit};
        from = hit + separator.size();
    }
    return {0, size_};
}

template <class T>
typename basic_buffer<T>::range basic_buffer<T>::tail_range(view_type separator,
                                                            std::int64_t n) const noexcept {
    view_type left = view();
    while (n >= 0 && !separator.empty()) {
        const std::size_t hit = left.rfind(separator);
        if (hit == npos) break;
        const std::size_t behind = hit + separator.size();
        if (n-- == 0) return {behind, size_ - behind};
        left = left.substr(0, hit);
    }
    return {0, size_};
}

template <class T>
void basic_buffer<T>::trim() requires text_unit<T> {
    trim_right();
    trim_left();
}

template <class T>
void basic_buffer<T>::trim_left() requires text_unit<T> {
    std::size_t blanks = 0;
    while (blanks < size_ && is_blank_char(data_[blanks]))
        ++blanks;
    if (blanks != 0) assign(view().substr(blanks));
}

template <class T>
void basic_buffer<T>::trim_right() requires text_unit<T> {
    std::size_t kept = size_;
    while (kept != 0 && is_blank_char(data_[kept - 1]))
        --kept;
    if (kept != size_) assign(view().substr(0, kept));
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
void basic_buffer<T>::to_lower() requires text_unit<T> {
    shift_letters(*this, T('A'), 'a' - 'A');
}

template <class T>
void basic_buffer<T>::to_upper() requires text_unit<T> {
    shift_letters(*this, T('a'), 'A' - 'a');
}

#define ORLO_PIECES(T)                                                                                   \
    template std::size_t basic_buffer<T>::replace_all(view_type, view_type, std::size_t, std::size_t);   \
    template void basic_buffer<T>::split_ranges(std::vector<range>&, view_type) const;                   \
    template basic_buffer<T>::range basic_buffer<T>::head_range(view_type, std::int64_t) const noexcept; \
    template basic_buffer<T>::range basic_buffer<T>::tail_range(view_type, std::int64_t) const noexcept;
#define ORLO_TEXT_PIECES(T)                      \
    template void basic_buffer<T>::trim();       \
    template void basic_buffer<T>::trim_left();  \
    template void basic_buffer<T>::trim_right(); \
    template void basic_buffer<T>::to_lower();   \
    template void basic_buffer<T>::to_upper();
ORLO_PIECES(char)
ORLO_PIECES(wchar_t)
ORLO_PIECES(unsigned char)
ORLO_TEXT_PIECES(char)
ORLO_TEXT_PIECES(wchar_t)
#undef ORLO_PIECES
#undef ORLO_TEXT_PIECES

}  // namespace Orlo

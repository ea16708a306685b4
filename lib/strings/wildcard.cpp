// The wildcard matcher.
//
// It walks text and mask together and keeps one place to come back to: the mask after the last run
// wildcard, and the text where that run's end was last tried. "a*c" on "abbc": the run is tried empty, then
// "b", then "bb", which lets "c" fit.
//
// When the mask ends with text left over there is no coming back, unless the mask ended right after a run:
// "*.csv" finds ".csv" in "a.csv.csv" at its first place, ends there and rejects. Costs at most
// text times mask; never allocates.

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

template <class T>
constexpr T fold(T c) noexcept {
    return c >= T('A') && c <= T('Z') ? static_cast<T>(c - T('A') + T('a')) : c;
}

}  // namespace

template <class T>
bool buffer_letters<T>::wildcard_match(std::basic_string_view<T> mask, std::size_t pos, T any_one, T any_run,
                                       bool no_case) const noexcept {
    const std::basic_string_view<T> text = self().view();
    if (pos >= text.size() || mask.empty()) return false;

    std::size_t t = pos;
    std::size_t m = 0;
    std::size_t star = mask.npos;
    std::size_t backup = 0;
    for (;;) {
        if (m < mask.size() && mask[m] == any_run) {
            star = ++m;
            backup = t;
            continue;
        }
        if (t == text.size()) return m == mask.size();
        if (m == mask.size()) return m == star;
        const bool same = no_case ? fold(mask[m]) == fold(text[t]) : mask[m] == text[t];
        if (same || mask[m] == any_one) {
            ++t;
            ++m;
        } else if (star == mask.npos) {
            return false;
        } else {
            m = star;
            t = ++backup;
        }
    }
}

template bool buffer_letters<char>::wildcard_match(std::string_view, std::size_t, char, char,
                                                   bool) const noexcept;
template bool buffer_letters<wchar_t>::wildcard_match(std::wstring_view, std::size_t, wchar_t, wchar_t,
                                                      bool) const noexcept;

}  // namespace Orlo

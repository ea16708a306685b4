// The wildcard matcher.
//
// It walks text and mask together and keeps one place to come back to: the mask behind the last run
// wildcard, and the text where that run's end was last tried. "a*c" on "abbc": the run is tried empty, then
// "b", then "bb", which lets "c" fit.
//
// When the mask ends with text left over there is no coming back, unless the mask ended right behind a run:
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
bool basic_buffer<T>::wildcard_match(view_type mask, std::size_t pos, T any_one, T any_run,
                                     bool no_case) const noexcept requires text_unit<T> {
    if (pos >= size_ || mask.empty()) return false;

    std::size_t t = pos;
    std::size_t m = 0;
    std::size_t star = npos;
    std::size_t backup = 0;
    for (;;) {
        if (m < mask.size() && mask[m] == any_run) {
            star = ++m;
            backup = t;
            continue;
        }
        if (t == size_) return m == mask.size();
        if (m == mask.size()) return m == star;
        const bool same = no_case ? fold(mask[m]) == fold(data_[t]) : mask[m] == data_[t];
        if (same || mask[m] == any_one) {
            ++t;
            ++m;
        } else if (star == npos) {
            return false;
        } else {
            m = star;
            t = ++backup;
        }
    }
}

template bool basic_buffer<char>::wildcard_match(std::string_view, std::size_t, char, char,
                                                 bool) const noexcept;
template bool basic_buffer<wchar_t>::wildcard_match(std::wstring_view, std::size_t, wchar_t, wchar_t,
                                                    bool) const noexcept;

}  // namespace Orlo

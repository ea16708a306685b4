// Text to numbers.
//
// One scan for both signs and both character widths: skip blanks, take one sign, find the radix, then take
// digits up to the first character that is none. "12abc" is 12, "-" is 0, "  +7" is 7. What does not fit
// saturates: by sign for the signed parser; for the unsigned one a minus sign negates within 64 bits, and the
// largest value is all ones.

#include "strings/number_parse.h"

#include <cerrno>
#include <limits>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace IMPL {
namespace {

constexpr std::uint64_t MOST_NEGATIVE = std::uint64_t{1} << 63;

/// Consumes a radix prefix at `pos` and tells the radix: 0b 0x 0, b and x without the zero, else 10.
template <class T>
std::uint32_t detect_radix(std::basic_string_view<T> text, std::size_t& pos) noexcept {
    const bool zero = text[pos] == T('0');
    const std::size_t letter = pos + (zero ? 1 : 0);
    const T c = letter < text.size() ? text[letter] : T{};
    if (c == T('b') || c == T('B')) {
        pos = letter + 1;
        return 2;
    }
    if (c == T('x') || c == T('X')) {
        pos = letter + 1;
        return 16;
    }
    pos = letter;
    return zero ? 8 : 10;
}

template <class T>
void scan_digits(std::basic_string_view<T> text, std::uint32_t radix, scanned_number& found) noexcept {
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    for (; found.stop < text.size(); ++found.stop) {
        const std::uint32_t digit = digit_value(text[found.stop]);
        if (digit >= radix) return;
        if (found.magnitude > (MOST - digit) / radix) {
            found.overflow = true;
            return;
        }
        found.magnitude = found.magnitude * radix + digit;
    }
}

}  // namespace

template <class T>
scanned_number scan_number(std::basic_string_view<T> text, std::uint32_t radix) noexcept {
    scanned_number found;
    std::size_t& pos = found.stop;
    while (pos < text.size() && basic_buffer<T>::is_blank_char(text[pos]))
        ++pos;
    if (pos < text.size() && (text[pos] == T('-') || text[pos] == T('+'))) {
        found.minus = text[pos] == T('-');
        ++pos;
    }
    if (pos == text.size()) return found;

    if (radix == basic_buffer<T>::radix_detect) radix = detect_radix(text, pos);
    if (radix >= 2 && radix <= 36) scan_digits(text, radix, found);
    return found;
}

std::int64_t to_signed(const scanned_number& scanned) noexcept {
    const std::uint64_t limit = scanned.minus ? MOST_NEGATIVE : MOST_NEGATIVE - 1;
    if (scanned.overflow || scanned.magnitude > limit) {
        errno = ERANGE;
        return static_cast<std::int64_t>(limit);
    }
    return static_cast<std::int64_t>(scanned.minus ? 0 - scanned.magnitude : scanned.magnitude);
}

std::uint64_t to_unsigned(const scanned_number& scanned) noexcept {
    if (scanned.overflow || (scanned.minus && scanned.magnitude > MOST_NEGATIVE)) {
        errno = ERANGE;
        return scanned.minus ? MOST_NEGATIVE : std::numeric_limits<std::uint64_t>::max();
    }
    return scanned.minus ? 0 - scanned.magnitude : scanned.magnitude;
}

/// Scans a stretch of a text and tells where in the text the scan ended.
template <class T>
scanned_number scan_piece(const basic_buffer<T>& text, std::size_t pos, std::size_t count,
                          std::uint32_t radix, std::size_t* end_pos) noexcept {
    const std::size_t from = std::min(pos, text.size());
    const scanned_number found = scan_number(text.view().substr(from, count), radix);
    if (end_pos != nullptr) *end_pos = from + found.stop;
    return found;
}

template scanned_number scan_number(std::basic_string_view<char>, std::uint32_t) noexcept;
template scanned_number scan_number(std::basic_string_view<wchar_t>, std::uint32_t) noexcept;

}  // namespace IMPL

template <class T>
std::int64_t buffer_numbers<T>::to_int64(std::size_t pos, std::size_t count, std::uint32_t radix,
                                         std::size_t* end_pos) const noexcept {
    return IMPL::to_signed(IMPL::scan_piece(self(), pos, count, radix, end_pos));
}

template <class T>
std::uint64_t buffer_numbers<T>::to_uint64(std::size_t pos, std::size_t count, std::uint32_t radix,
                                           std::size_t* end_pos) const noexcept {
    return IMPL::to_unsigned(IMPL::scan_piece(self(), pos, count, radix, end_pos));
}

#define ORLO_NUMBER_PARSE(T)                                                                                 \
    template std::int64_t buffer_numbers<T>::to_int64(std::size_t, std::size_t, std::uint32_t, std::size_t*) \
        const noexcept;                                                                                      \
    template std::uint64_t buffer_numbers<T>::to_uint64(std::size_t, std::size_t, std::uint32_t,             \
                                                        std::size_t*) const noexcept;
ORLO_NUMBER_PARSE(char)
ORLO_NUMBER_PARSE(wchar_t)
#undef ORLO_NUMBER_PARSE

}  // namespace Orlo

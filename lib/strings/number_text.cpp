// Numbers to text, in any radix from 2 to 36, upper-case digits.
//
// Digits are made lowest first into a scratch of 64 characters from its end; radix 10 makes them two at a
// time. The magnitude is unsigned, so that the most negative value needs no case of its own.

#include <array>
#include <cstdint>

#include "orlo/strings/buffer.h"

namespace Orlo {
namespace {

constexpr std::size_t MOST_DIGITS = 64;

constexpr auto DIGIT_PAIRS = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// Writes the digits of `value` so that they end at `end`; returns where they begin.
template <class T>
T* write_digits(T* end, std::uint64_t value, std::uint32_t radix) {
    if (radix == 10) {
        while (value >= 100) {
            const std::size_t pair = 2 * static_cast<std::size_t>(value % 100);
            value /= 100;
            *--end = static_cast<T>(DIGIT_PAIRS[pair + 1]);
            *--end = static_cast<T>(DIGIT_PAIRS[pair]);
        }
    }
    do {
        const auto digit = static_cast<char>(value % radix);
        *--end = static_cast<T>(digit < 10 ? '0' + digit : 'A' + digit - 10);
        value /= radix;
    } while (value != 0);
    return end;
}

template <class T>
void append_magnitude(basic_buffer<T>& text, std::uint64_t magnitude, std::uint32_t radix, bool minus) {
    T scratch[MOST_DIGITS + 1];
    T* const end = scratch + MOST_DIGITS + 1;
    const bool valid = radix >= 2 && radix <= 36;
    T* begin = valid ? write_digits(end, magnitude, radix) : write_digits(end, 0, 10);
    if (minus && radix == 10) *--begin = T('-');
    text.append(begin, static_cast<std::size_t>(end - begin));
}

}  // namespace

template <class T>
basic_buffer<T>& basic_buffer<T>::append_number(std::int64_t value,
                                                std::uint32_t radix) requires text_unit<T> {
    const auto bits = static_cast<std::uint64_t>(value);
    append_magnitude(*this, value < 0 ? 0 - bits : bits, radix, value < 0);
    return *this;
}

template <class T>
basic_buffer<T>& basic_buffer<T>::append_number(std::uint64_t value,
                                                std::uint32_t radix) requires text_unit<T> {
    append_magnitude(*this, value, radix, false);
    return *this;
}

template <class T>
basic_buffer<T>& basic_buffer<T>::assign_number(std::int64_t value,
                                                std::uint32_t radix) requires text_unit<T> {
    clear();
    return append_number(value, radix);
}

template <class T>
basic_buffer<T>& basic_buffer<T>::assign_number(std::uint64_t value,
                                                std::uint32_t radix) requires text_unit<T> {
    clear();
    return append_number(value, radix);
}

#define ORLO_NUMBER_TEXT(T)                                                                 \
    template basic_buffer<T>& basic_buffer<T>::append_number(std::int64_t, std::uint32_t);  \
    template basic_buffer<T>& basic_buffer<T>::append_number(std::uint64_t, std::uint32_t); \
    template basic_buffer<T>& basic_buffer<T>::assign_number(std::int64_t, std::uint32_t);  \
    template basic_buffer<T>& basic_buffer<T>::assign_number(std::uint64_t, std::uint32_t);
ORLO_NUMBER_TEXT(char)
ORLO_NUMBER_TEXT(wchar_t)
#undef ORLO_NUMBER_TEXT

}  // namespace Orlo

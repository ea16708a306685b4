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

/// The text of a number.
template <class T>
class number_text {
public:
    number_text(std::int64_t value, std::uint32_t radix)
        : number_text(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value),
                      radix) {
        if (value < 0 && radix == 10) *--begin_ = T('-');
    }
    number_text(std::uint64_t value, std::uint32_t radix) {
        const bool valid = radix >= 2 && radix <= 36;
        begin_ = valid ? write_digits(end(), value, radix) : write_digits(end(), 0, 10);
    }
    number_text(const number_text&) = delete;
    number_text& operator=(const number_text&) = delete;

    std::basic_string_view<T> view() { return {begin_, static_cast<std::size_t>(end() - begin_)}; }

private:
    T* end() { return scratch_ + MOST_DIGITS + 1; }

    T scratch_[MOST_DIGITS + 1];
    T* begin_;
};

}  // namespace

template <class T>
basic_buffer<T>& buffer_numbers<T>::append_number(std::int64_t value, std::uint32_t radix) {
    return self().append(number_text<T>(value, radix).view());
}

template <class T>
basic_buffer<T>& buffer_numbers<T>::append_number(std::uint64_t value, std::uint32_t radix) {
    return self().append(number_text<T>(value, radix).view());
}

template <class T>
basic_buffer<T>& buffer_numbers<T>::assign_number(std::int64_t value, std::uint32_t radix) {
    return self().replace_content(number_text<T>(value, radix).view());
}

template <class T>
basic_buffer<T>& buffer_numbers<T>::assign_number(std::uint64_t value, std::uint32_t radix) {
    return self().replace_content(number_text<T>(value, radix).view());
}

#define ORLO_NUMBER_TEXT(T)                                                                   \
    template basic_buffer<T>& buffer_numbers<T>::append_number(std::int64_t, std::uint32_t);  \
    template basic_buffer<T>& buffer_numbers<T>::append_number(std::uint64_t, std::uint32_t); \
    template basic_buffer<T>& buffer_numbers<T>::assign_number(std::int64_t, std::uint32_t);  \
    template basic_buffer<T>& buffer_numbers<T>::assign_number(std::uint64_t, std::uint32_t);
ORLO_NUMBER_TEXT(char)
ORLO_NUMBER_TEXT(wchar_t)
#undef ORLO_NUMBER_TEXT

}  // namespace Orlo

// Numbers to text, in any radix from 2 to 36, upper-case digits.
//
// Digits are made lowest first, from the end of a scratch of 64 characters; decimal ones by their own writer.

#include <cstdint>

#include "orlo/strings/buffer.h"
#include "strings/decimal.h"

namespace Orlo {
namespace {

constexpr std::size_t MOST_DIGITS = 64;
static_assert(IMPL::LONGEST_NUMBER <= MOST_DIGITS);

/// Writes the digits of `value` so that they end at `end`. Returns where they begin.
template <class T>
T* put_digits(T* end, std::uint64_t value, std::uint32_t radix) noexcept {
    do {
        const std::uint64_t digit = value % radix;
        *--end = static_cast<T>(digit < 10 ? '0' + digit : 'A' + digit - 10);
        value /= radix;
    } while (value != 0);
    return end;
}

/// The text of a number.
template <class T>
class number_text {
public:
    template <class Number>
    number_text(Number value, std::uint32_t radix) noexcept {
        T* const end = scratch_ + MOST_DIGITS;
        if (radix == 10) {
            begin_ = IMPL::put_before(end, value);
        } else if (radix >= 2 && radix <= 36) {
            const auto bits = static_cast<std::uint64_t>(value);
            begin_ = put_digits(end, value < 0 ? 0 - bits : bits, radix);
        } else {
            begin_ = IMPL::put_before(end, std::uint64_t{0});
        }
    }
    number_text(const number_text&) = delete;
    number_text& operator=(const number_text&) = delete;

    std::basic_string_view<T> view() const noexcept {
        return {begin_, static_cast<std::size_t>(scratch_ + MOST_DIGITS - begin_)};
    }

private:
    T scratch_[MOST_DIGITS];
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

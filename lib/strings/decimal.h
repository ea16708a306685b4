#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// Numbers in decimal: the one place that writes them, two digits at a time, without a terminator.
namespace Orlo::IMPL {

/// The most characters of a 64-bit number.
inline constexpr std::size_t LONGEST_NUMBER = 20;

/// Indexed by the exponent.
inline constexpr auto POWERS_OF_10 = [] {
    std::array<std::uint64_t, LONGEST_NUMBER> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// "00" to "99".
inline constexpr auto DIGIT_PAIRS = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    return pairs;
}();

/// Writes the digits of `value` so that they end at `end`. Returns where they begin.
template <class T>
T* put_before(T* end, std::uint64_t value) noexcept {
    const auto put_pair = [&end](std::uint64_t below_100) {
        *--end = static_cast<T>(DIGIT_PAIRS[below_100 * 2 + 1]);
        *--end = static_cast<T>(DIGIT_PAIRS[below_100 * 2]);
    };
    for (; value >= 100; value /= 100)
        put_pair(value % 100);
    if (value >= 10) {
        put_pair(value);
    } else {
        *--end = static_cast<T>('0' + value);
    }
    return end;
}

/// The same for a negative or positive number.
template <class T>
T* put_before(T* end, std::int64_t value) noexcept {
    const auto bits = static_cast<std::uint64_t>(value);
    if (value >= 0) return put_before(end, bits);
    T* const begin = put_before(end, 0 - bits);
    begin[-1] = T('-');
    return begin - 1;
}

/// How many digits a number has.
inline std::uint32_t digits_of(std::uint64_t value) noexcept {
    // 1233 / 4096 is just above the logarithm of 2: the guess is right or one too small
    const std::uint32_t guess = static_cast<std::uint32_t>(std::bit_width(value | 1)) * 1233 >> 12;
    return guess + (guess < POWERS_OF_10.size() && value >= POWERS_OF_10[guess] ? 1 : 0);
}

/// Writes at `to`, with zeros in front up to `width` digits. Returns the place after the last digit.
template <class T>
T* put_natural(T* to, std::uint64_t value, std::uint32_t width = 1) noexcept {
    const std::uint32_t digits = digits_of(value);
    T* const end = to + (digits < width ? width : digits);
    for (T* first = put_before(end, value); first != to;)
        *--first = T('0');
    return end;
}

/// The same with a minus sign where it belongs, which counts to the width.
template <class T>
T* put_number(T* to, std::int64_t value, std::uint32_t width = 1) noexcept {
    const auto bits = static_cast<std::uint64_t>(value);
    if (value >= 0) return put_natural(to, bits, width);
    *to = T('-');
    return put_natural(to + 1, 0 - bits, width - 1);
}

}  // namespace Orlo::IMPL

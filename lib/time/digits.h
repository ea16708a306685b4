#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>

/// Numbers of times as text. All write at `to` and return the place after what they wrote.
namespace Orlo::IMPL {

/// The most that one of these writes.
inline constexpr std::size_t LONGEST_NUMBER = 20;

/// Indexed by the exponent.
inline constexpr std::uint64_t POWERS_OF_10[] = {1,      10,      100,      1000,      10000,
                                                 100000, 1000000, 10000000, 100000000, 1000000000};

/// "00" to "99".
inline constexpr std::array<char, 200> DIGIT_PAIRS = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 200; ++i)
        pairs[static_cast<std::size_t>(i)] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    return pairs;
}();

template <class T>
void write_pair(T* to, std::size_t below_100) noexcept {
    to[0] = static_cast<T>(DIGIT_PAIRS[below_100 * 2]);
    to[1] = static_cast<T>(DIGIT_PAIRS[below_100 * 2 + 1]);
}

/// In decimal, with zeros in front up to `width` digits (at most 9).
template <class T>
T* put_natural(T* to, std::uint64_t value, std::uint32_t width = 1) noexcept {
    assert(width < std::size(POWERS_OF_10));
    if (width == 2 && value < 100) {
        write_pair(to, value);
        return to + 2;
    }
    if (value > 0xFFFFFFFF) {
        to = put_natural(to, value / POWERS_OF_10[9]);
        return put_natural(to, value % POWERS_OF_10[9], 9);
    }
    auto rest = static_cast<std::uint32_t>(value);
    std::uint32_t digits = width;
    for (std::uint64_t limit = POWERS_OF_10[width]; rest >= limit; limit *= 10)
        ++digits;
    T* const end = to + digits;
    T* place = end;
    for (; place - to >= 2; rest /= 100)
        write_pair(place -= 2, rest % 100);
    if (place != to) *to = static_cast<T>('0' + rest);
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

/// A zone as its sign, two digits of hours, or three, and two of minutes: "-0530".
template <class T>
T* put_zone(T* to, std::int32_t minutes) noexcept {
    const auto distance = static_cast<std::uint32_t>(minutes < 0 ? -minutes : minutes);
    *to = minutes < 0 ? T('-') : T('+');
    return put_natural(put_natural(to + 1, distance / 60, 2), distance % 60, 2);
}

}  // namespace Orlo::IMPL

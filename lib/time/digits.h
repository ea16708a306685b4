#pragma once

#include <cstdint>
#include <string_view>

namespace Orlo::IMPL {

/// Numbers of times as text, without an allocation. A view that it hands out is valid until the next call.
template <class T>
class time_digits {
public:
    using view = std::basic_string_view<T>;

    /// The number in decimal, filled up with zeros in front to `width` characters, a minus sign included.
    view number(std::int64_t value, std::uint32_t width = 1) noexcept {
        const bool minus = value < 0;
        const auto bits = static_cast<std::uint64_t>(value);
        return decimal(minus ? 0 - bits : bits, width, minus);
    }
    view natural(std::uint64_t value, std::uint32_t width = 1) noexcept {
        return decimal(value, width, false);
    }

    /// A zone as its sign, two digits of hours and two of minutes: "-0530".
    view zone(std::int32_t minutes) noexcept {
        const auto distance = static_cast<std::uint32_t>(minutes < 0 ? -minutes : minutes);
        begin_ = end();
        put(distance % 60, 2);
        put(distance / 60, 2);
        *--begin_ = minutes < 0 ? T('-') : T('+');
        return made();
    }

private:
    T* end() noexcept { return room_ + sizeof room_ / sizeof *room_; }
    view made() noexcept { return view(begin_, static_cast<std::size_t>(end() - begin_)); }

    /// Writes in front of what is there.
    void put(std::uint64_t value, std::uint32_t width) noexcept {
        const T* const full = begin_ - width;
        do {
            *--begin_ = static_cast<T>(T('0') + static_cast<T>(value % 10));
            value /= 10;
        } while (value != 0);
        while (begin_ > full)
            *--begin_ = T('0');
    }

    view decimal(std::uint64_t value, std::uint32_t width, bool minus) noexcept {
        begin_ = end();
        put(value, width - (minus ? 1 : 0));
        if (minus) *--begin_ = T('-');
        return made();
    }

    T room_[24];
    T* begin_ = nullptr;
};

}  // namespace Orlo::IMPL

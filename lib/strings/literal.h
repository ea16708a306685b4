#pragma once

#include <string_view>
#include <type_traits>

namespace Orlo::IMPL {

template <class T>
constexpr std::basic_string_view<T> choose_literal(std::string_view narrow, std::wstring_view wide) noexcept {
    if constexpr (std::is_same_v<T, char>) {
        return narrow;
    } else {
        return wide;
    }
}

}  // namespace Orlo::IMPL

/// A literal as a view of the character type `T`, for templates over narrow and wide text.
#define ORLO_LITERAL(T, literal) ::Orlo::IMPL::choose_literal<T>(literal, L##literal)

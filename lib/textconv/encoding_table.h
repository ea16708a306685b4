#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace Orlo::IMPL {

/// A row of the encoding table, with what the two libraries call it where they do not know it by `name`.
struct encoding_row {
    std::string_view name;
    std::uint32_t code_page;
    std::string_view description;
    bool right_to_left = false;
    std::string_view iconv_name{};
    std::string_view icu_name{};

    std::string_view known_to_iconv() const noexcept { return iconv_name.empty() ? name : iconv_name; }
    std::string_view known_to_icu() const noexcept { return icu_name.empty() ? name : icu_name; }
};

std::span<const encoding_row> encoding_rows() noexcept;

/// The first row of the name, compared without case, and if there is none also without "-" and "_"; null for
/// an unknown name.
const encoding_row* find_encoding(std::string_view name) noexcept;
/// The first row of the code page, null for none.
const encoding_row* find_code_page(std::uint32_t code_page) noexcept;

/// True if two names are alike but for case, "-" and "_".
bool same_name(std::string_view a, std::string_view b) noexcept;
/// True if two names mean one encoding: they are the same, or iconv knows them as one.
bool same_encoding(std::string_view a, std::string_view b) noexcept;

}  // namespace Orlo::IMPL

#pragma once

#include <cstdint>
#include <string_view>

namespace Orlo::IMPL {

/// What the environment forbids to use, as bits.
enum ignored_back_end : std::uint32_t {
    ignore_msw = 1,  // nothing on this system
    ignore_iconv = 2,
    ignore_icu = 4,
    ignore_isoc = 8,
};

/// The bits of `ORLO_TEXTCONV_IGNORE_LIST`, read once.
std::uint32_t ignored_back_ends();

bool is_utf8(std::string_view encoding) noexcept;

}  // namespace Orlo::IMPL

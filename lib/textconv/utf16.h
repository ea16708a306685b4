#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "orlo/strings/buffer.h"
#include "strings/utf8_kernels.h"

namespace Orlo::IMPL {

/// Appends `count` UTF-16 units, which `unit(i)` gives, as wide text; half a pair becomes a character of its
/// own value.
template <class Unit>
void append_utf16_as_wide(std::size_t count, Unit unit, wstringEx& out) {
    out.reserve_for_write(out.size() + count + 1);
    wchar_t* const begin = out.mutable_data() + out.size();
    wchar_t* write = begin;
    for (std::size_t i = 0; i < count; ++i) {
        char32_t point = unit(i);
        if (point - 0xD800 < 0x400 && i + 1 < count) {
            const char32_t low = char32_t{unit(i + 1)} - 0xDC00;
            if (low < 0x400) {
                point = 0x10000 + ((point - 0xD800) << 10) + low;
                ++i;
            }
        }
        *write++ = static_cast<wchar_t>(point);
    }
    out.set_size(out.size() + static_cast<std::size_t>(write - begin));
}

/// Writes a wide character as UTF-16 and returns how many units, 1 or 2, it took; U+FFFD for what is no scalar
/// value.
inline std::size_t write_utf16(wchar_t c, char16_t* out) noexcept {
    const char32_t point = encodable(c);
    if (point < 0x10000) {
        out[0] = static_cast<char16_t>(point);
        return 1;
    }
    out[0] = static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    out[1] = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    return 2;
}

}  // namespace Orlo::IMPL

#pragma once

#include "orlo/strings/buffer.h"

namespace Orlo::IMPL {

/// Appends a code point, up to 0x10FFFF: as UTF-8 to narrow text, as itself to wide text.
template <class T>
void append_code_point(basic_buffer<T>& text, char32_t point) {
    if constexpr (sizeof(T) > 1) {
        text.append(static_cast<T>(point));
    } else {
        const auto last = [point](unsigned shift) {
            return static_cast<T>(0x80 | ((point >> shift) & 0x3F));
        };
        if (point < 0x80) {
            text.append(static_cast<T>(point));
        } else if (point < 0x800) {
            text.append(static_cast<T>(0xC0 | (point >> 6))).append(last(0));
        } else if (point < 0x10000) {
            text.append(static_cast<T>(0xE0 | (point >> 12))).append(last(6)).append(last(0));
        } else {
            text.append(static_cast<T>(0xF0 | (point >> 18)))
                .append(last(12))
                .append(last(6))
                .append(last(0));
        }
    }
}

}  // namespace Orlo::IMPL

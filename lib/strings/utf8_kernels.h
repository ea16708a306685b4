#pragma once

#include <cstddef>

#include "strings/utf8.h"

// The loops under utf8.h, one pair for each set of instructions. All give the same results.

namespace Orlo::IMPL {

struct utf8_kernel {
    /// Decodes `size` bytes; `out` has room for as many characters. Returns how many were written.
    std::size_t (*decode)(const char* text, std::size_t size, wchar_t* out) noexcept;
    /// Encodes `size` characters; `out` has room for four times as many bytes. Returns how many were written.
    std::size_t (*encode)(const wchar_t* text, std::size_t size, char* out) noexcept;
};

extern const utf8_kernel PLAIN_UTF8;
/// Only for machines that have AVX2.
extern const utf8_kernel AVX2_UTF8;

struct decoded_point {
    char32_t point;
    std::size_t length;
    /// False for a byte that stands for itself.
    bool well_formed;
};

/// The first character of a text that is not empty.
inline decoded_point decode_utf8(const char* text, const char* end) noexcept {
    const auto byte = [text](int at) { return static_cast<unsigned char>(text[at]); };
    const auto tail = [&byte](int at) { return char32_t{byte(at)} & 0x3F; };
    const auto is_tail = [&byte](int at) { return (byte(at) & 0xC0) == 0x80; };
    const unsigned char lead = byte(0);
    const auto left = end - text;
    if (lead < 0x80) return {lead, 1, true};
    if (lead < 0xC2 || lead > 0xF4) return {lead, 1, false};
    if (lead < 0xE0) {
        if (left < 2 || !is_tail(1)) return {lead, 1, false};
        return {(lead & 0x1Fu) << 6 | tail(1), 2, true};
    }
    if (lead < 0xF0) {
        if (left < 3 || !is_tail(1) || !is_tail(2)) return {lead, 1, false};
        const char32_t point = (lead & 0x0Fu) << 12 | tail(1) << 6 | tail(2);
        if (point < 0x800 || !is_scalar_value(point)) return {lead, 1, false};
        return {point, 3, true};
    }
    if (left < 4 || !is_tail(1) || !is_tail(2) || !is_tail(3)) return {lead, 1, false};
    const char32_t point = (lead & 0x07u) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3);
    if (point < 0x10000 || point > 0x10FFFF) return {lead, 1, false};
    return {point, 4, true};
}

/// What is written for a wide character: itself if it is a scalar value.
inline char32_t encodable(wchar_t c) noexcept {
    const auto point = static_cast<char32_t>(c);
    return is_scalar_value(point) ? point : REPLACEMENT_POINT;
}

}  // namespace Orlo::IMPL

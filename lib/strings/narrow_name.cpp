#include "strings/narrow_name.h"

#include <atomic>
#include <climits>
#include <cwchar>

namespace Orlo::IMPL {
namespace {

std::atomic<name_narrower> installed{nullptr};

void append_utf8(stringEx& text, wchar_t wide) {
    const auto c = static_cast<std::uint32_t>(wide);
    const auto tail = [&](int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    if (c < 0x80) {
        text.append(static_cast<char>(c));
    } else if (c < 0x800) {
        text.append(static_cast<char>(0xC0 | c >> 6)).append(tail(0));
    } else if (c < 0x10000) {
        text.append(static_cast<char>(0xE0 | c >> 12)).append(tail(6)).append(tail(0));
    } else {
        text.append(static_cast<char>(0xF0 | (c >> 18 & 7))).append(tail(12)).append(tail(6)).append(tail(0));
    }
}

stringEx narrow_by_locale(const wstringEx& name) {
    stringEx narrow;
    narrow.reserve_for_write(name.size() + 1);
    std::mbstate_t state{};
    for (const wchar_t c : name) {
        char bytes[MB_LEN_MAX];
        const std::size_t count = std::wcrtomb(bytes, c, &state);
        if (count != static_cast<std::size_t>(-1)) {
            narrow.append(bytes, count);
        } else {
            append_utf8(narrow, c);
            state = {};
        }
    }
    return narrow;
}

}  // namespace

stringEx NarrowName(const wstringEx& name) {
    const name_narrower rule = installed.load(std::memory_order_acquire);
    return rule != nullptr ? rule(name) : narrow_by_locale(name);
}

name_narrower InstallNameNarrower(name_narrower rule) noexcept {
    return installed.exchange(rule, std::memory_order_acq_rel);
}

}  // namespace Orlo::IMPL

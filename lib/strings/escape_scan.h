#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "strings/append_apart.h"

namespace Orlo::IMPL {

/// The ASCII characters that an escaping replaces.
using unit_set = std::array<bool, 128>;

/// Appends `source` to `target`, with `write(target, c)` in place of each character of the set. Runs without
/// one are copied as blocks.
template <class T, class Write>
void append_escaped(const basic_buffer<T>& source, basic_buffer<T>& target, const unit_set& special,
                    Write write) {
    const std::basic_string_view<T> text = source.view();
    append_apart(source, target, [&](basic_buffer<T>& made) {
        made.reserve_for_write(made.size() + text.size() + 1);
        std::size_t kept = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto unit = static_cast<std::make_unsigned_t<T>>(text[i]);
            if (unit >= special.size() || !special[unit]) continue;
            made.append(text.substr(kept, i - kept));
            write(made, text[i]);
            kept = i + 1;
        }
        made.append(text.substr(kept));
    });
}

}  // namespace Orlo::IMPL

#pragma once

#include "orlo/strings/buffer.h"

namespace Orlo::IMPL {

/// Calls `write(target)`, which appends what it makes of `source`. Where `source` lies inside the target's
/// own block, which moves as it grows, the text is made apart and then appended. When `write` throws, the
/// target holds what it held before.
template <class T, class Write>
void append_apart(const basic_buffer<T>& source, basic_buffer<T>& target, Write write) {
    if (target.owns_address(source.data())) {
        basic_buffer<T> made;
        write(made);
        target.append(made);
        return;
    }
    const std::size_t old_size = target.size();
    try {
        write(target);
    } catch (...) {
        if (target.size() != old_size) target.set_size(old_size);
        throw;
    }
}

}  // namespace Orlo::IMPL

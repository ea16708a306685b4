#pragma once

#include <functional>

#include "orlo/strings/buffer.h"

namespace Orlo::IMPL {

/// Calls `write(target)`, which appends what it makes of `source`. Where `source` lies inside the target's
/// own block, which moves as it grows, the text is made apart and appended then.
template <class T, class Write>
void append_apart(const basic_buffer<T>& source, basic_buffer<T>& target, Write write) {
    const std::less_equal<const T*> not_behind;
    const bool inside = !source.empty() && !target.is_borrowed() &&
                        not_behind(target.begin(), source.begin()) &&
                        not_behind(source.begin(), target.end());
    if (!inside) {
        write(target);
        return;
    }
    basic_buffer<T> made;
    write(made);
    target.append(made);
}

}  // namespace Orlo::IMPL

#pragma once

#include <string_view>

#include "orlo/files/dir.h"

// Paths as text.

namespace Orlo {

/// The path made absolute, as a new text.
inline stringEx full_path(const stringEx& path) {
    stringEx full = path;
    CDir::ConvToFullPath(full);
    return full;
}

/// The path without the separators at its end; the root stays "/".
inline stringEx without_final_separators(const stringEx& path) {
    std::size_t size = path.size();
    while (size > 1 && path[size - 1] == '/')
        --size;
    return path.substr(0, size);
}

/// What follows the last separator.
inline std::string_view last_part(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// What goes up to the last separator, with it; empty for a lone name.
inline stringEx folder_part(const stringEx& path) {
    return path.substr(0, path.view().rfind('/') + 1);
}

}  // namespace Orlo

#pragma once

#include <cstddef>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

namespace Orlo {

/// Sets `result` to the content of a file that does not know its size, such as those of /proc. The path is
/// taken as it stands. It is read in steps of `stepSize` bytes, 4096 at least; the right size saves steps.
///
/// ```cpp
/// stringEx mounts;
/// ReadProcFile(mounts, "/proc/mounts", 16384);
/// ```
///
/// Fails with `sysfileExp` 4 if the file cannot be opened, and 7 if it cannot be read or reaches 128 MB; the
/// result is empty then.
ORLO_API void ReadProcFile(stringEx& result, const stringEx& path, std::size_t stepSize);
ORLO_API void ReadProcFile(stringEx& result, const wstringEx& path, std::size_t stepSize);

}  // namespace Orlo

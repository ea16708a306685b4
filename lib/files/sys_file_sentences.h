#pragma once

#include <cerrno>

#include "strings/failure.h"

namespace Orlo {

// Sentences that several operations of system files share.

inline constexpr const char* BAD_DESCRIPTOR = "invalid file descriptor";
inline constexpr const char* BAD_DESCRIPTOR_OR_MODE = "invalid file descriptor or wrong access mode";
inline constexpr const char* NO_POSITIONS = "the fildes argument is associated with a pipe, fifo, or socket";
inline constexpr const char* OFFSET_TOO_BIG = "the new file offset is too big";

/// Of making a descriptor one that programs do not inherit.
inline constexpr errno_sentence DESCRIPTOR_OPTION_SENTENCES[] = {
    {EINVAL, "invalid arguments"},
    {EOVERFLOW, "one of the values is out-of-range"},
    {EBADF, BAD_DESCRIPTOR_OR_MODE},
};

}  // namespace Orlo

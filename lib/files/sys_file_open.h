#pragma once

#include <cstdint>
#include <utility>

#include "orlo/files/sys_file.h"
#include "strings/failure.h"

namespace Orlo {

/// A path that cannot be made absolute, or is wide and cannot be narrow.
inline constexpr failure<sysfileExp> PATH_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile::Open - failed determine the file path to open\n",
    .keys = {"  file path = "},
}};

/// Closes a descriptor; a negative one is ignored. Throws `sysfileExp` 6, but not while an exception is in
/// flight.
void close_descriptor(int descriptor);

/// A descriptor on its way to its owner: closed if nobody takes it.
class open_descriptor {
public:
    explicit open_descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    open_descriptor(open_descriptor&& other) noexcept : descriptor_(other.take()) {}
    open_descriptor& operator=(open_descriptor&&) = delete;
    ~open_descriptor();

    int get() const noexcept { return descriptor_; }
    int take() noexcept { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};

/// How to open a file; see `CSysFile::Open`.
struct open_request {
    const stringEx& path;
    file_access access;
    int creation;
    file_sharing sharing;
    std::uint32_t permissions;
    std::uint32_t options;
    /// The open folder that a relative path begins in.
    int folder = AT_FDCWD;
};

/// Opens a file with advice, sharing and close-on-exec. Throws `sysfileExp` 4.
open_descriptor open_file(const open_request& request);

}  // namespace Orlo

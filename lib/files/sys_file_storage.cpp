// What a file lies on: a device's sectors, or the fragments of a volume.

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr failure<sysfileExp> DEVICE_FAILED{{
    .code = sysfile_code::storage,
    .head = "CSysFile::GetStorageInfo - error retrive physical device info\n",
    .keys = {"  file path  = ", "  error code = ", "  error desc = "},
}};
constexpr failure<sysfileExp> VOLUME_FAILED{{
    .code = sysfile_code::storage,
    .head = "CSysFile::GetStorageInfo - error retrive volume info\n",
    .keys = {"  file path  = "},
}};

/// True for a path under /dev/ that really names a device of blocks, and not, say, a terminal.
bool is_raw_device(const stringEx& path, int descriptor) {
    struct stat status;
    return path.starts_with("/dev/"_lit) && ::fstat(descriptor, &status) == 0 && S_ISBLK(status.st_mode);
}

std::uint64_t device_sector(const stringEx& path, int descriptor) {
    int size = 0;
    if (retry_interrupted([&] { return ::ioctl(descriptor, BLKSSZGET, &size); }) == -1)
        DEVICE_FAILED.raise({path, system_error{errno}});
    return static_cast<std::uint64_t>(size);
}

std::uint64_t volume_fragment(const stringEx& path) {
    std::uint64_t fragment = 0, block = 0;
    try {
        stringEx dir = path;
        CDir::GetPathDir(dir);
        CDir::GetStorageTopology(dir, fragment, block);
    } catch (const dirExp& inner) {
        VOLUME_FAILED.raise({path, wrapped{inner}});
    }
    return fragment;
}

}  // namespace

void CSysFile::GetStorageInfo(std::uint64_t* sectorSize, std::uint64_t* totalSize) const {
    if (sectorSize != nullptr)
        *sectorSize =
            is_raw_device(m_path, _Number()) ? device_sector(m_path, _Number()) : volume_fragment(m_path);
    if (totalSize != nullptr) *totalSize = static_cast<std::uint64_t>(GetSize());
}

}  // namespace Orlo

// Files by wide paths: apart from the narrow forms, so that who uses those alone is not linked with the text
// converters.

#include "files/sys_file_open.h"
#include "strings/narrow_name.h"
#include "strings/utf8.h"

namespace Orlo {
namespace {

stringEx narrowed(const wstringEx& path) {
    try {
        return IMPL::NarrowName(path);
    } catch (const tconvExp& inner) {
        PATH_FAILED.raise({IMPL::wide_to_utf8(path), wrapped{inner}});
    }
}

}  // namespace

void CSysFile::Open(const wstringEx& path, file_access access, int creation, file_sharing sharing,
                    std::uint32_t permissions, std::uint32_t options) {
    Open(narrowed(path), access, creation, sharing, permissions, options);
}

void CSysFile::OpenExact(const wstringEx& path, file_access access, int creation, file_sharing sharing,
                         std::uint32_t permissions, std::uint32_t options) {
    OpenExact(narrowed(path), access, creation, sharing, permissions, options);
}

}  // namespace Orlo

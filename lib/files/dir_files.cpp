// Single files: moving and copying them by their paths.

#include "files/file_transfer.h"
#include "files/path_parts.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> DUPLICATE_FAILED{{
    .code = dir_code::duplicate_file,
    .head = "CDir::DuplicateFile - error copy file\n",
    .keys = {"  source file       = ", "  destination file  = "},
}};

}  // namespace

bool CDir::TransferFile(const stringEx& source, const stringEx& target, bool overwrite, bool,
                        bool allowCopy) {
    entry_copier copier;
    const transfer_outcome outcome = transfer_entry(
        folder_entry(full_path(source)), folder_entry(full_path(target)), overwrite, allowCopy, copier);
    return check_transfer(outcome, source, target, allowCopy);
}

bool CDir::DuplicateFile(const stringEx& source, const stringEx& target, bool overwrite, bool flush) {
    const folder_entry from(full_path(source)), to(full_path(target));
    struct stat status;
    if (!overwrite && to.status(status) == 0 && !S_ISDIR(status.st_mode)) return false;
    try {
        if (stat_path(from.name, status) != 0) status = {};  // opening it will say why
        entry_copier().copy_file(from, status, to, entry_copier::keeping::permissions, flush);
    } catch (const rootExp& inner) {
        DUPLICATE_FAILED.raise({source, target, wrapped{inner}});
    }
    return true;
}

}  // namespace Orlo

#pragma once

#include <optional>

#include "files/file_copy.h"

namespace Orlo {

/// How moving an entry ended.
struct transfer_outcome {
    enum class stage { done, refused, link, copy, remove };

    stage ended = stage::done;
    int error = 0;
    std::optional<rootExp> inner{};
};

/// Moves what is no folder from one entry to another, as `CDir::TransferFile` promises it.
transfer_outcome transfer_entry(const folder_entry& source, const folder_entry& target, bool overwrite,
                                bool allow_copy, entry_copier& copier);

/// Puts a copy of `source` at `target`, where nothing may be, all at once. Otherwise as above; the source stays.
transfer_outcome place_copy(const folder_entry& source, const struct stat& status, const folder_entry& target,
                            bool overwrite, entry_copier::keeping what, bool flush, entry_copier& copier);

/// True if it is done, false if it was refused; throws `dirExp` 7 otherwise.
bool check_transfer(const transfer_outcome& outcome, const stringEx& source, const stringEx& target,
                    bool allow_copy);

}  // namespace Orlo

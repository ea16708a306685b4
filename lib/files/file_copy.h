#pragma once

#include <memory>

#include "files/folder_chain.h"

namespace Orlo {

/// A name in `target`'s folder that nothing has, for what is to be put at `target` when it is whole.
folder_entry temp_entry_beside(const folder_entry& target);

/// Copies what entries are. One object serves many copies, one at a time.
class entry_copier {
public:
    /// What a copy keeps of the source besides its content: the permissions, or all that moving keeps.
    enum class keeping { permissions, everything };

    /// Copies the content of a regular file to `target`. A new file keeps `what` says, and is removed again on
    /// failure; an old one stays, and keeps its mode and its tail. Links in the last place of an entry of an
    /// open folder are not followed. Throws `sysfileExp`, and `dirExp` 9.
    void copy_file(const folder_entry& source, const struct stat& status, const folder_entry& target,
                   keeping what, bool flush);

    /// Makes `target`, which must not exist, what `source` is: a regular file, a link, a pipe and so on, but no
    /// folder. Throws as `copy_file`.
    void copy_entry(const folder_entry& source, const struct stat& status, const folder_entry& target,
                    keeping what, bool flush);

private:
    std::unique_ptr<char[]> buffer_;
};

/// Gives an entry, or with an empty name an open folder itself, the mode, times and owner of another; what the
/// process may not change stays.
void keep_attributes(int folder, const char* name, const struct stat& of);

}  // namespace Orlo

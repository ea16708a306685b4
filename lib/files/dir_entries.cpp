#include "files/dir_entries.h"

#include <fcntl.h>

#include <climits>

#include "files/path_call.h"
#include "orlo/files/dir.h"

namespace Orlo {

entry_kind kind_by_status(const stringEx& path) {
    struct stat status;
    if (stat_path(path, status) != 0) return entry_kind::unknown;
    return S_ISDIR(status.st_mode) ? entry_kind::folder : entry_kind::file;
}

dir_entries::dir_entries(const stringEx& path) : path_(path) {
    call_with_path(path, [&](const char* text) {
        stream_ = ::opendir(text);
        return stream_ != nullptr ? 0 : -1;
    });
}

dir_entries::~dir_entries() {
    if (stream_ != nullptr) ::closedir(stream_);
}

bool dir_entries::next() {
    entry_ = PosixReadDir(stream_);
    return entry_ != nullptr;
}

bool dir_entries::may_be_link() const noexcept {
    return entry_->d_type == DT_LNK || entry_->d_type == DT_UNKNOWN;
}

entry_kind dir_entries::kind() {
    if (may_be_link()) return kind_by_status(full_path());
    // a path that no call takes has no status either
    if (!searchable() || path_.size() + name().size() >= PATH_MAX) return entry_kind::unknown;
    return entry_->d_type == DT_DIR ? entry_kind::folder : entry_kind::file;
}

stringEx dir_entries::full_path() const {
    const std::string_view last = name();
    stringEx path;
    path.assign_reserve(path_.size() + last.size() + 2);
    path.append(path_).append(last);
    return path;
}

const struct stat& dir_entries::status() {
    if (asked_) return status_;
    asked_ = true;
    const int failed = retry_interrupted([&] { return ::fstatat(::dirfd(stream_), ".", &status_, 0); });
    if (failed != 0) status_ = {};
    return status_;
}

}  // namespace Orlo

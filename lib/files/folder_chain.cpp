#include "files/folder_chain.h"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>

#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr int FOLDER_FLAGS = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

constexpr failure<dirExp> STREAM_FAILED{{
    .code = 18,
    .head = "PosixReadDir - error open the directory\n",
    .keys = {"  error code = ", "  error desc = "},
}};

int open_folder(int above, const char* name, int flags) {
    return retry_interrupted([&] { return ::openat(above, name, FOLDER_FLAGS | flags); });
}

void close_quietly(int descriptor) {
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);  // a folder has nothing to lose
    errno = error;
}

}  // namespace

folder_chain::~folder_chain() {
    for (const level& each : levels_)
        close_quietly(each.descriptor);
}

bool folder_chain::push(const std::string& name, int descriptor) {
    if (descriptor < 0) return false;
    open_descriptor opened(descriptor);
    struct statx status;
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_INO, &status) != 0) return false;
    level made{.name = name, .descriptor = -1};
    made.identity.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    made.identity.number = status.stx_ino;
    made.is_mount_point = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    levels_.push_back(std::move(made));
    levels_.back().descriptor = opened.take();
    if (levels_.size() > most_open)
        close_quietly(std::exchange(levels_[levels_.size() - most_open - 1].descriptor, -1));
    return true;
}

bool folder_chain::begin(const stringEx& path) {
    return push({}, call_with_path(path, [](const char* text) { return open_folder(AT_FDCWD, text, 0); }));
}

bool folder_chain::enter(const std::string& name) {
    return push(name, open_folder(descriptor(), name.c_str(), O_NOFOLLOW));
}

bool folder_chain::leave() {
    level& above = levels_[levels_.size() - 2];
    if (above.descriptor < 0) {
        open_descriptor found(open_folder(descriptor(), "..", 0));
        struct stat status;
        if (found.get() < 0 || ::fstat(found.get(), &status) != 0) return false;
        if (file_identity(status) != above.identity) {
            errno = ENOENT;  // moved away meanwhile
            return false;
        }
        above.descriptor = found.take();
    }
    close_quietly(descriptor());
    levels_.pop_back();
    return true;
}

bool folder_chain::has_met_itself() const noexcept {
    return std::any_of(levels_.begin(), levels_.end() - 1,
                       [&](const level& above) { return above.identity == identity(); });
}

stringEx folder_chain::path_of(const stringEx& root, const std::string& called) const {
    stringEx path = root;
    const auto add = [&](const std::string& name) {
        if (!path.ends_with(CDir::separator)) path.append('/');
        path.append(std::string_view(name));
    };
    for (std::size_t i = 1; i < levels_.size(); ++i)
        add(levels_[i].name);
    if (!called.empty()) add(called);
    return path;
}

folder_stream::folder_stream(int folder) {
    const int own = retry_interrupted([&] { return ::fcntl(folder, F_DUPFD_CLOEXEC, 0); });
    stream_ = own < 0 ? nullptr : ::fdopendir(own);
    if (stream_ != nullptr) return;
    const int error = errno;
    close_quietly(own);
    STREAM_FAILED.raise({system_error{error}});
}

const dirent* folder_stream::next() {
    for (;;) {
        const dirent* const entry = PosixReadDir(stream_);
        if (entry == nullptr) return nullptr;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") return entry;
    }
}

bool is_folder(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status;
    return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace Orlo

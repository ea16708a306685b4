// Copying what is no folder.
//
// The system copies large files itself (`copy_file_range`, which shares blocks where the file system can);
// whatever it does not take, and small files, go through a buffer. The buffer's loop runs to the end in any
// case, so that a file that says it is empty, as in /proc, or that has grown meanwhile, is copied whole.

#include "files/file_copy.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <memory>

#include "files/path_parts.h"
#include "orlo/time/time.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr std::size_t BUFFER_SIZE = 0x40000;
/// Smaller files are copied through the buffer, with fewer calls.
constexpr std::int64_t SYSTEM_COPY_FROM = 0x20000;
constexpr mode_t PERMISSION_BITS = 0777;
constexpr mode_t ALL_MODE_BITS = 07777;

constexpr failure<dirExp> SPECIAL_FAILED{{
    .code = dir_code::duplicate_file,
    .head = "CDir::DuplicateFile - error copy link or special file\n",
    .keys = {"  error code = ", "  error desc = "},
}};

/// A `CSysFile` of an entry.
class entry_file : public CSysFile {
public:
    void open(const folder_entry& entry, file_access access, int creation, file_sharing sharing,
              mode_t permissions) {
        // a name in a folder was seen to be a regular file: what has taken its place since is not waited for
        const int guard = entry.folder == AT_FDCWD ? 0 : O_NOFOLLOW | O_NONBLOCK;
        _Adopt(
            open_file({entry.name, access, creation | guard, sharing, permissions, 0, entry.folder}).take(),
            entry.name);
    }
    int number() const { return static_cast<int>(GetDescriptor()); }
};

void write_all(CSysFile& to, const char* from, std::size_t size) {
    while (size > 0) {
        const std::size_t count = to.Write(from, size);
        from += count;
        size -= count;
    }
}

/// Lets the system copy as much as it will.
void copy_in_system(const entry_file& from, const entry_file& to) {
    ssize_t count = 0;
    do {
        count = retry_interrupted([&] {
            return ::copy_file_range(from.number(), nullptr, to.number(), nullptr, SSIZE_MAX & ~0xFFFL, 0);
        });
    } while (count > 0);
}

void copy_content(entry_file& from, entry_file& to, std::int64_t size, std::unique_ptr<char[]>& buffer) {
    if (size >= SYSTEM_COPY_FROM) copy_in_system(from, to);
    if (!buffer) buffer = std::make_unique_for_overwrite<char[]>(BUFFER_SIZE);
    while (const std::size_t count = from.Read(buffer.get(), BUFFER_SIZE))
        write_all(to, buffer.get(), count);
}

/// Makes a link, pipe, socket or device like the source.
void make_special(const folder_entry& source, const struct stat& status, const folder_entry& target) {
    if (!S_ISLNK(status.st_mode)) {
        const int made = target.with([&](int folder, const char* name) {
            return ::mknodat(folder, name, status.st_mode & (S_IFMT | PERMISSION_BITS), status.st_rdev);
        });
        if (made != 0) SPECIAL_FAILED.raise({system_error{errno}});
        target.with([&](int folder, const char* name) {
            return ::fchmodat(folder, name, status.st_mode & PERMISSION_BITS, 0);
        });
        return;
    }
    std::unique_ptr<char[]> text(new char[PATH_MAX + 1]);
    ssize_t size = 0;
    const int read = source.with([&](int folder, const char* name) {
        size = ::readlinkat(folder, name, text.get(), PATH_MAX);
        return size < 0 ? -1 : 0;
    });
    if (read != 0) SPECIAL_FAILED.raise({system_error{errno}});
    text[static_cast<std::size_t>(size)] = '\0';
    const int made =
        target.with([&](int folder, const char* name) { return ::symlinkat(text.get(), folder, name); });
    if (made != 0) SPECIAL_FAILED.raise({system_error{errno}});
}

/// Gives a new file what is kept of the source.
void keep(int file, const struct stat& of, entry_copier::keeping what) {
    if (what == entry_copier::keeping::everything) {
        keep_attributes(file, "", of);
    } else {
        ::fchmod(file, of.st_mode & PERMISSION_BITS);
    }
}

}  // namespace

folder_entry temp_entry_beside(const folder_entry& target) {
    static std::atomic<std::uint64_t> last{static_cast<std::uint64_t>(CTime::GetCurrent().GetValue())};
    for (;;) {
        folder_entry beside = target;
        beside.name = folder_part(target.name);
        beside.name.append(".orlo-").append_number(std::int64_t{::getpid()}).append('-');
        beside.name.append_number(++last, 36).append(".tmp");
        struct stat status;
        if (beside.status(status) != 0) return beside;
    }
}

void keep_attributes(int folder, const char* name, const struct stat& of) {
    const int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW;
    const bool is_owned = ::fchownat(folder, name, of.st_uid, of.st_gid, flags) == 0;
    // without its owner a file must not keep the bits that lend the owner's rights
    const mode_t mode = of.st_mode & (is_owned ? ALL_MODE_BITS : ALL_MODE_BITS & ~(S_ISUID | S_ISGID));
    if (*name == '\0') {
        ::fchmod(folder, mode);
    } else if (!S_ISLNK(of.st_mode)) {
        ::fchmodat(folder, name, mode, 0);
    }
    const timespec times[] = {of.st_atim, of.st_mtim};
    if (*name == '\0') {
        ::futimens(folder, times);
    } else {
        ::utimensat(folder, name, times, AT_SYMLINK_NOFOLLOW);
    }
}

void entry_copier::copy_file(const folder_entry& source, const struct stat& status,
                             const folder_entry& target, keeping what, bool flush) {
    entry_file from, to;
    from.open(source, file_access::read, 0, file_sharing::shared, 0);
    struct stat old;
    const bool is_new = target.status(old) != 0 && errno == ENOENT;
    to.open(target, file_access::write, is_new ? O_CREAT | O_EXCL : O_CREAT, file_sharing::exclusive,
            is_new ? status.st_mode & PERMISSION_BITS : 0666);
    try {
        copy_content(from, to, status.st_size, buffer_);
        if (is_new) keep(to.number(), status, what);
        if (flush) to.Flush();
        to.Close();
    } catch (...) {
        if (is_new) target.remove();
        throw;
    }
}

void entry_copier::copy_entry(const folder_entry& source, const struct stat& status,
                              const folder_entry& target, keeping what, bool flush) {
    if (S_ISREG(status.st_mode)) return copy_file(source, status, target, what, flush);
    make_special(source, status, target);
    if (what == keeping::everything) {
        target.with([&](int folder, const char* name) {
            keep_attributes(folder, name, status);
            return 0;
        });
    }
}

}  // namespace Orlo

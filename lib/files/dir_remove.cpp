// Removing folders and files.
//
// A folder is emptied by a walk that stands in open folders and goes by names, never by paths: a link in it is
// removed and never entered, whoever puts one there meanwhile. Files go while the folder is read, sub folders
// after that, deepest first:
//
//   /a with file x and folder b, which holds y     unlink x; enter b; unlink y; leave, rmdir b; rmdir /a
//
// Whatever can be known to fail in the end is refused before anything is removed: a path that is a link, "/", a
// path that ends in "." or "..", and a mount point.

#include <sys/stat.h>
#include <unistd.h>

#include "files/folder_chain.h"
#include "files/path_parts.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> REMOVE_NOTHING{
    {.code = dir_code::empty, .head = "CDir::RemoveDir - nothing to remove"}};
constexpr errno_sentence REMOVE_DIR_SENTENCES[] = {
    {EACCES, "permission denied"},
    {EIO, "a physical I/O error has occurred"},
    {EBUSY, "the directory to be removed is currently in use"},
    {ENOTEMPTY, "not an empty directory"},
    {ENOTDIR, "a component of the path is not a directory"},
    {EINVAL, "the path argument contains a last component that is dot"},
    {EROFS, "the directory entry to be removed resides on a read-only file system"},
    {ENAMETOOLONG, "the length of the dir path is too long"},
    {ELOOP, "a loop exists in symbolic links"},
};
constexpr failure<dirExp> REMOVE_DIR_FAILED{{
    .code = dir_code::remove_dir,
    .head = "CDir::RemoveDir - failed remove specified directory\n",
    .keys = {"  dir to remove     = ", "  remove sub dirs   = ", "  remove sub files  = ",
             "  error code        = ", "  error desc        = "},
    .sentences = REMOVE_DIR_SENTENCES,
}};
constexpr errno_sentence REMOVE_FILE_SENTENCES[] = {
    {EACCES, "permission denied"},
    {ETXTBSY, "file is in use"},
    {ENOTDIR, "a component of the pathname is not a directory"},
    {EINVAL, "the value of the attribute argument is invalid"},
    {EROFS, "the named file resides on a read-only file system"},
    {ENAMETOOLONG, "pathname is too long"},
    {ELOOP, "a loop exists in symbolic links "},
};
constexpr failure<dirExp> REMOVE_FILE_FAILED{{
    .code = dir_code::remove_file,
    .head = "CDir::RemoveFile - failed remove specified file\n",
    .keys = {"  file       = ", "  error code = ", "  error desc = "},
    .sentences = REMOVE_FILE_SENTENCES,
}};
constexpr failure<dirExp> RESTORE_MODE_FAILED{{
    .code = dir_code::remove_file,
    .head = "CDir::DeleteFile - failed restore the attributes of the directory\n",
    .keys = {"  directory  = ", "  error code = ", "  error desc = "},
}};

class dir_removal {
public:
    dir_removal(const stringEx& path, bool files, bool dirs) : path_(path), files_(files), dirs_(dirs) {}

    void run() {
        if (const int error = refusal(); error != 0) fail(path_, error);
        if (files_ || dirs_) empty();
        const auto rmdir = [](const char* text) { return ::rmdir(text); };
        if (call_with_path(path_, rmdir) != 0 && errno != ENOENT) fail(path_, errno);
    }

private:
    [[noreturn]] void fail(const stringEx& at, int error) const {
        REMOVE_DIR_FAILED.raise({at, dirs_, files_, system_error{error}});
    }

    /// Why the folder itself cannot go, 0 if it may.
    int refusal() const {
        struct stat status;
        if (folder_entry(path_).status(status) != 0) return errno;
        if (!S_ISDIR(status.st_mode)) return ENOTDIR;
        const std::string_view name = last_part(path_.view());
        if (name.empty()) return EBUSY;
        if (name == ".") return EINVAL;
        return name == ".." ? ENOTEMPTY : 0;
    }

    void empty() {
        if (!chain_.begin(path_)) fail(path_, errno);
        read_level();
        for (;;) {
            if (!chain_.pending().empty()) {
                const std::string name = std::move(chain_.pending().back());
                chain_.pending().pop_back();
                enter(name);
            } else if (chain_.depth() == 1) {
                return;
            } else {
                leave();
            }
        }
    }

    void enter(const std::string& name) {
        if (chain_.enter(name)) return read_level();
        const int error = errno;
        if (error == ENOENT) return;
        // what may not be read may still be empty
        if (error != EACCES || chain_.entry(name).remove(AT_REMOVEDIR) != 0)
            fail(chain_.path_of(path_, name), error);
    }

    void leave() {
        const std::string name = chain_.name();
        if (!chain_.leave()) fail(chain_.path_of(path_), errno);
        if (chain_.entry(name).remove(AT_REMOVEDIR) != 0 && errno != ENOENT)
            fail(chain_.path_of(path_, name), errno);
    }

    /// Removes the files of the folder and notes its sub folders.
    void read_level() {
        if (chain_.is_mount_point()) fail(chain_.path_of(path_), EBUSY);
        for_each_entry(chain_.descriptor(), [&](const std::string& name, bool is_folder) {
            if (is_folder && dirs_) chain_.pending().push_back(name);
            if (!is_folder && files_) remove_file(name);
        });
    }

    void remove_file(const std::string& name) const {
        if (::unlinkat(chain_.descriptor(), name.c_str(), 0) == 0 || errno == ENOENT) return;
        const int error = errno;
        const stringEx path = chain_.path_of(path_, name);
        const dirExp inner(REMOVE_FILE_FAILED.text({path, system_error{error}}), REMOVE_FILE_FAILED.code);
        REMOVE_DIR_FAILED.raise({path_, dirs_, files_, wrapped{inner}});
    }

    const stringEx path_;
    const bool files_, dirs_;
    folder_chain chain_;
};

/// Lets the owner do everything in a folder, and sets its mode back in the end.
class opened_folder {
public:
    explicit opened_folder(const stringEx& path) : path_(path) {
        struct stat status;
        if (stat_path(path_, status) != 0 || !S_ISDIR(status.st_mode)) return;
        before_ = status.st_mode & 07777;
        changed_ = change(before_ | 0700) == 0;
    }
    opened_folder(const opened_folder&) = delete;
    opened_folder& operator=(const opened_folder&) = delete;
    ~opened_folder() { close(); }

    bool is_changed() const { return changed_; }
    /// True if the folder is as it was.
    bool close() { return !std::exchange(changed_, false) || change(before_) == 0; }
    const stringEx& path() const { return path_; }

private:
    int change(mode_t mode) const {
        return call_with_path(path_, [&](const char* text) { return ::chmod(text, mode); });
    }

    const stringEx path_;
    mode_t before_ = 0;
    bool changed_ = false;
};

}  // namespace

void CDir::RemoveDir(const stringEx& path, bool removeSubFiles, bool removeSubDirs) {
    if (path.empty()) REMOVE_NOTHING.raise();
    if (!IsDir(CleanPath(path))) return;
    dir_removal(without_final_separators(CleanPath(path)), removeSubFiles, removeSubDirs).run();
}

void CDir::RemoveFile(const stringEx& path) {
    const stringEx clean = CleanPath(path);
    struct stat status;
    if (stat_path(clean, status) == 0) {
        if (!S_ISREG(status.st_mode)) return;
    } else if (errno == ENOENT || errno == ENOTDIR) {
        return;
    } else {
        REMOVE_FILE_FAILED.raise({path, system_error{errno}});
    }
    const int removed = call_with_path(clean, [](const char* text) { return ::unlink(text); });
    if (removed != 0 && errno != ENOENT) REMOVE_FILE_FAILED.raise({path, system_error{errno}});
}

void CDir::DeleteFile(const stringEx& path, bool force) {
    stringEx full = path;
    ConvToFullPath(full);
    try {
        RemoveFile(full);
        return;
    } catch (const dirExp&) {
        if (!force) throw;
        opened_folder folder(folder_part(full));
        if (!folder.is_changed()) throw;
        bool is_gone = true;
        try {
            RemoveFile(full);
        } catch (const dirExp&) {
            is_gone = false;
        }
        const bool is_restored = folder.close();
        const int error = errno;
        if (!is_gone) throw;
        if (!is_restored) RESTORE_MODE_FAILED.raise({folder.path(), system_error{error}});
    }
}

}  // namespace Orlo

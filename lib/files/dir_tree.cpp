// Copying and moving whole directories: one walk for both.
//
// Source and target are walked side by side, each as a chain of open folders, so that neither depth nor the
// length of paths matters and no link is entered. A folder is read to its end before anything of it is touched;
// its files come first, then its sub folders one by one:
//
//   source /a: x, b with y     target /t
//   /a is read                 x is copied to /t/x
//   b is entered               /t/b is made and entered, y is copied
//   b is left                  /t/b gets b's mode; a move removes /a/b
//
// A move hands over whole sub folders by renaming where the target has none of that name. The walk ends,
// whatever is mounted where: a folder that is the target, or that stands above itself, is a failure.

#include <sys/stat.h>
#include <unistd.h>

#include "files/file_transfer.h"
#include "files/path_parts.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> missing_source(std::int32_t code, const char* head) {
    return {{.code = code, .head = head, .keys = {"  source dir = ", "  current working dir = "}}};
}
constexpr auto DUPLICATE_MISSING =
    missing_source(dir_code::duplicate_dir, "CDir::DuplicateDir - source dir doesn't exist\n");
constexpr auto TRANSFER_MISSING =
    missing_source(dir_code::transfer_dir, "CDir::TransferDir - source dir doesn't exist\n");
constexpr failure<dirExp> DUPLICATE_NESTED{{
    .code = dir_code::duplicate_dir,
    .head = "CDir::DuplicateDir - dir nesting found in recursive copy mode\n",
    .keys = {"  dir to copy         = ", "  dir to copy to      = ", "  current working dir = ",
             "  overwrite exist     = ", "  copy sub files      = ", "  system error no     = ",
             "  system error desc   = "},
}};
constexpr failure<dirExp> TRANSFER_NESTED{{
    .code = dir_code::transfer_dir,
    .head = "CDir::TransferDir - dir nesting found in recursive copy mode\n",
    .keys = {"  dir to copy         = ", "  dir to copy to      = ", "  current working dir = "},
}};
constexpr const char* FAILED_KEYS[] = {"  dir to copy         = ", "  dir to copy to      = ",
                                       "  error code          = ", "  error desc          = "};
constexpr failure<dirExp> DUPLICATE_FAILED{{
    .code = dir_code::duplicate_dir,
    .head = "CDir::DuplicateDir - failed duplicate dir\n",
    .keys = {FAILED_KEYS[0], FAILED_KEYS[1], FAILED_KEYS[2], FAILED_KEYS[3]},
}};
constexpr errno_sentence TRANSFER_SENTENCES[] = {
    {EACCES, "permission denied"},
    {ENOTDIR, "a component of the path is not a directory"},
    {EXDEV, "the source and destination are on different file systems"},
    {ENOTEMPTY, "not an empty directory"},
};
constexpr failure<dirExp> TRANSFER_FAILED{{
    .code = dir_code::transfer_dir,
    .head = "CDir::TransferDir - failed transfer dir\n",
    .keys = DUPLICATE_FAILED.keys,
    .sentences = TRANSFER_SENTENCES,
}};
constexpr failure<dirExp> FILE_FAILED{{
    .code = dir_code::duplicate_file,
    .head = "CDir::DuplicateFile - error copy file\n",
    .keys = {"  source file       = ", "  destination file  = "},
}};

struct tree_request {
    stringEx source, target;
    bool moves;
    bool allow_copy;
    bool overwrite;
    bool files;
    bool recursive;
    bool flush;
};

class tree_walk {
public:
    explicit tree_walk(const tree_request& request) : request_(request) {}

    /// False if the target may not be replaced.
    bool run() {
        if (!CDir::IsDir(request_.source)) {
            const auto& missing = request_.moves ? TRANSFER_MISSING : DUPLICATE_MISSING;
            missing.raise({request_.source, working_dir()});
        }
        struct stat status;
        const bool exists = folder_entry(request_.target).status(status) == 0;
        if (exists && !request_.overwrite) return false;
        if (!source_.begin(request_.source)) fail(errno);
        if (request_.recursive) refuse_nesting();
        const stringEx above = folder_part(request_.target);
        if (!exists && !above.empty()) CDir::MakeDir(above, true);
        if (request_.moves && !exists && rename_whole()) return true;
        refuse_link();
        note_level(!exists);
        if (!exists) CDir::MakeDir(request_.target, true);
        if (!target_.begin(request_.target)) fail(errno);
        walk();
        return true;
    }

private:
    static stringEx working_dir() {
        stringEx pwd;
        try {
            CDir::GetPwd(pwd);
        } catch (const dirExp&) {
            // the failure that the message is about matters more
        }
        return pwd;
    }

    /// Tells a failure at the entry `name` of where the walk stands.
    [[noreturn]] void fail(int error, const std::string& name = {}) const {
        (request_.moves ? TRANSFER_FAILED : DUPLICATE_FAILED)
            .raise({source_path(name), target_path(name), system_error{error}});
    }
    stringEx source_path(const std::string& name) const { return source_.path_of(request_.source, name); }
    stringEx target_path(const std::string& name) const {
        return target_.depth() == 0 ? request_.target : target_.path_of(request_.target, name);
    }

    [[noreturn]] void fail_nested() const {
        const tree_request& r = request_;
        if (r.moves) TRANSFER_NESTED.raise({r.source, r.target, working_dir()});
        DUPLICATE_NESTED.raise(
            {r.source, r.target, working_dir(), r.overwrite, r.files, EINVAL, strerror_text(EINVAL)});
    }

    /// Compares the source with the target and all folders above it, however they are called.
    void refuse_nesting() const {
        stringEx above = request_.target;
        struct stat status;
        while (stat_path(above, status) != 0 && above.size() > 1)
            above = without_final_separators(folder_part(above));
        for (;;) {
            if (stat_path(above, status) != 0) return;
            const file_identity here(status);
            if (here == source_.identity()) fail_nested();
            above.append("/..");
            if (stat_path(above, status) != 0 || file_identity(status) == here) return;
        }
    }

    /// A link to a folder can be copied from, but what is behind it is not its to move.
    void refuse_link() const {
        struct stat status;
        if (!request_.moves || folder_entry(request_.source).status(status) != 0) return;
        if (!S_ISDIR(status.st_mode)) fail(ENOTDIR);
    }

    /// Moves the directory in one step; false if it must be done piece by piece.
    bool rename_whole() const {
        const int renamed = call_with_path(request_.source, [&](const char* from) {
            return call_with_path(request_.target, [&](const char* to) {
                return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
            });
        });
        if (renamed == 0) return true;
        if (errno == EXDEV && !request_.allow_copy) fail(EXDEV);
        return false;
    }

    void walk() {
        read_level();
        for (;;) {
            if (!source_.pending().empty()) {
                const std::string name = std::move(source_.pending().back());
                source_.pending().pop_back();
                take_folder(name);
                continue;
            }
            finish_level();
            if (source_.depth() == 1) break;
            leave();
        }
        if (!request_.moves) return;
        const auto rmdir = [](const char* path) { return ::rmdir(path); };
        if (call_with_path(request_.source, rmdir) != 0) fail(errno);
    }

    void read_level() {
        std::vector<std::string> names;
        std::vector<std::string>& folders = source_.pending();
        for_each_entry(source_.descriptor(), [&](const std::string& name, bool is_folder) {
            if (!is_folder && request_.files) names.push_back(name);
            if (is_folder && request_.recursive) folders.push_back(name);
        });
        for (const std::string& name : names)
            take_file(name);
    }

    void take_file(const std::string& name) {
        const folder_entry from = source_.entry(name), to = target_.entry(name);
        if (request_.moves) {
            const transfer_outcome outcome = transfer_entry(from, to, true, request_.allow_copy, copier_);
            if (outcome.ended != transfer_outcome::stage::done)
                check_transfer(outcome, source_path(name), target_path(name), request_.allow_copy);
            return;
        }
        try {
            copy_file(from, to);
        } catch (const rootExp& inner) {
            FILE_FAILED.raise({source_path(name), target_path(name), wrapped{inner}});
        }
    }

    void copy_file(const folder_entry& from, const folder_entry& to) {
        struct stat status;
        if (from.status(status) != 0) {
            if (errno == ENOENT) return;  // gone since the folder was read
            fail(errno);
        }
        constexpr auto KEPT = entry_copier::keeping::permissions;
        if (S_ISREG(status.st_mode)) {
            copier_.copy_file(from, status, to, KEPT, request_.flush);
            return;
        }
        const transfer_outcome placed = place_copy(from, status, to, true, KEPT, false, copier_);
        if (placed.inner) throw *placed.inner;
        if (placed.ended != transfer_outcome::stage::done) fail(placed.error);
    }

    void take_folder(const std::string& name) {
        struct stat there;
        const bool exists = target_.entry(name).status(there) == 0;
        if (request_.moves && !exists && rename_folder(name)) return;
        if (!source_.enter(name)) fail(errno, name);
        if (source_.identity() == target_.root() || source_.has_met_itself()) fail_nested();
        const std::string& entered = source_.name();
        if (!exists && ::mkdirat(target_.descriptor(), entered.c_str(), S_IRWXU) != 0) fail(errno);
        if (!target_.enter(entered)) fail(errno);
        note_level(!exists);
        read_level();
    }

    bool rename_folder(const std::string& name) const {
        return ::renameat2(source_.descriptor(), name.c_str(), target_.descriptor(), name.c_str(),
                           RENAME_NOREPLACE) == 0;
    }

    /// Notes what a target folder that is made here keeps of the source, before the walk changes that.
    void note_level(bool is_new) {
        struct stat status;
        if (::fstat(source_.descriptor(), &status) != 0) fail(errno);
        kept_.emplace_back(is_new ? std::optional(status) : std::nullopt);
    }

    void finish_level() {
        if (const std::optional<struct stat>& status = kept_.back(); status && request_.moves) {
            keep_attributes(target_.descriptor(), "", *status);
        } else if (status) {
            ::fchmod(target_.descriptor(), status->st_mode & 07777);
        }
        kept_.pop_back();
    }

    void leave() {
        const std::string name = source_.name();
        if (!source_.leave() || !target_.leave()) fail(errno, name);
        if (request_.moves && source_.entry(name).remove(AT_REMOVEDIR) != 0 && errno != ENOENT)
            fail(errno, name);
    }

    const tree_request request_;
    folder_chain source_, target_;
    std::vector<std::optional<struct stat>> kept_;
    entry_copier copier_;
};

}  // namespace

bool CDir::DuplicateDir(const stringEx& source, const stringEx& target, bool overwrite, bool copySubFiles,
                        bool recursive, bool flush) {
    return tree_walk({.source = without_final_separators(full_path(source)),
                      .target = without_final_separators(full_path(target)),
                      .moves = false,
                      .allow_copy = true,
                      .overwrite = overwrite,
                      .files = copySubFiles,
                      .recursive = recursive,
                      .flush = flush})
        .run();
}

bool CDir::TransferDir(const stringEx& source, const stringEx& target, bool overwrite, bool allowCopy) {
    return tree_walk({.source = without_final_separators(full_path(source)),
                      .target = without_final_separators(full_path(target)),
                      .moves = true,
                      .allow_copy = allowCopy,
                      .overwrite = overwrite,
                      .files = true,
                      .recursive = true,
                      .flush = false})
        .run();
}

}  // namespace Orlo

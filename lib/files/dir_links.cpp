// Links, and the scripts that stand in for links that would have to say more than a path.

#include <sys/stat.h>
#include <unistd.h>

#include "files/path_call.h"
#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> SYMLINK_NOTHING{
    {.code = dir_code::empty, .head = "CDir::MakeSymbolicLink - nothing to make"}};
constexpr errno_sentence SYMLINK_SENTENCES[] = {
    {ENOENT, "invalid shortcut path"},
    {EIO, "io error occurs while reading from or writing to the file system"},
    {EACCES, "permission denied"},
    {EEXIST, "shortcut file already exists"},
    {ENOTDIR, "a component of the prefix of the shortcut is not a directory"},
    {ENOSPC, "out of file system's capacity"},
    {EROFS, "the new symbolic link would reside on a read-only file system"},
    {ENAMETOOLONG, "shortcut path is too long, or nested symbolic link"},
    {ELOOP, "a loop exists in symbolic links, or too many levels of target"},
};
constexpr failure<dirExp> SYMLINK_FAILED{{
    .code = dir_code::symbolic_link,
    .head = "CDir::MakeSymbolicLink - failed create symbolic link\n",
    .keys = {"  old path     = ", "  new path     = ", "  error number = ", "  error desc   = "},
    .sentences = SYMLINK_SENTENCES,
}};
constexpr failure<dirExp> SCRIPT_FAILED{{
    .code = dir_code::symbolic_link,
    .head = "CDir::MakeSymbolicLink - failed create shell script\n",
    .keys = {"  old path     = ", "  new path     = ", "  arguments    = ", "  work folder  = "},
}};

constexpr failure<dirExp> HARD_LINK_NOTHING{
    {.code = dir_code::empty, .head = "CDir::MakeHardLink - nothing to make"}};
constexpr errno_sentence HARD_LINK_SENTENCES[] = {
    {EPERM, "permission denied, or the old path is a directory"},
    {ENOENT, "invalid path name"},
    {EIO, "io error occurs while reading from or writing to the file system"},
    {EACCES, "permission denied"},
    {EEXIST, "the new path already exists"},
    {EXDEV, "the new path would reside on a different file system"},
    {ENOTDIR, "a component of the prefix of the path is not a directory"},
    {ENOSPC, "out of file system's capacity"},
    {EROFS, "the new path would reside on a read-only file system"},
    {EMLINK, "the max number of links to the old path would exceed"},
    {ENAMETOOLONG, "new path is too long, or nested symbolic link"},
    {ELOOP, "a loop exists during symbolic resolution, or too many levels of target"},
};
constexpr failure<dirExp> HARD_LINK_FAILED{{
    .code = dir_code::hard_link,
    .head = "CDir::MakeHardLink - failed create hard link\n",
    .keys = SYMLINK_FAILED.keys,
    .sentences = HARD_LINK_SENTENCES,
}};

constexpr mode_t SCRIPT_MODE = 0777;

/// A text between double quotes of the shell, which take nothing in it for more than it is.
stringEx quoted(const stringEx& text) {
    stringEx made("\"");
    for (const char c : text.view()) {
        if (std::string_view("\"$`\\").find(c) != std::string_view::npos) made.append('\\');
        made.append(c);
    }
    return made.append('"');
}

stringEx script_text(const stringEx& old_path, const stringEx& arguments, const std::vector<stringEx>& lines,
                     const stringEx& work_folder) {
    stringEx text("#!/bin/sh\n");
    for (const stringEx& line : lines)
        text.append(line).append('\n');
    if (!work_folder.empty()) text.append("cd ").append(quoted(work_folder)).append('\n');
    return text.append(quoted(old_path)).append(' ').append(arguments).append(" \"$@\"\n");
}

void write_script(const stringEx& path, const stringEx& old_path, const stringEx& text) {
    CSysFile file;
    file.Open(path, file_access::write, O_CREAT | O_EXCL, file_sharing::exclusive);
    try {
        for (std::size_t done = 0; done < text.size();)
            done += file.Write(text.data() + done, text.size() - done);
        if (::fchmod(static_cast<int>(file.GetDescriptor()), SCRIPT_MODE) != 0)
            SYMLINK_FAILED.raise({old_path, path, system_error{errno}});
        file.Close();
    } catch (...) {
        call_with_path(path, [](const char* name) { return ::unlink(name); });
        throw;
    }
}

}  // namespace

void CDir::MakeSymbolicLink(const stringEx& newPath, const stringEx& oldPath, const stringEx& arguments,
                            const std::vector<stringEx>& extraLines, const stringEx& workFolder) {
    if (newPath.empty()) SYMLINK_NOTHING.raise();
    const stringEx path = CleanPath(newPath);
    if (arguments.empty() && extraLines.empty() && workFolder.empty()) {
        const int made = call_with_path(oldPath, [&](const char* to) {
            return call_with_path(path, [&](const char* name) { return ::symlink(to, name); });
        });
        if (made != 0) SYMLINK_FAILED.raise({oldPath, newPath, system_error{errno}});
        return;
    }
    try {
        write_script(path, oldPath, script_text(oldPath, arguments, extraLines, workFolder));
    } catch (const rootExp& inner) {
        SCRIPT_FAILED.raise({oldPath, newPath, arguments, workFolder, wrapped{inner}});
    }
}

void CDir::MakeHardLink(const stringEx& newPath, const stringEx& oldPath) {
    if (newPath.empty()) HARD_LINK_NOTHING.raise();
    const int made = call_with_path(CleanPath(oldPath), [&](const char* old_name) {
        return call_with_path(CleanPath(newPath), [&](const char* name) { return ::link(old_name, name); });
    });
    if (made != 0) HARD_LINK_FAILED.raise({oldPath, newPath, system_error{errno}});
}

}  // namespace Orlo

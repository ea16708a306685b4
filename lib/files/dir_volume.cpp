// File systems: what they have room for, and which one holds a path.

#include <sys/statvfs.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "files/path_call.h"
#include "files/path_parts.h"
#include "orlo/files/c_file.h"
#include "orlo/files/dir.h"
#include "orlo/files/proc_file.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr errno_sentence STATVFS_SENTENCES[] = {
    {ENOENT, "path does not exists"},
    {EIO, "an error occurred while reading from the file system"},
    {EACCES, "search permission is denied for a component of the path prefix"},
    {ENOTDIR, "a component of the path prefix is not a directory"},
    {ENAMETOOLONG, "path name is too long"},
    {ELOOP, "a loop exists in symbolic links encountered during resolution of the path"},
    {EOVERFLOW, "one of the value is out-of-range"},
};
constexpr failure<dirExp> STATVFS_FAILED{{
    .code = dir_code::status,
    .head = "PosixStat - failed retrive the status of giving path\n",
    .keys = {"  path       = ", "  error code = ", "  error desc = "},
    .sentences = STATVFS_SENTENCES,
}};
constexpr failure<dirExp> SPACE_FAILED{{
    .code = dir_code::space,
    .head = "CDir::GetSpaceInfo - failed retrieve space info\n",
}};
constexpr failure<dirExp> TOPOLOGY_FAILED{{
    .code = dir_code::topology,
    .head = "CDir::GetStorageTopology - failed retrieve storage's topology info\n",
}};
constexpr failure<dirExp> VOLUME_NOTHING{
    {.code = dir_code::empty, .head = "CDir::GetPathVolume - path is empty"}};

constexpr std::size_t STREAM_STEP = 1024;
constexpr std::size_t MOUNTS_STEP = 16384;

struct statvfs volume_status(const stringEx& path, const failure<dirExp>& failed) {
    struct statvfs status {};
    const stringEx clean = CDir::CleanPath(path);
    if (call_with_path(clean, [&](const char* text) { return ::statvfs(text, &status); }) == 0) return status;
    const dirExp inner(STATVFS_FAILED.text({path, system_error{errno}}), STATVFS_FAILED.code);
    failed.raise({wrapped{inner}});
}

// --- the list of what is mounted

stringEx text_of(CCFile& file) {
    stringEx text;
    char part[STREAM_STEP];
    while (const std::size_t count = file.Read(part, sizeof part))
        text.append(part, count);
    return text;
}

stringEx mtab_text(const char* path) {
    struct stat status;
    if (::stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    CCFile file;
    file.Open(path, "r");
    return text_of(file);
}

stringEx proc_mounts_text() {
    stringEx text;
    ReadProcFile(text, "/proc/mounts"_lit, MOUNTS_STEP);
    return text;
}

stringEx mount_command_text() {
    struct closer {
        void operator()(std::FILE* command) const { ::pclose(command); }
    };
    const std::unique_ptr<std::FILE, closer> command(::popen("mount", "re"));
    CCFile output(command.get());
    return text_of(output);
}

/// Where a list of mounts comes from, and which field of its lines is the mount point.
struct mount_source {
    stringEx (*read)();
    std::size_t point;
};
constexpr mount_source SOURCES[] = {
    {[] { return mtab_text("/etc/mtab"); }, 1},
    {proc_mounts_text, 1},
    {[] { return mtab_text("/etc/mnttab"); }, 1},
    {mount_command_text, 2},  // "/dev/sda1 on / type ext4 (rw)"
};

stringEx read_source(const mount_source& source) {
    try {
        return source.read();
    } catch (const rootExp&) {
        return {};  // another source may still tell
    }
}

/// Field number `index` of a line of fields that blanks and tabs separate; empty if there are fewer.
std::string_view field_of(std::string_view line, std::size_t index) {
    for (;;) {
        const std::size_t start = line.find_first_not_of(" \t\r");
        if (start == line.npos) return {};
        const std::size_t end = std::min(line.find_first_of(" \t\r", start), line.size());
        if (index-- == 0) return line.substr(start, end - start);
        line.remove_prefix(end);
    }
}

/// A mount point as a path: "\040" and the like are the bytes that they stand for, any other backslash is a
/// separator, and of several separators one stays.
stringEx mount_path(std::string_view field) {
    const auto digit = [&](std::size_t at) {
        return at < field.size() && field[at] >= '0' && field[at] <= '7' ? field[at] - '0' : -1;
    };
    stringEx path;
    for (std::size_t i = 0; i < field.size(); ++i) {
        char c = field[i];
        if (c == '\\' && digit(i + 1) >= 0 && digit(i + 2) >= 0 && digit(i + 3) >= 0) {
            c = static_cast<char>(digit(i + 1) << 6 | digit(i + 2) << 3 | digit(i + 3));
            i += 3;
        }
        if (c == '\\') c = '/';
        if (c != '/' || !path.ends_with(CDir::separator)) path.append(c);
    }
    return without_final_separators(path);
}

bool lies_in(std::string_view path, std::string_view folder) {
    if (folder == CDir::separator) return true;
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace

void CDir::GetSpaceInfo(const stringEx& path, std::uint64_t& available, std::uint64_t& total) {
    const struct statvfs status = volume_status(path, SPACE_FAILED);
    available = std::uint64_t{status.f_frsize} * status.f_bavail;
    total = std::uint64_t{status.f_frsize} * status.f_blocks;
}

void CDir::GetStorageTopology(const stringEx& path, std::uint64_t& fragmentSize, std::uint64_t& blockSize,
                              bool* isReadOnly) {
    const struct statvfs status = volume_status(path, TOPOLOGY_FAILED);
    fragmentSize = status.f_frsize;
    blockSize = status.f_bsize;
    if (isReadOnly != nullptr) *isReadOnly = (status.f_flag & ST_RDONLY) != 0;
}

void CDir::GetPathVolume(stringEx& path) {
    if (path.empty()) VOLUME_NOTHING.raise();
    const stringEx full = without_final_separators(full_path(path));
    stringEx longest("/");
    for (const mount_source& source : SOURCES) {
        const stringEx text = read_source(source);
        if (text.empty()) continue;
        std::vector<stringEx::range> lines;
        text.split_ranges(lines, "\n");
        for (const auto& [start, size] : lines) {
            const std::string_view line = text.view().substr(start, size);
            const stringEx point = mount_path(field_of(line, source.point));
            if (point.size() > longest.size() && lies_in(full.view(), point.view())) longest = point;
        }
        break;
    }
    path = longest;
}

bool CDir::IsSameVolume(const stringEx& a, const stringEx& b) {
    stringEx volume_a = a, volume_b = b;
    GetPathVolume(volume_a);
    GetPathVolume(volume_b);
    return volume_a == volume_b;
}

}  // namespace Orlo

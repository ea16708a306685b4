// Temporary files. The time is the source of names, and making the file decides whose a name is.

#include <sys/stat.h>

#include "files/path_call.h"
#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "orlo/strings/environment.h"
#include "orlo/time/time.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> BASE_MISSING{{
    .code = dir_code::temp_name,
    .head = "CDir::GenTempFileName - invalid obj, or the base dir has been removed\n",
    .keys = {"  base dir = "},
}};
constexpr char IN_BASE_HEAD[] = "CDir::GenTempFileName - error generate unique temp file name\n";
constexpr char IN_SYSTEM_HEAD[] =
    "CDir::GenTempFileNameInSysTempDir - error generate unique temp file name\n";
constexpr failure<dirExp> IN_BASE_FAILED{{
    .code = dir_code::temp_name,
    .head = IN_BASE_HEAD,
    .keys = {"  base dir = ", "  error    = "},
}};
constexpr failure<dirExp> IN_SYSTEM_FAILED{{
    .code = dir_code::temp_name,
    .head = IN_SYSTEM_HEAD,
    .keys = {"  temp dir = ", "  error    = "},
}};

constexpr int MOST_TRIES = 1000;
constexpr std::uint64_t NAME_MASK = 0xffffff;

stringEx name_in(const stringEx& dir) {
    stringEx name = dir;
    if (!name.ends_with(CDir::separator)) name.append('/');
    const std::uint64_t now = static_cast<std::uint64_t>(CTime::GetCurrent().GetValue());
    name.append_format(16, "%lx", now & NAME_MASK);
    return name.append(".tmp");
}

stringEx make_in(const stringEx& dir, const failure<dirExp>& failed) {
    for (int tries = 0; tries < MOST_TRIES; ++tries) {
        const stringEx name = name_in(dir);
        try {
            CSysFile file;
            file.Open(name, file_access::read_write, O_CREAT | O_EXCL, file_sharing::exclusive);
            file.Close();
            return name;
        } catch (const sysfileExp& inner) {
            struct stat status;
            const auto lstat = [&](const char* path) { return ::lstat(path, &status); };
            if (call_with_path(name, lstat) != 0) failed.raise({dir, wrapped{inner}});
        }
    }
    failed.raise({dir, "too many retry time"});
}

}  // namespace

stringEx CDir::GenTempFileName(const stringEx& baseDir) {
    if (!IsDir(CleanPath(baseDir))) BASE_MISSING.raise({baseDir});
    return make_in(baseDir, IN_BASE_FAILED);
}

stringEx CDir::GenTempFileNameInSysTempDir() {
    return make_in(GetSysTempDir(), IN_SYSTEM_FAILED);
}

stringEx CDir::GetSysTempDir() {
    if (stringEx named = GetEnv("TMPDIR"); !named.empty()) return named;
    if (IsDir("/tmp"_lit)) return "/tmp/"_lit;
    // where there is only "/usr/tmp", "/var/tmp" is known to be the same
    if (IsDir("/var/tmp"_lit) || IsDir("/usr/tmp"_lit)) return "/var/tmp/"_lit;
    return "./tmp/"_lit;
}

}  // namespace Orlo

// Paths: cleaning, splitting, making absolute. The object's own path comes from here.
//
// `ConvToFullPath` works on the segments between separators: "a//./b/../c/" in /x/ is joined to
// "/x/a//./b/../c/", its segments are x, a, (empty), ".", b, "..", c, and what is kept is x, a, c: "/x/a/c/".
// Linear in the text.

#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "orlo/files/dir.h"
#include "orlo/strings/environment.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> OPEN_NOTHING{{.code = dir_code::empty, .head = "CDir::Open - nothing to open"}};
constexpr failure<dirExp> OPEN_MISSING{{
    .code = dir_code::missing,
    .head = "CDir::Open - error open dir, not exist\n",
    .keys = {"  dir to open         = ", "  current working dir = "},
    .tail = "\n",
}};
constexpr failure<dirExp> CONVERT_NOTHING{
    {.code = dir_code::empty, .head = "CDir::ConvToFullPath - nothing to convert"}};
constexpr failure<dirExp> CONVERT_HOMELESS{{
    .code = dir_code::empty,
    .head = "CDir::ConvToFullPath - failed determine the home directory\n",
    .keys = {"  path = "},
}};
constexpr failure<dirExp> DIR_OF_NOTHING{
    {.code = dir_code::empty, .head = "CDir::GetPathDir - nothing to match"}};
constexpr failure<dirExp> NAME_OF_NOTHING{
    {.code = dir_code::empty, .head = "CDir::GetPathFilename - nothing to match"}};

void ensure_final_separator(stringEx& path) {
    if (!path.ends_with(CDir::separator)) path.append('/');
}

/// The user's home directory; empty if the system knows none.
stringEx home_dir() {
    if (stringEx home = GetEnv("HOME"); !home.empty()) return home;
    std::vector<char> scratch(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || found == nullptr) {
        return {};
    }
    return found->pw_dir;
}

/// Where a relative path begins; cuts what only says so off the path.
stringEx take_origin(stringEx& path) {
    stringEx origin;
    if (path.starts_with("~/"_lit)) {
        origin = home_dir();
        if (origin.empty()) CONVERT_HOMELESS.raise({path});
        ensure_final_separator(origin);
        path = path.substr(2);
        return origin;
    }
    if (path.starts_with("./"_lit)) path = path.substr(2);
    CDir::GetPwd(origin);
    return origin;
}

/// True if `path` is absolute and has nothing to convert: "/", or segments that are neither empty nor begin
/// with a dot.
bool is_plain(std::string_view path) {
    return path.starts_with('/') && path.find('\\') == path.npos && path.find("//") == path.npos &&
           path.find("/.") == path.npos;
}

/// Removes empty segments and ".", and lets each ".." take the segment before it. The root stays "/".
stringEx normalised(const stringEx& path) {
    std::vector<stringEx::range> segments;
    path.split_ranges(segments, CDir::separator);
    std::vector<std::string_view> kept;
    for (const auto& [offset, length] : segments) {
        const std::string_view segment = path.view().substr(offset, length);
        if (segment == "..") {
            if (!kept.empty()) kept.pop_back();
        } else if (!segment.empty() && segment != ".") {
            kept.push_back(segment);
        }
    }
    stringEx built;
    built.assign_reserve(path.size() + 2);
    for (const std::string_view segment : kept)
        built.append('/').append(segment);
    if (kept.empty() || path.ends_with(CDir::separator)) built.append('/');
    return built;
}

/// The working directory for a message about something else.
stringEx pwd_or_nothing() {
    stringEx pwd;
    try {
        CDir::GetPwd(pwd);
    } catch (const dirExp&) {
        // the failure that the message is about matters more
    }
    return pwd;
}

}  // namespace

stringEx CDir::CleanPath(const stringEx& path) {
    stringEx clean = path.terminated();
    clean.replace_all(backslash, separator);
    if (clean.ends_with(doubled_separator)) clean = clean.substr(0, clean.size() - 1);
    return clean;
}

void CDir::ConvToFullPath(stringEx& path) {
    if (path.empty()) CONVERT_NOTHING.raise();
    if (is_plain(path.view())) {
        path = path.terminated();  // which is the path's own, as that of `CleanPath` is
        return;
    }
    stringEx full = CleanPath(path);
    if (!full.starts_with(separator)) {
        stringEx origin = take_origin(full);
        full = std::move(origin.append(full));
    }
    path = normalised(full);
}

void CDir::GetPathDir(stringEx& path) {
    if (path.empty()) DIR_OF_NOTHING.raise();
    stringEx clean = CleanPath(path);
    if (clean.ends_with(separator) || IsDir(clean)) {
        ensure_final_separator(clean);
        path = std::move(clean);
        return;
    }
    const std::size_t last = clean.find_last(separator);
    path = last == stringEx::npos ? "./"_lit : clean.substr(0, last + 1);
}

void CDir::GetPathFilename(stringEx& path) {
    if (path.empty()) NAME_OF_NOTHING.raise();
    stringEx clean = CleanPath(path);
    if (clean.ends_with(separator) || IsDir(clean)) {
        path.clear();
        return;
    }
    const std::size_t last = clean.find_last(separator);
    path = last == stringEx::npos ? std::move(clean) : clean.substr(last + 1);
}

void CDir::Open(const stringEx& path, bool create, bool noCheck) {
    const stringEx asked = path;  // which may be this object's own
    m_path.clear();
    if (asked.empty()) OPEN_NOTHING.raise();
    stringEx full = asked;
    ConvToFullPath(full);
    ensure_final_separator(full);
    if (!noCheck && !IsDir(full)) {
        if (!create) OPEN_MISSING.raise({asked, pwd_or_nothing()});
        MakeDir(full, true);
    }
    m_path = std::move(full);
}

void CDir::ChangeDir(const stringEx& path, bool create) {
    stringEx resolved = path;
    ResolvePath(resolved);
    CDir changed;
    changed.Open(resolved, create);
    *this = std::move(changed);
}

void CDir::ResolvePath(stringEx& path) const {
    if (path.empty()) return;
    stringEx clean = CleanPath(path);
    if (!clean.starts_with(separator)) {
        stringEx joined = m_path;
        clean = std::move(joined.append(clean));
        ConvToFullPath(clean);
    }
    path = std::move(clean);
}

}  // namespace Orlo

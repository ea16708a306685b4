// Enumeration of whole folders. The pattern is split into folder and mask once; the mask is never taken for a
// path again, so that it does not matter whether the working directory holds a folder of that name.

#include "files/dir_walk.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<dirExp> FILES_FAILED{{
    .code = dir_code::all_files,
    .head = "CDir::GetAllFiles - failed find files\n",
    .keys = {"  base dir = "},
}};

}  // namespace

/// A pattern taken apart: where to look, and for which names.
struct CDir::target {
    CDir dir;
    stringEx mask;
};

CDir::target CDir::_SplitPattern(const stringEx& pattern) const {
    const stringEx whole = pattern.empty() ? "*"_lit : pattern;
    stringEx dir = whole;
    GetPathDir(dir);
    if (dir == "./") return {*this, whole};

    target split{*this, whole};
    GetPathFilename(split.mask);
    if (split.mask.empty()) split.mask = "*"_lit;
    if (dir.starts_with(separator)) {
        split.dir.Open(dir);
    } else {
        split.dir.ChangeDir(dir);
    }
    return split;
}

std::size_t CDir::GetAllFiles(std::vector<stringEx>& files, const stringEx& pattern, bool recursive,
                              bool includeHidden, bool ignoreErrors) const {
    const auto [base, mask] = _SplitPattern(pattern);
    const std::size_t before = files.size();
    try {
        const bool keepsSeparator = base.m_path.size() < 2;  // the root is its separator
        CDir().Open(base.m_path.substr(0, base.m_path.size() - (keepsSeparator ? 0 : 1)));
        dir_walk({.mask = mask,
                  .files = &files,
                  .recursive = recursive,
                  .hidden = includeHidden,
                  .ignore_errors = ignoreErrors})
            .run(base.m_path);
    } catch (const rootExp& inner) {
        files.erase(files.begin() + static_cast<std::ptrdiff_t>(before), files.end());
        FILES_FAILED.raise({base.m_path, wrapped{inner}});
    }
    return files.size();
}

std::size_t CDir::GetAllSubDirs(std::vector<stringEx>& dirs, const stringEx& pattern, bool recursive,
                                bool includeHidden, bool includeDots, bool ignoreErrors) const {
    const auto [base, mask] = _SplitPattern(pattern);
    dir_walk({.mask = mask,
              .folders = &dirs,
              .recursive = recursive,
              .hidden = includeHidden,
              .dots = includeDots,
              .ignore_errors = ignoreErrors})
        .run(base.m_path);
    return dirs.size();
}

}  // namespace Orlo

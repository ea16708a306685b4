// Enumeration by regular expression: everything is listed, and the names that match are kept. The expression
// is read first, so that a wrong one fails before anything is listed.

#include "orlo/files/dir.h"
#include "orlo/regex/regex.h"

namespace Orlo {
namespace {

/// Moves the paths whose name, the part after the last "/", matches.
void move_matching(std::vector<stringEx>& listed, const CRegEx& expression, std::vector<stringEx>& kept) {
    std::erase_if(listed, [&](const stringEx& path) {
        const std::string_view whole = path;
        return !expression.IsMatch(whole.substr(whole.rfind('/') + 1));
    });
    kept.insert(kept.end(), listed.begin(), listed.end());
}

}  // namespace

std::size_t CDir::GetAllFilesRegEx(std::vector<stringEx>& files, const stringEx& expression, bool recursive,
                                   bool includeHidden, bool ignoreErrors, std::uint32_t flags) const {
    const CRegEx read(expression, flags);
    std::vector<stringEx> listed;
    GetAllFiles(listed, "*"_lit, recursive, includeHidden, ignoreErrors);
    move_matching(listed, read, files);
    return files.size();
}

std::size_t CDir::GetAllSubDirsRegEx(std::vector<stringEx>& dirs, const stringEx& expression, bool recursive,
                                     bool includeHidden, bool includeDots, bool ignoreErrors,
                                     std::uint32_t flags) const {
    const CRegEx read(expression, flags);
    std::vector<stringEx> listed;
    GetAllSubDirs(listed, "*"_lit, recursive, includeHidden, includeDots, ignoreErrors);
    move_matching(listed, read, dirs);
    return dirs.size();
}

}  // namespace Orlo

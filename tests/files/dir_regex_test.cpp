#include <gtest/gtest.h>

#include <algorithm>

#include "orlo/files/dir.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using names = std::vector<std::string>;

/// The names of paths below a folder, sorted.
names below(const std::string& folder, const std::vector<stringEx>& paths) {
    names made;
    for (const stringEx& path : paths)
        made.emplace_back(path.view().substr(folder.size() + 1));
    std::sort(made.begin(), made.end());
    return made;
}

TEST(DirRegEx, names_match_anywhere_and_folders_do_not_count) {
    const testing_support::temp_dir temp{{"a1"},       {"b2"},        {"Ax"},        {".a"},
                                         {"a_dir/b1"}, {"a_dir/a22"}, {"a_dir/x2/y"}};
    CDir dir;
    dir.Open(temp.path().c_str());
    const auto files = [&](const char* expression, bool recursive, bool hidden, std::uint32_t flags) {
        std::vector<stringEx> found;
        const std::size_t count = dir.GetAllFilesRegEx(found, expression, recursive, hidden, false, flags);
        EXPECT_EQ(count, found.size());
        return below(temp.path(), found);
    };
    EXPECT_EQ(files("a", false, false, 0), (names{"a1"}));
    EXPECT_EQ(files("^a", false, true, 1), (names{"Ax", "a1"}));
    EXPECT_EQ(files("[0-9]$", true, false, 0), (names{"a1", "a_dir/a22", "a_dir/b1", "b2"}));
    EXPECT_EQ(files("^\\.", false, true, 0), (names{".a"}));
    EXPECT_EQ(files("dir", true, true, 0), names{});

    std::vector<stringEx> dirs{"before"};
    EXPECT_EQ(dir.GetAllSubDirsRegEx(dirs, "^x[0-9]|r$", true), 3u);
    dirs.erase(dirs.begin());
    EXPECT_EQ(below(temp.path(), dirs), (names{"a_dir", "a_dir/x2"}));
    EXPECT_THROW(dir.GetAllFilesRegEx(dirs, "("), regexExp);
    EXPECT_EQ(dirs.size(), 2u);
}

}  // namespace
}  // namespace Orlo

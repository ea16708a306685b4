#include <gtest/gtest.h>
#include <sys/resource.h>

#include "orlo/files/dir.h"
#include "support/expect_throw.h"
#include "support/faults.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;

struct Listing : testing::Test, faults::clean_slate {
    Listing() {
        for (const char* file : {"a.csv", "a.b.csv", "a.csv.csv", "A.CSV", ".hidden.csv", "note", "sub/b.csv",
                                 "sub/deep/c.csv", ".secret/d.csv", "x1/e.csv", "x2/.f.csv", "\xff\xfe.csv"})
            temp.write_file(file);
        temp.make_link("link.csv", "note");
        temp.make_link("dangling.csv", "nowhere");
        temp.make_link("loop.csv", "loop.csv");
        temp.make_link("linked_dir", "x1");
        dir.Open(temp.path().c_str());
    }

    /// The paths without the test's directory, each with a blank behind it.
    std::string text_of(const std::vector<stringEx>& paths) const {
        std::string text;
        for (const stringEx& path : paths) {
            EXPECT_TRUE(path.starts_with(temp.path() + "/")) << path;
            text.append(path.view().substr(temp.path().size() + 1)) += ' ';
        }
        return text;
    }
    std::string sorted(std::vector<stringEx>& paths) const {
        std::sort(paths.begin(), paths.end());
        return text_of(paths);
    }
    std::string files(const std::string& pattern, bool recursive = false, bool hidden = false) const {
        std::vector<stringEx> found;
        const std::size_t count = dir.GetAllFiles(found, pattern.c_str(), recursive, hidden);
        EXPECT_EQ(count, found.size());
        return sorted(found);
    }
    std::string missing(const std::string& path) const {
        return "CDir::Open - error open dir, not exist\n  dir to open         = " + path +
               "\n  current working dir = " + temp.path() + "/\n";
    }

    temp_dir temp;
    CDir dir;
};

std::string files_failed(const std::string& base, const std::string& inner) {
    return "CDir::GetAllFiles - failed find files\n  base dir = " + base + "\n@ " + inner;
}
std::string dirs_failed(const std::string& base, const std::string& inner) {
    return "CDir::GetAllSubDirs - failed find subdirs\n  base dir = " + base + "\n@ " + inner;
}
const std::string READ_FAILED =
    "PosixReadDir - error enum entries in the directory\n  error code = 9\n"
    "  error desc = the argument does not refer to an open directory stream";

TEST_F(Listing, FilesByPattern) {
    const struct {
        std::string pattern;
        bool recursive, hidden;
        const char* expected;
    } rows[] = {
        {"*.csv", false, false, "a.b.csv a.csv link.csv \xff\xfe.csv "},
        {"*.csv", false, true, ".hidden.csv a.b.csv a.csv link.csv \xff\xfe.csv "},
        {".*", false, false, ""},
        {".*", false, true, ".hidden.csv "},
        {"", false, false, "A.CSV a.b.csv a.csv a.csv.csv link.csv note \xff\xfe.csv "},
        {"?.csv", false, false, "a.csv "},
        {"\xff*", false, false, "\xff\xfe.csv "},
        {"missing*", false, false, ""},
        {"sub", false, false, ""},
        {"./*.csv", false, false, ""},
        {"sub/", false, false, "sub/b.csv "},
        {"sub\\*", false, false, "sub/b.csv "},
        {"sub/*", true, false, "sub/b.csv sub/deep/c.csv "},
        {"sub/../x1/*", false, false, "x1/e.csv "},
        {"?.csv", true, false, "a.csv linked_dir/e.csv sub/b.csv sub/deep/c.csv x1/e.csv "},
        {"?.csv", true, true, ".secret/d.csv a.csv linked_dir/e.csv sub/b.csv sub/deep/c.csv x1/e.csv "},
        {temp / "sub/deep/*", false, false, "sub/deep/c.csv "},
        {temp / "x2", false, true, "x2/.f.csv "},
        {temp / "x2", false, false, ""},
    };
    for (const auto& [pattern, recursive, hidden, expected] : rows) {
        EXPECT_EQ(files(pattern, recursive, hidden), expected)
            << pattern << (recursive ? " recursive" : "") << (hidden ? " hidden" : "");
    }
}

TEST_F(Listing, MasksAreNotPathsOfTheWorkingDirectory) {
    temp.make_dir("elsewhere/note");
    temp.make_dir("elsewhere/*");
    const working_dir here(temp / "elsewhere");
    EXPECT_EQ(files(temp / "note"), "note ");
    EXPECT_EQ(files(temp / "sub/", true), "sub/b.csv sub/deep/c.csv ");
}

TEST_F(Listing, SubDirs) {
    const struct {
        std::string pattern;
        bool recursive, hidden, dots;
        const char* expected;
    } rows[] = {
        {"*", false, false, false, "linked_dir sub x1 x2 "},
        {"", false, true, false, ".secret linked_dir sub x1 x2 "},
        {"deep", true, false, false, "sub/deep "},
        {"*", true, false, false, "linked_dir sub sub/deep x1 x2 "},
        {"sub/*", false, false, false, "sub/deep "},
        {temp / "sub", false, false, true, "sub/. sub/.. sub/deep "},
        {temp / "sub", true, false, true, "sub/. sub/.. sub/deep sub/deep/. sub/deep/.. "},
    };
    for (const auto& [pattern, recursive, hidden, dots, expected] : rows) {
        std::vector<stringEx> found;
        dir.GetAllSubDirs(found, stringEx(pattern), recursive, hidden, dots);
        EXPECT_EQ(sorted(found), expected) << pattern;
    }
}

TEST_F(Listing, AppendsInPreOrder) {
    for (const char* leaf : {"t/a/b", "t/a/c/d", "t/e/f"})
        temp.make_dir(leaf);
    std::vector<stringEx> found{stringEx(temp / "before")};
    EXPECT_EQ(dir.GetAllSubDirs(found, "t/*", true), 7u);
    const std::string walk = text_of(found);
    EXPECT_TRUE(walk.starts_with("before ")) << walk;
    EXPECT_NE(walk.find("t/e t/e/f "), walk.npos) << walk;
    EXPECT_TRUE(walk.find("t/a t/a/b t/a/c t/a/c/d ") != walk.npos ||
                walk.find("t/a t/a/c t/a/c/d t/a/b ") != walk.npos)
        << walk;
}

TEST_F(Listing, LinkLoopEnds) {
    temp.make_dir("round");
    temp.make_link("round/again", ".");
    std::vector<stringEx> found;
    EXPECT_EQ(dir.GetAllSubDirs(found, "round/*", true), 40u) << "as many links as the system follows";
}

// Fewer descriptors than levels: a walk that kept each level open would lose the lower ones.
TEST_F(Listing, DeepTreeNeedsOneDescriptor) {
    std::string deep = "deep";
    for (int level = 0; level < 100; ++level)
        deep += "/d";
    temp.write_file(deep + "/bottom.txt");
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{32, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_EQ(files("deep/bottom*", true), deep + "/bottom.txt ");
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(Listing, MissingDirectoryPart) {
    const working_dir here(temp.path());
    std::vector<stringEx> found;
    EXPECT_FAILURE(dir.GetAllFiles(found, "none/*.csv"), dirExp, 3, missing(temp / "none/"));
    EXPECT_FAILURE(dir.GetAllFiles(found, "/none/"), dirExp, 3, missing("/none/"));
    EXPECT_FAILURE(dir.GetAllSubDirs(found, "none/*"), dirExp, 3, missing(temp / "none/"));
    EXPECT_FAILURE(CDir().GetAllFiles(found, "*"), dirExp, 19,
                   files_failed("", "CDir::Open - nothing to open"));
    EXPECT_TRUE(found.empty());
}

TEST_F(Listing, FailuresOnTheWay) {
    std::vector<stringEx> found;
    faults::fail_next("opendir", EACCES);
    EXPECT_EQ(dir.GetAllFiles(found, "*"), 0u) << "cannot be opened: no entries, no error";
    faults::fail_next("readdir", EBADF);
    EXPECT_EQ(dir.GetAllFiles(found, "*"), 0u) << "cannot even be begun: the same";

    const std::string sub = temp / "sub/";
    faults::fail_next("readdir", EBADF, 1, 4);
    EXPECT_FAILURE(dir.GetAllFiles(found, "sub/*.none"), dirExp, 19, files_failed(sub, READ_FAILED));
    faults::fail_next("readdir", EBADF);
    EXPECT_FAILURE(dir.GetAllSubDirs(found, "sub/*"), dirExp, 20, dirs_failed(sub, READ_FAILED));

    // sub/ is read in five steps: ".", "..", two entries and the end; then comes sub/deep/
    const std::string deep = dirs_failed(sub, dirs_failed(sub + "deep/", READ_FAILED));
    faults::fail_next("readdir", EBADF, 1, 5);
    EXPECT_FAILURE(dir.GetAllSubDirs(found, "sub/*", true), dirExp, 20, deep);
    EXPECT_EQ(text_of(found), "sub/deep ");
    faults::fail_next("readdir", EBADF, 1, 5);
    EXPECT_FAILURE(dir.GetAllFiles(found, "sub/*", true), dirExp, 19, files_failed(sub, deep));
    EXPECT_EQ(faults::pending(), 0);
}

TEST_F(Listing, IgnoredErrorsLoseOnlyTheirOwnPart) {
    for (const char* leaf : {"t/a/x", "t/b/y", "t/c/z"})
        temp.make_dir(leaf);
    std::vector<stringEx> found;
    faults::fail_next("readdir", EIO, 1,
                      6);  // ".", "..", three entries and the end of t, then its first child
    EXPECT_EQ(dir.GetAllSubDirs(found, "t/*", true, false, false, true), 5u);
    faults::fail_next("readdir", EIO);
    EXPECT_THROW(dir.GetAllSubDirs(found, "t/*", true, false, false, true), dirExp) << "not in the descent";

    // a name with a backslash cannot be opened again, as the backslash is taken for a separator
    found.clear();
    temp.make_dir("w/in\\side");
    EXPECT_EQ(dir.GetAllSubDirs(found, "w/*", true, false, false, true), 1u);
    const working_dir here(temp.path());
    EXPECT_FAILURE(dir.GetAllSubDirs(found, "w/*", true), dirExp, 20,
                   dirs_failed(temp / "w/", missing(temp / "w/in\\side")));
}

TEST_F(Listing, CursorIsShared) {
    CDirCursor cursor;
    stringEx name;
    std::vector<stringEx> found;
    ASSERT_TRUE(dir.NextSubDir(cursor, name));
    found.push_back(name);
    CDirCursor copy = cursor;
    cursor.Close();
    EXPECT_FALSE(cursor.IsOpen());
    while (dir.NextSubDir(copy, name))
        found.push_back(name);
    EXPECT_EQ(sorted(found), "linked_dir sub x1 x2 ") << "the copy goes on where the other stood";
    EXPECT_TRUE(!copy.IsOpen() && name.empty());
    EXPECT_TRUE(dir.NextFile(copy, name)) << "an ended cursor begins again";
    faults::fail_next("opendir", EINTR, 2);
    CDirCursor interrupted;
    EXPECT_TRUE(dir.NextFile(interrupted, name));
}

TEST(ListingInMemory, HundredThousandFiles) {
    const temp_dir temp(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "");
    constexpr int count = 100'000;
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(::mknod((temp / std::to_string(i)).c_str(), S_IFREG | 0600, 0), 0);
    faults::reset();
    std::vector<stringEx> found;
    EXPECT_EQ(CDir().GetAllFiles(found, stringEx(temp / "*")), static_cast<std::size_t>(count));
    EXPECT_EQ(faults::calls("stat"), count + 4)
        << "one an entry, and four to take the pattern apart and open";
}

}  // namespace
}  // namespace Orlo

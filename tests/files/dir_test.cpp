#include "orlo/files/dir.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "files/dir_walk.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;

enum { RECURSIVE = 1, HIDDEN = 2, DOTS = 4, IGNORING = 8 };

struct Dir : testing::Test, faults::clean_slate {
    Dir() {
        temp.make_link("link.csv", "note");
        temp.make_link("loop.csv", "loop.csv");
        temp.make_link("linked_dir", "x1");
        dir.Open(".");
    }
    /// Runs one of the in-place functions over cases "input>expected", where "$" stands for the directory.
    template <class Convert>
    void expect_cases(Convert&& convert, const std::string& cases) const {
        stringEx text(cases);
        text.replace_all("$", base);
        std::istringstream words{std::string(text.view())};
        for (std::string word; words >> word;) {
            const std::string input = word.substr(0, word.find('>'));
            for (const stringEx& given : {stringEx(input), stringEx::borrow(input)}) {
                stringEx path = given;
                convert(path);
                EXPECT_EQ(input + ">" + std::string(path.view()), word);
                EXPECT_EQ(given.view(), input) << "the caller's other copy was changed";
            }
        }
    }
    /// The paths without the test's directory, each followed by a blank.
    std::string text_of(const std::vector<stringEx>& paths) const {
        stringEx text;
        for (const stringEx& path : paths)
            text.append(path).append(' ');
        text.replace_all(base + "/", "");
        return std::string(text.view());
    }
    std::string files(const std::string& pattern, int flags = 0) const {
        std::vector<stringEx> found;
        const std::size_t count = dir.GetAllFiles(found, pattern.c_str(), flags & RECURSIVE, flags & HIDDEN);
        EXPECT_EQ(count, found.size());
        std::sort(found.begin(), found.end());
        return text_of(found);
    }
    std::string dirs(const std::string& pattern, int flags = 0) const {
        std::vector<stringEx> found;
        dir.GetAllSubDirs(found, pattern.c_str(), flags & RECURSIVE, flags & HIDDEN, flags & DOTS,
                          flags & IGNORING);
        std::sort(found.begin(), found.end());
        return text_of(found);
    }
    std::string missing(const std::string& path) const {
        return "CDir::Open - error open dir, not exist\n  dir to open         = " + path +
               "\n  current working dir = " + base + "/\n";
    }

    const temp_dir temp{{"a.csv"},    {"a.csv.csv"},      {".hidden.csv"},   {"note"},      {"sub/b.csv"},
                        {"x1/e.csv"}, {"sub/deep/c.csv"}, {".secret/d.csv"}, {"x2/.f.csv"}, {"\xff\xfe.csv"}};
    const std::string& base = temp.path();
    const working_dir here{base};
    CDir dir;
};

std::string failed(const char* what, const std::string& base, const std::string& inner) {
    return "CDir::GetAll" + (what + ("\n  base dir = " + base)) + "\n@ " + inner;
}
const char FILES[] = "Files - failed find files", DIRS[] = "SubDirs - failed find subdirs";

TEST_F(Dir, Paths) {
    expect_cases([](stringEx& path) { path = CDir::CleanPath(path); },
                 "> a/>a/ a//>a/ a///>a// //>/ a\\b\\>a/b/ a\\/>a/ //a//b>//a//b \xff\\\x80>\xff/\x80");
    EXPECT_FALSE(CDir::CleanPath("a"_lit).is_borrowed());
    expect_cases(CDir::GetPathDir, "*>./ note>./ sub>sub/ .>./ a\\*>a/ none//>none/ /x>/ $/note>$/");
    expect_cases(CDir::GetPathFilename, "*>* sub> a/b\\c>c none/> /x>x $/note>note");

    ::setenv("HOME", "/home/me", 1);
    expect_cases(CDir::ConvToFullPath,
                 "a/../b>$/b a\\b>$/a/b ./a/>$/a/ .>$ ./>$/ ~>$/~ ~/>/home/me/ ~\\.\\a>/home/me/a />/ "
                 "/../../b>/b /a//b/./c/../d//>/a/b/d/ /...>/... /\xff/../\xfe>/\xfe");
    ::setenv("HOME", "", 1);
    stringEx home("~/a");
    CDir::ConvToFullPath(home);
    EXPECT_TRUE(home.starts_with("/"_lit) && home.ends_with("/a"_lit)) << home;
    const working_dir root("/");
    expect_cases(CDir::ConvToFullPath, "a/../../b>/b ..>/ a/>/a/");
}

TEST_F(Dir, OpensAndMakes) {
    dir.ChangeDir("sub");
    EXPECT_FAILURE(dir.ChangeDir("none"), dirExp, 3, missing(base + "/sub/none"));
    EXPECT_EQ(dir.GetPath().view(), base + "/sub/") << "a failed step goes nowhere";
    expect_cases([&](stringEx& path) { dir.ResolvePath(path); }, "> /x/..>/x/.. \\x>/x b/../c>$/sub/c ..>$");
    dir.Open(dir.GetPath());
    EXPECT_EQ(dir.GetPath().view(), base + "/sub/") << "its own path is no argument to lose";
    EXPECT_FAILURE(dir.Open("note"), dirExp, 3, missing("note"));
    EXPECT_TRUE(dir.GetPath().empty());
    dir.Open("none", false, true);
    EXPECT_EQ(dir.GetPath().view(), base + "/none/");

    for (const char* no : {"", "note", "loop.csv", "none"})
        EXPECT_FALSE(CDir::IsDir(no)) << no;
    EXPECT_FALSE(CDir::IsDir(stringEx("/\0", 2))) << "a zero byte must not cut the path";
    for (const char* path : {"a", "a/", "a\\b", "a/b/c//", "r\\s//t/"}) {
        CDir::MakeDir(path, *path == 'r');
        EXPECT_TRUE(CDir::IsDir(CDir::CleanPath(path))) << path;
    }
    dir.Open("n/e/w", true);
    EXPECT_TRUE(CDir::IsDir("n/e/w"));
}

TEST_F(Dir, FindsByPattern) {
    const struct {
        std::string pattern;
        int flags;
        const char *its_files, *its_dirs;
    } rows[] = {
        {"*.csv", 0, "a.csv link.csv \xff\xfe.csv ", ""},
        {".*", HIDDEN, ".hidden.csv ", ".secret "},
        {"", 0, "a.csv a.csv.csv link.csv note \xff\xfe.csv ", "linked_dir sub x1 x2 "},
        {"?.csv", RECURSIVE, "a.csv linked_dir/e.csv sub/b.csv sub/deep/c.csv x1/e.csv ", ""},
        {"d*", RECURSIVE | HIDDEN, ".secret/d.csv ", "sub/deep "},
        {"sub/../x2/", HIDDEN, "x2/.f.csv ", ""},
        {"sub\\*", DOTS, "sub/b.csv ", "sub/. sub/.. sub/deep "},
        {base + "/sub", RECURSIVE | DOTS, "sub/b.csv sub/deep/c.csv ",
         "sub/. sub/.. sub/deep sub/deep/. sub/deep/.. "},
    };
    for (const auto& [pattern, flags, its_files, its_dirs] : rows) {
        EXPECT_EQ(files(pattern, flags), its_files) << pattern;
        EXPECT_EQ(dirs(pattern, flags), its_dirs) << pattern;
    }
    faults::reset();
    files(base + "/*");
    EXPECT_EQ(faults::calls("stat"), 7) << "one a link, and four to take the pattern apart and open";
    const working_dir elsewhere(temp.make_dir("elsewhere/note") + "/..");
    EXPECT_EQ(files(base + "/note"), "note ") << "a mask is no path of the working directory";
}

TEST_F(Dir, WalksInPreOrderAndEnds) {
    for (const char* leaf : {"t/a/b", "t/a/c/d", "t/e/f", "round"})
        temp.make_dir(leaf);
    std::vector<stringEx> found{stringEx(base + "/before")};
    EXPECT_EQ(dir.GetAllSubDirs(found, "t/*", true), 7u);
    const std::string walk = text_of(found);
    for (const char* part : {"before t/", "t/e t/e/f ", "t/a t/a/", "t/a/c t/a/c/d "})
        EXPECT_NE(walk.find(part), walk.npos) << walk;

    temp.make_link("round/again", ".");
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{32, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_EQ(dir.GetAllSubDirs(found, "round/*", true), 47u)
        << "as many links as the system follows, one level open";
    ::setrlimit(RLIMIT_NOFILE, &before);
}

// Two links of a folder to itself make 2^41 paths.
TEST_F(Dir, WalksThroughLinksAreBounded) {
    temp.write_file("maze/file");
    for (const char* link : {"maze/x", "maze/y"})
        temp.make_link(link, ".");
    const stringEx mask("*"), maze(base + "/maze/");
    std::vector<stringEx> found;
    walk_request request{.mask = mask, .files = &found, .recursive = true, .repeats = 1000};
    try {
        dir_walk(request).run(maze);
        ADD_FAILURE() << "it ends, and nobody knows that files were left out";
    } catch (const dirExp& failure) {
        EXPECT_EQ(failure.code(), 20);
        EXPECT_TRUE(failure.message().ends_with("too many links levels"_lit)) << failure.message();
    }
    EXPECT_GT(found.size(), 41u);
    request.ignore_errors = true;
    dir_walk(request).run(maze);
    EXPECT_LT(found.size(), 2000u);
}

TEST_F(Dir, CursorIsShared) {
    CDirCursor cursor;
    stringEx name;
    faults::fail_next("opendir", EINTR, 2);
    faults::fail_next("readdir", EINTR, 2);
    EXPECT_TRUE(dir.NextSubDir(cursor, name));
    CDirCursor copy = cursor;
    cursor.Close();
    for (int more = 3; more > 0; --more)
        EXPECT_TRUE(dir.NextSubDir(copy, name)) << "the copy goes on where the other stood";
    EXPECT_FALSE(cursor.IsOpen() || dir.NextSubDir(copy, name) || copy.IsOpen() || !name.empty());
    EXPECT_TRUE(dir.NextFile(copy, name)) << "an ended cursor begins again";
}

TEST_F(Dir, ListingFailures) {
    EXPECT_FAILURE(files("none/*.csv"), dirExp, 3, missing(base + "/none/"));
    EXPECT_FAILURE(dirs("/none/"), dirExp, 3, missing("/none/"));
    for (const char* call : {"opendir", "readdir"}) {
        faults::fail_next(call, EBADF);
        EXPECT_EQ(files("*"), "") << "cannot even be begun: no entries, no error";
    }
    dir = {};
    EXPECT_FAILURE(files("*"), dirExp, 19, failed(FILES, "", "CDir::Open - nothing to open"));
    dir.Open(".");
    const std::string sub = base + "/sub/";
    const std::string unread =
        "PosixReadDir - error enum entries in the directory\n  error code = 9\n"
        "  error desc = the argument does not refer to an open directory stream";
    faults::fail_next("readdir", EBADF, 1, 4);
    EXPECT_FAILURE(files("sub/*.none"), dirExp, 19, failed(FILES, sub, unread));
    // sub/ is read in five steps: ".", "..", two entries and the end; then comes sub/deep/
    const std::string deep = failed(DIRS, sub, failed(DIRS, sub + "deep/", unread));
    faults::fail_next("readdir", EBADF, 1, 5);
    EXPECT_FAILURE(dirs("sub/*", RECURSIVE), dirExp, 20, deep);
    faults::fail_next("readdir", EBADF, 1, 5);
    EXPECT_FAILURE(files("sub/*", RECURSIVE), dirExp, 19, failed(FILES, sub, deep));

    // ignored errors lose only their own part
    faults::fail_next("readdir", EBADF, 1, 5);
    EXPECT_EQ(dirs("sub/*", RECURSIVE | IGNORING), "sub/deep ");
    faults::fail_next("readdir", EBADF);
    EXPECT_FAILURE(dirs("sub/*", IGNORING), dirExp, 20, failed(DIRS, sub, unread));
    // a name with a backslash cannot be opened again, as the backslash is taken for a separator
    temp.make_dir("w/in\\side");
    EXPECT_EQ(dirs("w/*", RECURSIVE | IGNORING), "w/in\\side ");
    EXPECT_FAILURE(dirs("w/*", RECURSIVE), dirExp, 20,
                   failed(DIRS, base + "/w/", missing(base + "/w/in\\side")));
}

TEST_F(Dir, Failures) {
    stringEx text;
    EXPECT_FAILURE(CDir().Open(""), dirExp, 2, "CDir::Open - nothing to open");
    EXPECT_FAILURE(CDir::ConvToFullPath(text), dirExp, 2, "CDir::ConvToFullPath - nothing to convert");
    EXPECT_FAILURE(CDir::GetPathDir(text), dirExp, 2, "CDir::GetPathDir - nothing to match");
    EXPECT_FAILURE(CDir::GetPathFilename(text), dirExp, 2, "CDir::GetPathFilename - nothing to match");
    EXPECT_FAILURE(CDir::MakeDir(""), dirExp, 2, "CDir::MakeDir - nothing to make");

    struct stat status;
    expect_sentence<dirExp>(
        "stat", 21, [&] { PosixStat("/", status); },
        "PosixStat - failed retrive the status of giving path\n  path       = /", EOVERFLOW,
        "file size out-of-range");
    expect_sentence<dirExp>(
        "getcwd", 12, [&] { CDir::GetPwd(text); }, "CDir::GetPwd - failed getting current working dir",
        ERANGE, "size of buffer is too short");
    const std::string making = "CDir::MakeDir - failed making directory\n  dir to create = ";
    const char* const keys = "\n  error code    = #\n  error desc    = ";
    expect_sentence<dirExp>(
        "mkdir", 4, [] { CDir::MakeDir("fresh"); }, making + "fresh\n  is recursive  = false", EMLINK,
        "The link count of the parent directory would exceed", keys);
    const auto made = [&](const std::string& path, const char* rest) {
        return making + path + "\n  is recursive  = true\n  error code    = " + rest;
    };
    std::string endless = "a";
    while (endless.size() < 20'000)
        endless += "/a";
    EXPECT_FAILURE(CDir::MakeDir(endless.c_str(), true), dirExp, 4,
                   made(endless, "36\n  error desc    = the length of the dir path is too long"));
    for (const char* taken : {"note", "note/q/r"})
        EXPECT_FAILURE(CDir::MakeDir(taken, true), dirExp, 4,
                       made("note", "17\n  error desc    = unexpect system error: File exists"));
    EXPECT_FAILURE(CDir::MakeDir("note/q"), dirExp, 4,
                   making +
                       "note/q\n  is recursive  = false\n  error code    = 20\n"
                       "  error desc    = a component of the path prefix is not a directory");
    faults::fail_next("getcwd", EACCES);
    EXPECT_FAILURE(
        dir.Open("/none"), dirExp, 3,
        "CDir::Open - error open dir, not exist\n  dir to open         = /none\n  current working dir = \n");
    faults::fail_next("pathconf", EINVAL);
    EXPECT_FAILURE(CDir::GetPwd(text), dirExp, 12,
                   "CDir::GetPwd - error get the path length of current working dir\n"
                   "  system error no   = 22\n  system error desc = Invalid argument");
    faults::fail_next("pathconf", 0);
    CDir::GetPwd(text);
    EXPECT_TRUE(text.ends_with("/"_lit)) << "a system without a limit has a working directory too";
}

}  // namespace
}  // namespace Orlo

#include <gtest/gtest.h>

#include <cstdlib>

#include "orlo/files/dir.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;

struct Paths : testing::Test, faults::clean_slate {
    /// Runs one of the in-place functions over cases "input>expected", where "$" stands for the directory.
    template <class Convert>
    void expect_cases(Convert&& convert, const std::string& cases) const {
        stringEx text(cases);
        text.replace_all("$", temp.path());
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
    temp_dir temp;
};

TEST_F(Paths, Clean) {
    expect_cases([](stringEx& path) { path = CDir::CleanPath(path); },
                 "> a>a a/>a/ a//>a/ a///>a// //>/ a\\b\\>a/b/ a\\/>a/ //a//b>//a//b \xff\\\x80>\xff/\x80");
    EXPECT_FALSE(CDir::CleanPath("a"_lit).is_borrowed());
}

TEST_F(Paths, FullPath) {
    const working_dir here(temp.make_dir("x/y"));
    ::setenv("HOME", "/home/me", 1);
    expect_cases(CDir::ConvToFullPath,
                 "a>$/x/y/a a/../../b>$/x/b a\\b>$/x/y/a/b ./a/>$/x/y/a/ .>$/x/y ./>$/x/y/ ~>$/x/y/~ "
                 "~/>/home/me/ ~/a>/home/me/a ~\\.\\a>/home/me/a />/ /..>/ /../../b>/b "
                 "/a//b/./c/../d//>/a/b/d/ /...>/... /\xff/../\xfe>/\xfe");
    ::setenv("HOME", "", 1);
    stringEx home("~/a");
    CDir::ConvToFullPath(home);
    EXPECT_TRUE(home.starts_with("/"_lit) && home.ends_with("/a"_lit)) << home;

    const working_dir root("/");
    expect_cases(CDir::ConvToFullPath, "a/../../b>/b ..>/ a/>/a/");
}

TEST_F(Paths, DirAndFilename) {
    temp.make_dir("sub.csv");
    temp.write_file("file");
    const working_dir here(temp.path());
    expect_cases(CDir::GetPathDir,
                 "*.csv>./ file>./ sub.csv>sub.csv/ .>./ ./*.csv>./ a\\*.csv>a/ none//>none/ /x>/ $/file>$/ "
                 "$/sub.csv>$/sub.csv/");
    expect_cases(CDir::GetPathFilename, "*.csv>*.csv sub.csv> a/b\\c>c none/> /x>x $/file>file $/sub.csv>");
}

TEST_F(Paths, IsDir) {
    temp.write_file("file");
    temp.make_dir("sub");
    temp.make_link("link", "sub");
    temp.make_link("loop", "loop");
    for (const char* name : {"sub", "sub/", "link"})
        EXPECT_TRUE(CDir::IsDir((temp / name).c_str())) << name;
    for (const char* name : {"file", "loop", "none"})
        EXPECT_FALSE(CDir::IsDir((temp / name).c_str())) << name;
    EXPECT_FALSE(CDir::IsDir(""));
    EXPECT_FALSE(CDir::IsDir(stringEx("/\0", 2))) << "a zero byte must not cut the path";
}

TEST_F(Paths, OpenChangeResolve) {
    temp.make_dir("a/b");
    temp.write_file("file");
    const std::string base = temp.path();
    const working_dir here(base);
    const auto missing = [&](const std::string& path, const std::string& pwd) {
        return "CDir::Open - error open dir, not exist\n  dir to open         = " + path +
               "\n  current working dir = " + pwd + "\n";
    };
    CDir dir;
    dir.Open(".");
    EXPECT_EQ(dir.GetPath().view(), base + "/");
    dir.ChangeDir("a");
    EXPECT_FAILURE(dir.ChangeDir("none"), dirExp, 3, missing(base + "/a/none", base + "/"));
    EXPECT_EQ(dir.GetPath().view(), base + "/a/") << "a failed step goes nowhere";
    expect_cases([&](stringEx& path) { dir.ResolvePath(path); }, "> /x/..>/x/.. \\x>/x b/../c>$/a/c ..>$");
    dir.Open(dir.GetPath());
    EXPECT_EQ(dir.GetPath().view(), base + "/a/") << "its own path is no argument to lose";

    EXPECT_FAILURE(dir.Open("file"), dirExp, 3, missing("file", base + "/"));
    EXPECT_TRUE(dir.GetPath().empty());
    dir.Open("none", false, true);
    EXPECT_EQ(dir.GetPath().view(), base + "/none/");
    dir.Open("n/e/w", true);
    EXPECT_TRUE(CDir::IsDir((temp / "n/e/w").c_str()));
    faults::fail_next("getcwd", EACCES);
    EXPECT_FAILURE(dir.Open("/none"), dirExp, 3, missing("/none", ""));
}

TEST_F(Paths, MakeDir) {
    const working_dir here(temp.path());
    temp.write_file("file");
    for (const char* path : {"a", "a/", "a\\b", "a/b/c//", "x\\y//z/"}) {
        CDir::MakeDir(path, *path == 'x');
        EXPECT_TRUE(CDir::IsDir(CDir::CleanPath(path))) << path;
    }
    std::string endless = "a";
    while (endless.size() < 1'000'000)
        endless += "/a";
    const struct {
        std::string path, failing;
        bool recursive;
        const char* error;
    } rows[] = {{"p/q", "p/q", false,
                 "2\n  error desc    = a component of the dir prefix specified by path does not name an "
                 "existing directory"},
                {"file/q/r", "file/q", true,
                 "20\n  error desc    = a component of the path prefix is not a directory"},
                {endless, endless, true, "36\n  error desc    = the length of the dir path is too long"}};
    for (const auto& row : rows) {
        EXPECT_FAILURE(CDir::MakeDir(row.path.c_str(), row.recursive), dirExp, 4,
                       "CDir::MakeDir - failed making directory\n  dir to create = " + row.failing +
                           "\n  is recursive  = " + (row.recursive ? "true" : "false") +
                           "\n  error code    = " + row.error);
    }
}

TEST_F(Paths, EmptyPathsAreRefused) {
    CDir dir;
    stringEx nothing;
    EXPECT_FAILURE(dir.Open(""), dirExp, 2, "CDir::Open - nothing to open");
    EXPECT_FAILURE(CDir::ConvToFullPath(nothing), dirExp, 2, "CDir::ConvToFullPath - nothing to convert");
    EXPECT_FAILURE(CDir::GetPathDir(nothing), dirExp, 2, "CDir::GetPathDir - nothing to match");
    EXPECT_FAILURE(CDir::GetPathFilename(nothing), dirExp, 2, "CDir::GetPathFilename - nothing to match");
    EXPECT_FAILURE(CDir::MakeDir(""), dirExp, 2, "CDir::MakeDir - nothing to make");
}

TEST_F(Paths, SystemErrors) {
    struct stat status;
    stringEx pwd;
    DIR* const stream = ::opendir("/");
    const stringEx fresh((temp / "fresh").c_str());
    const faulty_operation operations[] = {
        {"stat", 21,
         "PosixStat - failed retrive the status of giving path\n  path       = /\n  error code = ",
         [&] { PosixStat("/", status); },
         R"(ENOENT path does not exists
EIO an error occurred while reading from the file system
EACCES search permission is denied for a component of the path prefix
ENOTDIR a component of the path prefix is not a directory
ENAMETOOLONG path name is too long
ELOOP a loop exists in symbolic links, or too many links levels
EOVERFLOW file size out-of-range)"},
        {"readdir", 18,
         "PosixReadDir - error enum entries in the directory\n  error code = ", [&] { PosixReadDir(stream); },
         R"(EBADF the argument does not refer to an open directory stream
ENOENT the current position of the directory stream is invalid
EOVERFLOW one of the values in the structure to be returned cannot be represented correctly)"},
        {"getcwd", 12,
         "CDir::GetPwd - failed getting current working dir\n  error code = ", [&] { CDir::GetPwd(pwd); },
         R"(ENOMEM insufficient memory
EACCES permission denied
EINVAL invalid argument
ERANGE size of buffer is too short)"},
        {"mkdir", 4,
         "CDir::MakeDir - failed making directory\n  dir to create = " + std::string(fresh.view()) +
             "\n  is recursive  = false\n  error code    = ",
         [&] { CDir::MakeDir(fresh); },
         R"(EACCES permission denied
ENOSPC the file system does not contain enough space to hold the new directory
EROFS the parent directory resides on a read-only file system
EMLINK The link count of the parent directory would exceed
ELOOP a loop exists in symbolic links, or links level too deep)",
         "\n  error desc    = "},
    };
    for (const faulty_operation& operation : operations)
        expect_sentences<dirExp>(operation);
    ::closedir(stream);
    faults::fail_next("pathconf", EINVAL);
    EXPECT_FAILURE(CDir::GetPwd(pwd), dirExp, 12,
                   "CDir::GetPwd - error get the path length of current working dir\n"
                   "  system error no   = 22\n  system error desc = Invalid argument");
    faults::fail_next("pathconf", 0);
    CDir::GetPwd(pwd);
    EXPECT_TRUE(pwd.ends_with("/"_lit)) << "a system without a limit has a working directory too";
}

}  // namespace
}  // namespace Orlo

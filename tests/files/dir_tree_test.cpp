// Whole directories: removed, copied, moved.

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>

#include "orlo/files/dir.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

struct DirTree : testing::Test, faults::clean_slate {
    DirTree() {
        for (const char* const name :
             {"src/x", "src/.hidden", "src/b/line\nbreak", "src/b/\xff\xfe", "out/keep"})
            temp.write_file(name, std::string("content of ") + name);
        temp.write_file("src/big", std::string(400'000, 'q'));
        temp.make_dir("src/empty/.deep/er");
        temp.make_link("src/b/to_folder", "../../out");
        temp.make_link("src/dangling", "nowhere");
        ::mkfifo((temp / "src/pipe").c_str(), 0640);
        ::chmod((temp / "src/x").c_str(), 0751);
        ::chmod((temp / "src/b").c_str(), 0705);
        const timespec old[] = {{1000, 0}, {2000, 5}};
        ::utimensat(AT_FDCWD, (temp / "src/b/\xff\xfe").c_str(), old, 0);
    }
    stringEx at(std::string_view name) const { return stringEx((temp / name).c_str()); }

    /// All that is below a folder: kind, mode and content by name.
    static std::map<std::string, std::string> tree(const std::string& root, bool times = false) {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            struct stat status;
            ::lstat(entry.path().c_str(), &status);
            std::string& text = found[entry.path().lexically_relative(root).string()];
            text = std::to_string(status.st_mode) + " ";
            if (times)
                text += std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
            if (S_ISLNK(status.st_mode)) text += fs::read_symlink(entry.path()).string();
            if (S_ISREG(status.st_mode)) {
                stringEx content;
                CDir::ReadFile(stringEx(entry.path().c_str()), content);
                text += std::to_string(std::hash<std::string_view>()(content.view()));
            }
        }
        return found;
    }
    bool exists(std::string_view name) const {
        struct stat status;
        return ::lstat((temp / name).c_str(), &status) == 0;
    }

    const temp_dir temp;
    const working_dir here{temp.path()};
};

TEST_F(DirTree, CopiesAreThoseOfTheSystem) {
    ASSERT_EQ(std::system("cp -a src theirs"), 0);
    EXPECT_TRUE(CDir::DuplicateDir("src", at("new/level/copy/")));
    EXPECT_EQ(tree(temp / "new/level/copy"), tree(temp / "theirs"));
    EXPECT_FALSE(CDir::DuplicateDir("src", at("out")));

    temp.write_file("merged/x", "longer than the content of x");
    temp.write_file("merged/other", "stays");
    ::unlink((temp / "src/x").c_str());
    temp.write_file("src/x", "new");
    EXPECT_TRUE(CDir::DuplicateDir(L"src", L"merged", true, true, false));
    EXPECT_EQ(temp.content("merged/x"), "newger than the content of x") << "as for single files";
    EXPECT_TRUE(temp.content("merged/other") == "stays" && exists("merged/dangling") && !exists("merged/b"));
    EXPECT_TRUE(CDir::DuplicateDir("src", "folders", false, false));
    EXPECT_TRUE(exists("folders/empty/.deep/er") && !exists("folders/x"));
}

TEST_F(DirTree, MovesKeepEverything) {
    const auto before = tree(temp / "src", true);
    EXPECT_TRUE(CDir::TransferDir("src", "a/b"));
    EXPECT_EQ(tree(temp / "a/b", true), before);
    EXPECT_TRUE(!exists("src") && !CDir::TransferDir("a/b", "out"));

    // to another file system and back; what both have is taken from the source
    const memory_dir memory;
    const std::string& other = memory.path;
    const stringEx there((other + "/moved").c_str());
    EXPECT_FAILURE(CDir::TransferDir("a/b", there, false, false), dirExp, 8,
                   "CDir::TransferDir - failed transfer dir\n  dir to copy         = " + (temp / "a/b") +
                       "\n  dir to copy to      = " + other +
                       "/moved\n  error code          = 18\n"
                       "  error desc          = the source and destination are on different file systems");
    EXPECT_TRUE(CDir::TransferDir("a/b", there));
    EXPECT_EQ(tree(other + "/moved", true), before);
    EXPECT_FALSE(exists("a/b"));
    temp.write_file("merged/x", "old");
    temp.write_file("merged/b/other", "stays");
    EXPECT_TRUE(CDir::TransferDir(there, "merged", true));
    auto merged = tree(temp / "merged", true);
    EXPECT_EQ(merged.erase("b/other"), 1u);
    merged["b"] = before.at("b");  // the folder that was there keeps its own mode
    EXPECT_EQ(merged, before);
}

TEST_F(DirTree, RemovesWhatItIsToldTo) {
    EXPECT_NO_THROW(CDir::RemoveDir("missing"));
    EXPECT_THROW(CDir::RemoveDir("src", false, true), dirExp);
    EXPECT_TRUE(exists("src/x") && exists("src/b/to_folder"));
    CDir::RemoveDir(L"src//", true, true);
    EXPECT_TRUE(!exists("src") && temp.content("out/keep") == "content of out/keep");
    CDir::RemoveDir("out", true);
    EXPECT_FALSE(exists("out"));
}

TEST_F(DirTree, RemovesNothingWhereTheEndIsKnown) {
    temp.make_link("link", "src");
    const auto before = tree(temp.path());
    const std::string head = "CDir::RemoveDir - failed remove specified directory\n  dir to remove     = ";
    const auto text = [&](const std::string& path, int error, const char* desc) {
        return head + path +
               "\n  remove sub dirs   = true\n  remove sub files  = true\n  error code        = " +
               std::to_string(error) + "\n  error desc        = " + desc;
    };
    EXPECT_FAILURE(CDir::RemoveDir(""), dirExp, 2, "CDir::RemoveDir - nothing to remove");
    EXPECT_FAILURE(CDir::RemoveDir("link/", true, true), dirExp, 5,
                   text("link", 20, "a component of the path is not a directory"));
    EXPECT_FAILURE(CDir::RemoveDir("src/.", true, true), dirExp, 5,
                   text("src/.", 22, "the path argument contains a last component that is dot"));
    EXPECT_FAILURE(CDir::RemoveDir("src/b/..", true, true), dirExp, 5,
                   text("src/b/..", 39, "not an empty directory"));
    EXPECT_FAILURE(CDir::RemoveDir("/dev/shm", true, true), dirExp, 5,
                   text("/dev/shm", 16, "the directory to be removed is currently in use"));
    EXPECT_EQ(tree(temp.path()), before);
    faults::fail_next("unlinkat", EROFS);
    EXPECT_FAILURE(
        CDir::RemoveDir("src/b", true), dirExp, 5,
        head +
            "src/b\n  remove sub dirs   = false\n  remove sub files  = true\n"
            "@ CDir::RemoveFile - failed remove specified file\n  file       = src/b/" +
            fs::directory_iterator(temp / "src/b")->path().filename().string() +
            "\n  error code = 30\n  error desc = the named file resides on a read-only file system");
}

TEST_F(DirTree, NestingIsRefusedHoweverItIsCalled) {
    temp.make_link("src/b/up", "..");
    temp.make_link("elsewhere", "src");
    const auto before = tree(temp.path());
    const std::string pwd = "\n  current working dir = " + temp.path() + "/";
    for (const char* const target : {"src", "src/new/deep", "src/b", "elsewhere/b", "src/b/up/c"}) {
        const std::string dirs = "\n  dir to copy         = " + (temp / "src") + "\n  dir to copy to      = ";
        EXPECT_FAILURE(
            CDir::TransferDir("src", target, true), dirExp, 8,
            "CDir::TransferDir - dir nesting found in recursive copy mode" + dirs + (temp / target) + pwd);
        EXPECT_FAILURE(CDir::DuplicateDir("src", target, true), dirExp, 10,
                       "CDir::DuplicateDir - dir nesting found in recursive copy mode" + dirs +
                           (temp / target) + pwd +
                           "\n  overwrite exist     = true\n  copy sub files      = true\n"
                           "  system error no     = 22\n  system error desc   = Invalid argument");
    }
    EXPECT_EQ(tree(temp.path()), before);
    EXPECT_FAILURE(CDir::TransferDir("none", "x"), dirExp, 8,
                   "CDir::TransferDir - source dir doesn't exist\n  source dir = " + (temp / "none") + pwd);
    EXPECT_FAILURE(CDir::DuplicateDir("src/x", "x"), dirExp, 10,
                   "CDir::DuplicateDir - source dir doesn't exist\n  source dir = " + (temp / "src/x") + pwd);
}

TEST_F(DirTree, OneFailureStopsAndLosesNothing) {
    const auto before = tree(temp / "src");
    temp.make_dir("to/x/in_the_way");
    EXPECT_FAILURE(CDir::TransferDir("src", "to", true), dirExp, 7,
                   "CDir::TransferFile - error link file to the target path\n  from                = " +
                       (temp / "src/x") + "\n  to                  = " + (temp / "to/x") +
                       "\n  allow copy & delete = true\n  error code          = 17\n"
                       "  error desc          = the target has been exist");
    for (const auto& [name, content] : before)
        EXPECT_TRUE(exists("src/" + name) != exists("to/" + name) || name == "x") << name;
    temp.make_dir("copied");
    temp.make_link("copied/big", (temp / "out/keep"));
    EXPECT_THROW(CDir::DuplicateDir("src", "copied", true), dirExp) << "a link in the target is not followed";
    EXPECT_EQ(temp.content("out/keep"), "content of out/keep");
}

/// Runs on a stack of 256 KB with 30 descriptors to spare.
void run_narrowly(const std::function<void()>& action) {
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const int lowest = ::dup(0);
    ::close(lowest);
    const rlimit few{static_cast<rlim_t>(lowest) + 30, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10);
    pthread_t thread;
    const auto run = [](void* what) -> void* {
        EXPECT_NO_THROW((*static_cast<const std::function<void()>*>(what))());
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&action)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// The number of folders in a chain of folders that hold one each.
int chain_depth(const std::string& root) {
    int folder = ::open(root.c_str(), O_DIRECTORY), depth = 0;
    for (int below = folder; (below = ::openat(folder, "folder", O_DIRECTORY)) >= 0; ++depth) {
        ::close(folder);
        folder = below;
    }
    ::close(folder);
    return depth;
}

TEST_F(DirTree, DepthCostsNeitherStackNorDescriptors) {
    constexpr int DEPTH = 3000;
    const memory_dir memory;
    const working_dir there{memory.path};
    fs::create_directory("chain");
    int folder = ::open("chain", O_DIRECTORY);
    for (int i = 0; i < DEPTH; ++i) {
        ::close(::openat(folder, "file", O_CREAT | O_WRONLY, 0600));
        ::mkdirat(folder, "folder", 0700);
        const int below = ::openat(folder, "folder", O_DIRECTORY);
        ::close(folder);
        folder = below;
    }
    ::close(folder);
    run_narrowly([&] { CDir::DuplicateDir("chain", "copy"); });
    EXPECT_EQ(chain_depth("copy"), DEPTH);
    fs::create_directory("copy2");
    run_narrowly([&] { CDir::TransferDir("copy", "copy2", true); });
    EXPECT_EQ(chain_depth("copy2"), DEPTH);
    run_narrowly([&] { CDir::RemoveDir("chain", true, true), CDir::RemoveDir("copy2", true, true); });
    EXPECT_TRUE(fs::is_empty(memory.path));
}

}  // namespace
}  // namespace Orlo

// Single files: moved, copied, removed, read, written, kept as backups, linked; and the file systems they are on.

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>

#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "orlo/strings/environment.h"
#include "orlo/time/time.h"
#include "support/child.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

struct DirFiles : testing::Test, faults::clean_slate {
    static bool exists(const std::string& path) {
        struct stat status;
        return ::lstat(path.c_str(), &status) == 0;
    }
    static std::string names(const std::string& dir) {
        std::set<std::string> sorted;
        for (const auto& entry : fs::directory_iterator(dir))
            sorted.insert(entry.path().filename().string());
        std::string all;
        for (const std::string& name : sorted)
            all += name + " ";
        return all;
    }
    static mode_t mode(const char* path) {
        struct stat status {};
        ::lstat(path, &status);
        return status.st_mode & 07777;
    }

    const temp_dir temp{{"a", "content a"}, {"b", "longer content b"}};
    const working_dir here{temp.path()};
    const memory_dir memory;
    const stringEx away = stringEx((memory.path + "/a").c_str());
};

std::string transfer_text(const char* what, const std::string& from, const std::string& to, const char* copy,
                          const std::string& rest) {
    return std::string("CDir::TransferFile - error ") + what + "\n  from                = " + from +
           "\n  to                  = " + to + "\n  allow copy & delete = " + copy + rest;
}

TEST_F(DirFiles, MovesKeepOneOfTheTwo) {
    EXPECT_FALSE(CDir::TransferFile("a", "b"));
    EXPECT_TRUE(temp.content("a") == "content a" && temp.content("b") == "longer content b");
    EXPECT_TRUE(CDir::TransferFile("a", "./a") && CDir::TransferFile(L"a", L"x/../a", true)) << "itself";
    EXPECT_TRUE(CDir::TransferFile("a", "b", true));
    EXPECT_TRUE(temp.content("b") == "content a" && names(".") == "b ");

    // two names of one file are two, unless they are the same
    CDir::MakeHardLink("a", "b");
    EXPECT_TRUE(CDir::TransferFile("b", "b", true));
    EXPECT_FALSE(CDir::TransferFile("b", "a"));
    EXPECT_TRUE(CDir::TransferFile("b", "a", true));
    EXPECT_EQ(names("."), "a ");
    // a link onto what it leads to would leave a link to itself
    CDir::MakeSymbolicLink("link", "a");
    EXPECT_TRUE(CDir::TransferFile("link", "a", true));
    EXPECT_TRUE(temp.content("link") == "content a" && names(".") == "a link ");
    EXPECT_TRUE(CDir::TransferFile("a", "link", true));
    EXPECT_TRUE(!fs::is_symlink("link") && temp.content("link") == "content a");
}

TEST_F(DirFiles, MovesToOtherFileSystemsAreCopies) {
    ::chmod("a", 04651);
    const timespec times[] = {{1, 2}, {3, 4}};
    ::utimensat(AT_FDCWD, "a", times, 0);
    EXPECT_FAILURE(CDir::TransferFile("a", away, false, false, false), dirExp, 7,
                   transfer_text("link file to the target path", "a", memory.path + "/a", "false",
                                 "\n  error code          = 18\n  error desc          = "
                                 "the source and destination are on different file systems"));
    EXPECT_TRUE(CDir::TransferFile("a", away));
    struct stat status;
    ASSERT_EQ(::stat(away.c_str(), &status), 0);
    EXPECT_TRUE((status.st_mode & 07777) == 04651 && status.st_mtim.tv_sec == 3 &&
                status.st_mtim.tv_nsec == 4);
    EXPECT_FALSE(CDir::TransferFile("b", away));
    EXPECT_TRUE(CDir::TransferFile("b", away, true));
    EXPECT_EQ(names(memory.path) + names("."), "a ");
    faults::fail_next("linkat", EPERM);
    EXPECT_TRUE(CDir::TransferFile(away, stringEx((memory.path + "/c").c_str())));
    EXPECT_EQ(names(memory.path), "c ");
}

TEST_F(DirFiles, FailedMovesLeaveBoth) {
    temp.make_dir("dir");
    temp.make_link("loop", "loop");
    const std::string link = "link file to the target path";
    const auto error = [](int number, const std::string& desc) {
        return "\n  error code          = " + std::to_string(number) + "\n  error desc          = " + desc;
    };
    struct row {
        std::string from, to;
        int number;
        const char* desc;
    };
    const row rows[] = {{"none", "x", 2, "source file does not exist"},
                        {"a", "dir", 17, "the target has been exist"},
                        {"dir", "x", 21, "unexpect system error: Is a directory"},
                        {"a", "b/x", 20, "a component of the pathname is not a directory"},
                        {"a", std::string(300, 'n'), 36, "pathname is too long"},
                        {"loop/x", "x", 40, "a loop exists in symbolic links "}};
    for (const row& each : rows)
        EXPECT_FAILURE(
            CDir::TransferFile(each.from.c_str(), each.to.c_str(), true), dirExp, 7,
            transfer_text(link.c_str(), each.from, each.to, "true", error(each.number, each.desc)));
    for (const char* const call : {"linkat", "renameat2"}) {
        faults::fail_next(call, EROFS);
        EXPECT_FAILURE(CDir::TransferFile("a", "b", true), dirExp, 7,
                       transfer_text(link.c_str(), "a", "b", "true",
                                     error(30,
                                           "the requested link requires writing in a directory on a "
                                           "read-only file system")));
    }
    faults::fail_next("write", ENOSPC);
    EXPECT_THROW(CDir::TransferFile("a", away), dirExp);
    faults::fail_next("unlinkat", EACCES);
    EXPECT_FAILURE(
        CDir::TransferFile("a", "c"), dirExp, 7,
        transfer_text("remove (unlink) the source", "a", "c", "true", error(13, "permission denied")));
    EXPECT_TRUE(temp.content("a") == "content a" && temp.content("b") == "longer content b");
    EXPECT_EQ(names(memory.path) + names("."), "a b c dir loop ");
}

TEST_F(DirFiles, Copies) {
    ::chmod("a", 0604);
    EXPECT_FALSE(CDir::DuplicateFile("a", "b"));
    EXPECT_TRUE(CDir::DuplicateFile("a", "b", true));
    EXPECT_EQ(temp.content("b"), "content antent b") << "the tail of a longer file stays";
    EXPECT_TRUE(CDir::DuplicateFile(L"a", L"new", false, true));
    EXPECT_TRUE(temp.content("new") == "content a" && mode("new") == 0604);
    EXPECT_EQ(faults::calls("fsync"), 1);
    std::string big(700'000, 'x');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>(i * i >> 8);
    temp.write_file("big", big);
    for (const int error : {0, EXDEV}) {
        if (error != 0) faults::fail_next("copy_file_range", error);
        EXPECT_TRUE(CDir::DuplicateFile("big", "big2"));
        EXPECT_EQ(temp.content("big2"), big);
        CDir::RemoveFile("big2");
    }
    EXPECT_TRUE(CDir::DuplicateFile("/proc/self/status", "status"));
    EXPECT_NE(temp.content("status").find("VmPeak"), std::string::npos) << "a file that says it is empty";

    const std::string head = "CDir::DuplicateFile - error copy file\n  source file       = ";
    CSysFile held;
    held.Open("a", file_access::read, 0, file_sharing::exclusive);
    EXPECT_FAILURE(
        CDir::DuplicateFile("a", "x"), dirExp, 9,
        head + "a\n  destination file  = x\n@ CSysFile/SetShareMode - failed set file sharing mode\n" +
            "  file path    = " + (temp / "a") +
            "\n  sharing mode = shared\n  error code   = 11\n  error desc   = sharing mode conflict");
    faults::fail_next("write", ENOSPC);
    EXPECT_FAILURE(
        CDir::DuplicateFile("b", "x"), dirExp, 9,
        head + "b\n  destination file  = x\n@ CSysFile::Write - failed writing file\n  file path  = " +
            (temp / "x") + "\n  error code = 28\n  error desc = " +
            "there was no free space remaining on the device containing the file");
    EXPECT_FALSE(exists("x")) << "half a copy is none";
    EXPECT_THROW(CDir::DuplicateFile("b", "."), dirExp);
}

TEST_F(DirFiles, ReadsAndWritesWholeFiles) {
    const std::pair<const char*, bool> steps[] = {{"first", false}, {"2", false}, {" and more", true}};
    for (const auto& [text, append] : steps)
        CDir::WriteFile("new", stringEx(text), false, append);
    stringEx narrow("old");
    wstringEx wide;
    byteEx bytes;
    CDir::ReadFile(L"new", narrow);
    CDir::ReadFile("new", bytes);
    EXPECT_TRUE(narrow == "2 and more" && bytes.size() == 10 && bytes[9] == 'e');
    CDir::WriteFile(L"wide", wstringEx(L"\x12345z"), true);
    CDir::ReadFile("wide", wide);
    EXPECT_TRUE(wide == L"\x12345z" && faults::calls("fsync") == 1);
    CDir::WriteFile("wide", stringEx("12345"));
    CDir::ReadFile("wide", wide);
    EXPECT_TRUE(wide.size() == 2 && wide[1] == L'5');

    EXPECT_FAILURE(CDir::ReadFile("", narrow), dirExp, 2, "CDir::ReadFile - read what ?");
    EXPECT_FAILURE(CDir::WriteFile("", narrow), dirExp, 2, "CDir::WriteFile - write what ?");
    EXPECT_FAILURE(CDir::ReadFile(".", narrow), sysfileExp, 7,
                   "CSysFile::Read - failed reading file\n  file path  = " + temp.path() +
                       "\n  error code = 21\n  error desc = the file refers to a directory");
    EXPECT_TRUE(narrow.empty());
    const auto beyond_limit = [] {
        const rlimit limit{10, 10};
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        try {
            CDir::WriteFile("short", "01234567890123456789"_lit);
        } catch (const sysfileExp& failure) {
            return failure.code();
        }
        return 0;
    };
    EXPECT_EQ(child(beyond_limit).wait(), 9) << "what one write does not take is not left out";
}

TEST_F(DirFiles, RemovesFiles) {
    temp.make_link("link", "a");
    temp.make_dir("dir");
    for (const char* const name : {"none", "dir", "a/x", "link"})
        CDir::RemoveFile(name);
    EXPECT_EQ(names("."), "a b dir ");
    temp.write_file("dir/file");
    const auto forced = [] {
        ::chmod("dir", 0500);
        if (::getuid() == 0 && (::chown("dir", 65534, 65534) != 0 || ::setuid(65534) != 0)) return 1;
        const std::string text =
            "CDir::RemoveFile - failed remove specified file\n  file       = " + fs::current_path().string() +
            "/dir/file\n  error code = 13\n  error desc = permission denied";
        if (!fails_with<dirExp>([] { CDir::DeleteFile("dir/file"); }, 6, text)) return 2;
        CDir::DeleteFile("dir/file", true);
        return exists("dir/file") || mode("dir") != 0500 ? 3 : 0;
    };
    ::chmod(temp.path().c_str(), 0755);
    EXPECT_EQ(child(forced).wait(), 0);
}

TEST_F(DirFiles, TempNamesAreOwn) {
    std::set<std::string> made;
    for (int i = 0; i < 100; ++i)
        made.insert(std::string(CDir::GenTempFileName("./").view()));
    EXPECT_EQ(made.size(), 100u);
    EXPECT_TRUE(exists(*made.begin()) && made.begin()->starts_with("./") && made.begin()->ends_with(".tmp"));
    EXPECT_EQ(CDir::GenTempFileName(L".").view().substr(0, 2), L"./");
    EXPECT_FAILURE(
        static_cast<void>(CDir::GenTempFileName("none")), dirExp, 14,
        "CDir::GenTempFileName - invalid obj, or the base dir has been removed\n  base dir = none");
    SetEnv("TMPDIR", "none/x");
    EXPECT_EQ(CDir::GetSysTempDir(), "none/x");
    EXPECT_THROW(static_cast<void>(CDir::GenTempFileNameInSysTempDir()), dirExp);
    SetEnv("TMPDIR", "");
    EXPECT_EQ(CDir::GetSysTempDir(), "/tmp/");
}

TEST_F(DirFiles, Backups) {
    const std::string olds[] = {"@20200101_000000.a", "@20210101_000000.a", "@20220101_000000.a"};
    for (const std::string& name : olds)
        temp.write_file("kept/" + name, name);
    for (const char* const other : {"@20200101_000000.x.a", "@2020010a_000000.a", "@20200101-000000.a"})
        temp.write_file(std::string("kept/") + other);
    const auto backups = [&] {
        std::string all = names("kept");
        for (const char* const other :
             {"@20200101-000000.a ", "@20200101_000000.x.a ", "@2020010a_000000.a "})
            all.erase(all.find(other), std::strlen(other));
        return all;
    };
    CDir::BackupFile("kept", "./a", 3);
    EXPECT_EQ(backups().substr(0, 38), olds[1] + " " + olds[2] + " ");
    EXPECT_EQ(backups().size(), 57u);
    CDir::BackupFile(L"kept", L"a", 9, backup_mode::copy_flushed);
    temp.write_file("a", "changed");
    for (int i = 0; i < 3; ++i) {
        CDir::BackupFile("kept", "a", 3, i == 0 ? backup_mode::move_flushed : backup_mode::move);
        EXPECT_FALSE(exists("a"));
        temp.write_file("a", std::to_string(i));
    }
    EXPECT_EQ(backups().size(), 57u);
    faults::fail_next("linkat", EIO);
    EXPECT_TRUE(CDir::RestoreBackup("kept", "a"));
    EXPECT_EQ(temp.content("a"), "0") << "the newest could not be moved";
    EXPECT_TRUE(CDir::RestoreBackup(L"kept", L"a"));
    EXPECT_EQ(temp.content("a"), "1");
    faults::fail_next("linkat", EIO, 9);
    EXPECT_FALSE(CDir::RestoreBackup("kept", "a"));
    EXPECT_EQ(temp.content("a"), "1");
    faults::reset();
    CDir::BackupFile("kept", "a", 0, backup_mode::move);
    EXPECT_TRUE(backups().empty() && exists("a") && !CDir::RestoreBackup("kept", "a"));
    EXPECT_THROW(CDir::BackupFile("kept", "none", 1), dirExp);
}

TEST_F(DirFiles, LinksAndScripts) {
    CDir::MakeSymbolicLink(L"link", L"no such \\ file");
    EXPECT_EQ(fs::read_symlink("link"), "no such \\ file");
    temp.write_file("folder with \"$`\\/tool", "#!/bin/sh\necho \"$PWD:$X:$*\"\n");
    ::chmod("folder with \"$`\\/tool", 0755);
    const stringEx folder((temp / "folder with \"$`\\").c_str());
    CDir::MakeSymbolicLink("script", "./tool", "one 'two  x'", {"X=extra", "export X"}, folder);
    EXPECT_EQ(temp.content("script"), "#!/bin/sh\nX=extra\nexport X\ncd \"" +
                                          (temp / "folder with \\\"\\$\\`\\\\") +
                                          "\"\n\"./tool\" one 'two  x' \"$@\"\n");
    EXPECT_EQ(mode("script"), 0777);
    ASSERT_EQ(std::system("./script 3 > out"), 0);
    EXPECT_EQ(temp.content("out"), std::string(folder.view()) + ":extra:one two  x 3\n");

    EXPECT_FAILURE(CDir::MakeSymbolicLink("", "a"), dirExp, 2, "CDir::MakeSymbolicLink - nothing to make");
    EXPECT_FAILURE(CDir::MakeHardLink("", "a"), dirExp, 2, "CDir::MakeHardLink - nothing to make");
    EXPECT_FAILURE(
        CDir::MakeSymbolicLink("a", "b", "x"), dirExp, 11,
        "CDir::MakeSymbolicLink - failed create shell script\n  old path     = b\n  new path     = a\n"
        "  arguments    = x\n  work folder  = \n@ CSysFile/PosixOpenFile - failed open specified file\n"
        "  file path  = " +
            (temp / "a") + "\n  error code = 17\n  error desc = file already exists");
    EXPECT_EQ(temp.content("a"), "content a");
    temp.make_link("loop", "loop");
    const std::string longest(300, 'n');
    struct row {
        std::string at, to;
        int error;
        const char* symbolic;  // null where only the other kind fails
        const char* hard;
    };
    const row rows[] = {
        {"new", ".", 1, nullptr, "permission denied, or the old path is a directory"},
        {"none/x", "a", 2, "invalid shortcut path", "invalid path name"},
        {"b", "a", 17, "shortcut file already exists", "the new path already exists"},
        {"new", memory.path + "/x", 18, nullptr, "the new path would reside on a different file system"},
        {"a/x", "a", 20, "a component of the prefix of the shortcut is not a directory",
         "a component of the prefix of the path is not a directory"},
        {longest, "a", 36, "shortcut path is too long, or nested symbolic link",
         "new path is too long, or nested symbolic link"},
        {"loop/x", "a", 40, "a loop exists in symbolic links, or too many levels of target",
         "a loop exists during symbolic resolution, or too many levels of target"}};
    std::ofstream(memory.path + "/x");
    for (const row& each : rows) {
        const std::string rest = " link\n  old path     = " + each.to + "\n  new path     = " + each.at +
                                 "\n  error number = " + std::to_string(each.error) + "\n  error desc   = ";
        if (each.symbolic != nullptr) {
            EXPECT_FAILURE(CDir::MakeSymbolicLink(each.at.c_str(), each.to.c_str()), dirExp, 11,
                           "CDir::MakeSymbolicLink - failed create symbolic" + rest + each.symbolic);
        }
        EXPECT_FAILURE(CDir::MakeHardLink(each.at.c_str(), each.to.c_str()), dirExp, 13,
                       "CDir::MakeHardLink - failed create hard" + rest + each.hard);
    }
}

TEST_F(DirFiles, Volumes) {
    const std::pair<const char*, const char*> cases[] = {{"/proc/self/", "/proc"},
                                                         {"/proc", "/proc"},
                                                         {"/procession/x", "/"},
                                                         {"/dev/shm/../shm/x", "/dev/shm"}};
    for (const auto& [path, volume] : cases) {
        stringEx found(path);
        CDir::GetPathVolume(found);
        EXPECT_EQ(found, volume) << path;
    }
    wstringEx wide(L"/proc/1");
    CDir::GetPathVolume(wide);
    EXPECT_TRUE(wide == L"/proc" && CDir::IsSameVolume("/proc", "/proc/1") &&
                !CDir::IsSameVolume(L"/", L"/proc"));
    stringEx none;
    EXPECT_FAILURE(CDir::GetPathVolume(none), dirExp, 2, "CDir::GetPathVolume - path is empty");
    if (::getuid() == 0) {
        const auto mounted = [&] {
            fs::create_directory("a b\tc");
            if (::unshare(CLONE_NEWNS) != 0 ||
                ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("none", "a b\tc", "tmpfs", 0, nullptr) != 0)
                return 0;  // not allowed here
            stringEx found("a b\tc/x");
            CDir::GetPathVolume(found);
            std::ofstream("a b\tc/file");
            if (!fails_with<dirExp>(
                    [] { CDir::RemoveDir("a b\tc", true); }, 5,
                    "CDir::RemoveDir - failed remove specified directory\n  dir to remove     = "
                    "a b\tc\n  remove sub dirs   = false\n  remove sub files  = true\n"
                    "  error code        = 16\n"
                    "  error desc        = the directory to be removed is currently in use"))
                return 1;
            if (!exists("a b\tc/file")) return 2;
            return found.view() == temp / "a b\tc" ? 0 : 3;
        };
        EXPECT_EQ(child(mounted).wait(), 0);
    }

    std::uint64_t available = 0, total = 0, fragment = 0, block = 0;
    bool is_read_only = true;
    CDir::GetSpaceInfo("/dev/shm", available, total);
    CDir::GetStorageTopology(L"/dev/shm", fragment, block, &is_read_only);
    struct statvfs status;
    ::statvfs("/dev/shm", &status);
    EXPECT_TRUE(total == status.f_blocks * 4096 && available <= total && fragment == 4096 && !is_read_only);
    const std::string inner =
        "\n@ PosixStat - failed retrive the status of giving path\n  path       = a/x\n"
        "  error code = 20\n  error desc = a component of the path prefix is not a directory";
    EXPECT_FAILURE(CDir::GetSpaceInfo("a/x", available, total), dirExp, 15,
                   "CDir::GetSpaceInfo - failed retrieve space info" + inner);
    EXPECT_FAILURE(CDir::GetStorageTopology("a/x", fragment, block), dirExp, 16,
                   "CDir::GetStorageTopology - failed retrieve storage's topology info" + inner);
}

/// A process that is killed at any moment leaves of each file the old or the new one, whole, somewhere.
TEST_F(DirFiles, KilledAnywhereNothingIsLost) {
    const std::string old_text(100'000, 'o'), new_text(200'000, 'n');
    const auto work = [&] {
        for (;;) {
            CDir::TransferFile("new", "file", true);
            CDir::DuplicateFile("file", "new");
            CDir::BackupFile("kept", "file", 2);
            CDir::TransferFile("file", away, true);
            CDir::TransferFile(away, "file", true);
            CDir::RestoreBackup("kept", "file");
        }
        return 0;
    };
    temp.make_dir("kept");
    std::srand(7);
    for (int i = 0; i < 300; ++i) {
        fs::remove("new");
        temp.write_file("new", new_text);
        if (!exists("file")) temp.write_file("file", old_text);
        const pid_t id = ::fork();
        if (id == 0) _exit(work());
        ::usleep(static_cast<unsigned>(std::rand() % 4000));
        ::kill(id, SIGKILL);
        int status = 0;
        ::waitpid(id, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        const std::string file = temp.content("file");
        const bool is_whole = file == old_text || file == new_text;
        EXPECT_TRUE(is_whole || (file == "(none)" && (fs::exists(away.c_str()) || exists("new")))) << i;
        for (const auto& backup : fs::directory_iterator("kept")) {
            const std::string name = backup.path().filename().string();
            EXPECT_TRUE(name[0] == '.' || fs::file_size(backup) >= 100'000) << name;
        }
    }
}

}  // namespace
}  // namespace Orlo

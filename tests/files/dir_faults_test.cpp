// Operations on files and directories in any order, while calls fail at random and signals interrupt them.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <random>

#include "orlo/files/c_file.h"
#include "orlo/files/dir.h"
#include "orlo/files/file_mapping.h"
#include "orlo/files/pipe.h"
#include "support/faults.h"
#include "support/signal_rain.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;
namespace fs = std::filesystem;

std::ptrdiff_t open_descriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// What a file has in it, links followed; by the standard library, whose calls do not fail here.
std::string held(const stringEx& path) {
    std::error_code ignored;
    if (!fs::is_regular_file(path.c_str(), ignored)) return "(none)";
    std::ifstream file(path.c_str(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

struct DirFaults : testing::Test, faults::clean_slate {
    stringEx any() { return names[random() % std::size(names)]; }

    /// What every operation is given: names of which some are files, some folders and some are not there.
    void run_one() {
        const stringEx from = any(), to = any();
        const bool flag = random() % 2 != 0;
        char buffer[8];
        switch (random() % 12) {
            case 0:
            case 1:
                transfer(from, to, flag);
                break;
            case 2:
                CDir::DuplicateFile(from, to, flag, flag);
                break;
            case 3:
                CDir::WriteFile(from, text, flag, random() % 2 != 0);
                break;
            case 4:
                CDir::DuplicateDir(from, to, true);
                break;
            case 5:
                CDir::TransferDir(from, to, flag);
                break;
            case 6:
                CDir::RemoveDir(from, flag, true);
                break;
            case 7:
                CDir::BackupFile("d", from, 2, flag ? backup_mode::copy : backup_mode::move);
                CDir::RestoreBackup("d", from);
                break;
            case 8:
                CDir::MakeSymbolicLink(from, to, flag ? "x"_lit : ""_lit);
                CDir::DeleteFile(from, true);
                break;
            case 9: {
                CPipe reader, writer;
                CPipe::CreatePair(&reader, flag ? &writer : nullptr);
                const CPipe copy(reader, flag);
                reader.Read(buffer, sizeof buffer, CTimeLimit(0), true);
                break;
            }
            case 10: {
                const CFileMapping mapping(from, ACCESS_READ);
                const CFileMapping copy = mapping;
                static_cast<void>(copy.GetFileName());
                break;
            }
            default: {
                CCFile file;
                file.Open(from, flag ? "r" : "a");
                const CCFile copy = file;
                file.Open(to, "r");
                CDir::MakeDir("d/deep/er", true);
            }
        }
    }

    /// Moves a file, and makes sure that what it held is at one of the two names whatever happens.
    void transfer(const stringEx& from, const stringEx& to, bool overwrite) const {
        const std::string before = held(from);
        std::error_code ignored;
        const bool is_file = fs::is_regular_file(fs::symlink_status(from.c_str(), ignored));
        const auto check = [&] {
            const bool is_kept = held(from) == before || held(to) == before;
            EXPECT_TRUE(!is_file || is_kept) << from << " to " << to;
        };
        try {
            CDir::TransferFile(from, to, overwrite);
        } catch (const rootExp&) {
            check();
            throw;
        }
        check();
    }

    static constexpr const char* calls[] = {
        "open",  "openat",    "read",    "write", "fstatat",   "linkat", "unlinkat", "copy_file_range",
        "flock", "renameat2", "mkdirat", "fcntl", "fdopendir", "fstat",  "readdir"};
    static constexpr int errors[] = {EIO, ENOSPC, EACCES, EINTR, EXDEV, EMFILE, EPERM};

    const temp_dir temp;
    const memory_dir memory;
    const working_dir here{temp.path()};
    const stringEx names[8] = {"a",   "b",   "c", "d",
                               "d/x", "d/e", "f", stringEx((memory.path + "/away").c_str())};
    const stringEx text = stringEx(std::string(9'000, 't').c_str());
    std::minstd_rand random{2024};
};

TEST_F(DirFaults, NoDescriptorLeaksAndNothingIsLost) {
    const std::ptrdiff_t before = open_descriptors();
    int failed = 0;
    for (int i = 0; i < 10'000; ++i) {
        const auto skip = static_cast<int>(random() % 4);
        faults::fail_next(calls[random() % std::size(calls)], errors[random() % std::size(errors)], 1, skip);
        try {
            run_one();
        } catch (const rootExp&) {
            ++failed;
        }
        faults::reset();
        if (i % 100 != 0) continue;
        std::error_code ignored;
        if (!fs::is_directory("d", ignored)) fs::remove_all("d", ignored);
        fs::create_directories("d/e", ignored);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(failed > 1'000 && failed < 9'000) << failed << ": most of one kind test little";
}

TEST_F(DirFaults, SignalsChangeNothing) {
    const signal_rain rain;
    const std::string big(3'000'000, 'b');
    temp.write_file("src/big", big);
    temp.write_file("src/sub/small", "s");
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(CDir::DuplicateDir("src", "copy"));
        EXPECT_TRUE(CDir::TransferDir("copy", names[7]));
        EXPECT_TRUE(CDir::TransferFile(stringEx((memory.path + "/away/big").c_str()), "moved", true));
        EXPECT_EQ(temp.content("moved"), big);
        CDir::WriteFile("moved", stringEx(big.c_str()), true);
        stringEx read;
        CDir::ReadFile("moved", read);
        EXPECT_EQ(read.view(), big);
        CDir::RemoveDir(names[7], true, true);
    }
}

}  // namespace
}  // namespace Orlo

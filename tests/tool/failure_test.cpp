// What the program says, and leaves behind, when it cannot do its work.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "support/run_binary.h"

using namespace testing_support;

namespace {

// --- what can go wrong around a run

void must(bool possible) {
    if (!possible) _exit(NOT_POSSIBLE_HERE);
}

/// A sanitizer needs memory and descriptors of its own, so there only the size of files can be limited.
preparation within(__rlimit_resource resource, rlim_t most) {
    return [=] {
        const rlimit limit{most, most};
        must((!WITH_SANITIZER || resource == RLIMIT_FSIZE) && setrlimit(resource, &limit) == 0);
    };
}

preparation closed(int first, int last) {
    return [=] { must(close_range(first, last, 0) == 0); };
}

void output_to_full_disk() {
    must(dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO) >= 0);
}

void output_to_nobody() {
    int ends[2];
    must(pipe(ends) == 0 && dup2(ends[1], STDOUT_FILENO) >= 0 && close(ends[0]) == 0);
}

/// Takes the right to read "x.csv" and "d" away; root reads them all the same, but for these capabilities.
void without_rights() {
    must(chmod("x.csv", 0) == 0 && chmod("d", 0) == 0);
    if (geteuid() != 0) return;
    must(prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 && prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) == 0);
}

/// Mounts a small disk on the folder "d", which the program alone sees, and which goes with it.
void with_small_disk() {
    must(unshare(CLONE_NEWNS) == 0 && mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("small", "d", "tmpfs", 0, "size=64k") == 0);
}

// --- one failing run

struct failing_case {
    const char* what;
    std::string input;  ///< of the file x.csv
    std::string arguments;
    std::string report;
    std::string merged = "";  ///< empty: the output was made, and nothing written to it
    preparation prepare = {};
};

/// The folder has x.csv, a.csv, which is good, the folder d and a socket.
void expect_failure(const failing_case& expected) {
    const run_folder folder{{"x.csv", expected.input}, {"a.csv", "a,b,1"}, {"d/y", ""}};
    ASSERT_EQ(mknod((folder / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
    const run_result result = folder.run(expected.arguments, expected.prepare);
    chmod((folder / "d").c_str(), 0700);
    SCOPED_TRACE(expected.what);
    if (result.status == NOT_POSSIBLE_HERE) {
        std::cout << "not possible here: " << expected.what << "\n";
        return;
    }
    EXPECT_EQ(result, ended(255, "", expected.report));
    EXPECT_EQ(folder.content("merged.csv"), expected.merged) << result;
}

std::string fatal(const std::string& message) {
    return "## [FATAL ERROR]: " + message + "\n";
}

std::string system_failure(const char* head, const std::string& path, int error, const char* sentence) {
    return fatal(head + ("\n  file path  = " + path) + "\n  error code = " + std::to_string(error) +
                 "\n  error desc = " + sentence);
}

std::string open_failure(const std::string& path, int error, const char* sentence) {
    return system_failure("CSysFile/PosixOpenFile - failed open specified file", path, error, sentence);
}

std::string write_failure(const std::string& path, int error, const char* sentence) {
    return system_failure("CSysFile::Write - failed writing file", path, error, sentence);
}

std::string missing_folder(const std::string& path) {
    return fatal("CDir::Open - error open dir, not exist\n  dir to open         = " + path +
                 "\n  current working dir = $DIR/\n");
}

const char NO_OUTPUT[] = "(none)";
const char DISK_FULL[] = "there was no free space remaining on the device containing the file";
const char NO_FILE[] = "file dose not exists or can't be created";
const char NO_DESCRIPTOR[] = "invalid file descriptor";
const std::string QUOTA = fatal("CCsvParser::GetNextRow - out of row length quota\n  current quota = 65535");

std::string many_groups(int count) {
    std::string rows;
    for (int i = 0; i < count; ++i)
        rows += "group " + std::to_string(i) + ",of many,1\r\n";
    return rows;
}

TEST(Failure, OfPathsAndFiles) {
    const std::string long_name(256, 'x');
    const failing_case cases[] = {
        {"pattern's folder", "", "no/*.csv", missing_folder("$DIR/no/"), NO_OUTPUT},
        {"full pattern's folder", "", "/no/where/*", missing_folder("/no/where/"), NO_OUTPUT},
        {"output's folder", "", "*.csv -o:no/o", open_failure("$DIR/no/o", 2, NO_FILE), NO_OUTPUT},
        {"output is a folder", "", "*.csv -o:d",
         open_failure("$DIR/d", 21, "the file is a directory and write permission is specified"), NO_OUTPUT},
        {"output's name is too long", "", "*.csv -o:" + long_name,
         open_failure("$DIR/" + long_name, 36, "file or path name is too long"), NO_OUTPUT},
        {"no descriptor is left for the input", "", "x.csv",
         open_failure("$DIR/x.csv", 24,
                      "the maximum file descriptors are currently open in the calling process"),
         "", within(RLIMIT_NOFILE, 4)},
        {"input may not be read", "", "x.csv",
         open_failure("$DIR/x.csv", 13, "permission denied or confilct flags compination"), "",
         without_rights},
        {"input is no file", "", "socket",
         open_failure("$DIR/socket", 6,
                      "the device associated with this special file does not exist, or fifo opened without "
                      "reading peer")},
    };
    for (const failing_case& expected : cases)
        expect_failure(expected);

    const run_folder folder{{"x.csv", ""}, {"d/y", "a,b,1"}};
    const run_result unread = folder.run("d", without_rights);
    EXPECT_TRUE(unread.status == NOT_POSSIBLE_HERE || unread == ended(1)) << unread;
    chmod((folder / "d").c_str(), 0700);
}

TEST(Failure, OfInputLeavesAnEmptyOutput) {
    const std::string head = "CCsvParser::GetNextRow - ";
    const std::string stray = head + "delimiter or line end mark not follow by end of qouter\n  char    = ";
    const std::string unclosed = head + "the last qouted field is not closed correctly\n  content = ";
    const std::string most(65536 - 4, '1');
    const struct {
        const char* what;
        std::string content;
        std::string report;
    } rows[] = {
        {"text behind a closing quote", "a,\"b\"c", fatal(stray + "c (0x63)\n  expect  = ,\n  content = b")},
        {"a byte that is no ASCII", "a,\"b\"\xFF",
         fatal(stray + "\xFF (0xffffffff)\n  expect  = ,\n  content = b")},
        {"LF behind a closing quote", "\"\"\n", fatal(stray + "\n (0xa)\n  expect  = ,\n  content = ")},
        {"quote not closed", "a,\"b,\"\"\r\n", fatal(unclosed + "b,\"\r\n")},
        {"one byte over the quota", "a,b," + most + "1\r\n", QUOTA},
        {"just the line end over the quota", "a,b," + most + "\r\n", QUOTA},
        {"inside quotes, too", "a,\"" + most + most, QUOTA},
    };
    for (const auto& [what, content, report] : rows)
        expect_failure({what, content, "*.csv -m:1 -c:1", report});
}

TEST(Failure, OfOutput) {
    const failing_case cases[] = {
        {"full device", "", "*.csv -o:/dev/full", write_failure("/dev/full", 28, DISK_FULL), NO_OUTPUT},
        {"full disk", many_groups(5000), "*.csv -o:d/o", write_failure("$DIR/d/o", 28, DISK_FULL), NO_OUTPUT,
         with_small_disk},
        {"no output for the total", "", "*.csv -c:3", write_failure("", 9, NO_DESCRIPTOR), "a,b,1",
         closed(1, 1)},
        {"it is full", "", "*.csv -c:3", write_failure("", 28, DISK_FULL), "a,b,1", output_to_full_disk},
        {"nobody reads it", "", "*.csv -c:3",
         write_failure("", 32, "error writing pipe, pipe has been broken"), "a,b,1", output_to_nobody},
        {"nothing at all is open", "", "*.csv -c:3", "", "a,b,1", closed(0, 2)},
        {"a report does not reach the output file", "\"", "*.csv", "", "", closed(0, 2)},
        {"no output for the usage", "", "", write_failure("", 9, NO_DESCRIPTOR), NO_OUTPUT, closed(1, 1)},
    };
    for (const failing_case& expected : cases)
        expect_failure(expected);

    const run_folder folder{{"x.csv", many_groups(1000)}};
    EXPECT_EQ(
        folder.run("*.csv -c:3", within(RLIMIT_FSIZE, 10000)),
        ended(255, "", write_failure("$DIR/merged.csv", 27, "no room for write, or offset out-of-range")));
    EXPECT_EQ(folder.content("merged.csv").size(), 10000u);
}

TEST(Failure, OfMemory) {
    expect_failure({"no more memory", many_groups(400000), "x.csv", fatal("std::bad_alloc"), "",
                    within(RLIMIT_AS, 24 << 20)});
}

TEST(Failure, EndlessRowIsRefusedInLittleMemory) {
    const run_folder folder{{"x.csv", ""}};
    std::filesystem::resize_file(folder / "x.csv", std::uintmax_t{2} << 30);
    const run_result result = folder.run("x.csv");
    EXPECT_EQ(result, ended(255, "", QUOTA));
    EXPECT_TRUE(WITH_SANITIZER || result.peak_bytes < 16 << 20) << result.peak_bytes << " bytes";
}

// The input is listed before the output is opened. A lease on the output holds the program there and tells
// when.
TEST(Failure, InputDisappearsAfterItWasListed) {
    const run_folder folder{{"in/x.csv", "a,b,1"}, {"merged.csv", "old"}};
    sigset_t lease_broken, before;
    sigemptyset(&lease_broken);
    sigaddset(&lease_broken, SIGIO);
    sigprocmask(SIG_BLOCK, &lease_broken, &before);
    const int held = open((folder / "merged.csv").c_str(), O_RDWR | O_CLOEXEC);
    if (fcntl(held, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases on this file system";

    started_program program(folder.path(), "in");
    const timespec most{60, 0};
    EXPECT_EQ(sigtimedwait(&lease_broken, nullptr, &most), SIGIO);
    std::filesystem::remove(folder / "in/x.csv");
    fcntl(held, F_SETLEASE, F_UNLCK);
    close(held);
    sigprocmask(SIG_SETMASK, &before, nullptr);

    EXPECT_EQ(program.wait(), ended(255, "", open_failure("$DIR/in/x.csv", 2, NO_FILE)));
    EXPECT_EQ(folder.content("merged.csv"), "");
}

}  // namespace

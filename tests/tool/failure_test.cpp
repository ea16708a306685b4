// What the program says, and what it leaves, when it cannot do its work.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "support/run_binary.h"

using namespace testing_support;

namespace {

// --- what can go wrong around a run

constexpr int NOT_POSSIBLE_HERE = 77;

/// Ends the new process when what it is to run under cannot be had on this machine.
void must(bool possible) {
    if (!possible) _exit(NOT_POSSIBLE_HERE);
}

/// A sanitizer needs memory and descriptors of its own, so there only the size of files can be limited.
run_folder::action within(__rlimit_resource resource, rlim_t most) {
    return [=] {
        const rlimit limit{most, most};
        must((!WITH_SANITIZER || resource == RLIMIT_FSIZE) && setrlimit(resource, &limit) == 0);
    };
}

run_folder::action closed(int first, int last) {
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

// --- one failing run

const char NO_OUTPUT[] = "(none)";
struct failing_case {
    const char* what;
    std::string input;  ///< of the file x.csv
    std::string arguments;
    std::string report;
    std::string merged = "";  ///< empty: the output was made, and nothing written to it
    run_folder::action prepare = {};
};

/// The folder has x.csv, a.csv, which is good, and the folder d.
void expect_failures(std::initializer_list<failing_case> cases) {
    for (const auto& [what, input, arguments, report, merged, prepare] : cases) {
        const run_folder folder{{"x.csv", input}, {"a.csv", "a,b,1"}, {"d/y", ""}};
        const ended result = folder.run(arguments, prepare);
        chmod((folder / "d").c_str(), 0700);
        SCOPED_TRACE(what);
        if (result.status == NOT_POSSIBLE_HERE) {
            std::cout << "not possible here: " << what << "\n";
            continue;
        }
        EXPECT_EQ(result, ended(report.empty() && merged == NO_OUTPUT ? 1 : 255, "", report));
        EXPECT_EQ(folder.content("merged.csv"), merged);
    }
}

std::string fatal(const std::string& message) {
    return "## [FATAL ERROR]: " + message + "\n";
}

const char OPEN[] = "/PosixOpenFile - failed open specified file", WRITE[] = "::Write - failed writing file";

std::string file_failure(const char* what, const std::string& path, const char* error) {
    return fatal(std::string("CSysFile") + what + "\n  file path  = " + path + "\n  error code = " + error);
}

const char DISK_FULL[] =
    "28\n  error desc = there was no free space remaining on the device containing the file";
const char NO_FILE[] = "2\n  error desc = file dose not exists or can't be created";

/// Rows that a merge leaves as they are.
std::string many_groups(int count) {
    std::string rows;
    for (int i = 0; i < count; ++i)
        rows += "group " + std::to_string(1000000 + i) + ",of many,1\r\n";
    return rows;
}

TEST(Failure, OfPathsAndFiles) {
    expect_failures({
        {"pattern's folder", "", "no/*.csv",
         fatal("CDir::Open - error open dir, not exist\n  dir to open         = $DIR/no/\n  current working "
               "dir = $DIR/\n"),
         NO_OUTPUT},
        {"output's folder", "", "*.csv -o:no/o", file_failure(OPEN, "$DIR/no/o", NO_FILE), NO_OUTPUT},
        {"output is a folder", "", "*.csv -o:d",
         file_failure(OPEN, "$DIR/d",
                      "21\n  error desc = the file is a directory and write permission is specified"),
         NO_OUTPUT},
        {"input may not be read", "", "x.csv",
         file_failure(OPEN, "$DIR/x.csv",
                      "13\n  error desc = permission denied or confilct flags compination"),
         "", without_rights},
        {"folder may not be read", "", "d -o:o", "", NO_OUTPUT, without_rights},
    });
}

TEST(Failure, OfInputLeavesAnEmptyOutput) {
    const std::string head = "CCsvParser::GetNextRow - ";
    const std::string stray = head + "delimiter or line end mark not follow by end of qouter\n  char    = ";
    const std::string unclosed = head + "the last qouted field is not closed correctly\n  content = ";
    const std::string quota = fatal(head + "out of row length quota\n  current quota = 65535");
    const std::string most(65536 - 4, '1');
    const auto endless = [] {
        must(truncate("x.csv", off_t{2} << 30) == 0);
        if (!WITH_SANITIZER) within(RLIMIT_AS, 24 << 20)();
    };
    expect_failures({
        {"text after a closing quote", "a,\"b\"c", "*.csv",
         fatal(stray + "c (0x63)\n  expect  = ,\n  content = b")},
        {"a byte that is no ASCII", "a,\"b\"\xFF", "*.csv",
         fatal(stray + "\xFF (0xffffffff)\n  expect  = ,\n  content = b")},
        {"quote not closed", "a,\"b,\"\"\r\n", "*.csv", fatal(unclosed + "b,\"\r\n")},
        {"just the line end over the quota", "a,b," + most + "\r\n", "*.csv", quota},
        {"a row without an end is refused in little memory", "", "x.csv", quota, "", endless},
        {"no more memory", many_groups(400000), "x.csv", fatal("std::bad_alloc"), "",
         within(RLIMIT_AS, 24 << 20)},
    });
}

TEST(Failure, OfOutput) {
    expect_failures({
        {"full device", "", "*.csv -o:/dev/full", file_failure(WRITE, "/dev/full", DISK_FULL), NO_OUTPUT},
        {"file grows too large", many_groups(1000), "x.csv",
         file_failure(WRITE, "$DIR/merged.csv",
                      "27\n  error desc = no room for write, or offset out-of-range"),
         many_groups(1000).substr(0, 10000), within(RLIMIT_FSIZE, 10000)},
        {"no output for the total", "", "*.csv -c:3",
         file_failure(WRITE, "", "9\n  error desc = invalid file descriptor"), "a,b,1", closed(1, 1)},
        {"it is full", "", "*.csv -c:3", file_failure(WRITE, "", DISK_FULL), "a,b,1", output_to_full_disk},
        {"nobody reads it", "", "*.csv -c:3",
         file_failure(WRITE, "", "32\n  error desc = error writing pipe, pipe has been broken"), "a,b,1",
         output_to_nobody},
        {"nothing at all is open", "", "*.csv -c:3", "", "a,b,1", closed(0, 2)},
    });
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
    const ended result = folder.run("in", {}, [&] {
        const timespec most{60, 0};
        EXPECT_EQ(sigtimedwait(&lease_broken, nullptr, &most), SIGIO);
        std::filesystem::remove(folder / "in/x.csv");
        fcntl(held, F_SETLEASE, F_UNLCK);
        close(held);
    });
    sigprocmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(result, ended(255, "", file_failure(OPEN, "$DIR/in/x.csv", NO_FILE)));
    EXPECT_EQ(folder.content("merged.csv"), "");
}

}  // namespace

// Streams of the C library, pipes, and files that do not know their size.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <thread>

#include "orlo/files/c_file.h"
#include "orlo/files/pipe.h"
#include "orlo/files/proc_file.h"
#include "support/child.h"
#include "support/errno_table.h"
#include "support/signal_rain.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;
using std::chrono::milliseconds;

bool is_open(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

struct CFile : testing::Test, faults::clean_slate {
    const temp_dir temp{{"file", "0123456789"}};
    const stringEx path = stringEx((temp / "file").c_str());
};

TEST_F(CFile, ReadsWritesAndSeeks) {
    CCFile file;
    file.Open(wstringEx(std::wstring(path.begin(), path.end()).c_str()), L"r+");
    EXPECT_NE(::fcntl(::fileno(file.GetStream()), F_GETFD) & FD_CLOEXEC, 0);
    char buffer[16] = {};
    file.SeekBegin(2);
    file.SeekCurrent(2);
    EXPECT_EQ(file.GetChar(), '4');
    file.UnGetTChar('x');
    EXPECT_TRUE(file.GetTChar() == 'x' && file.GetCurrentPos() == 5 && file.GetSize() == 10);
    file.LargeSeekBegin(8);
    EXPECT_EQ(file.LargeGetCurrentPos(), 8);
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 2u) << "short at the end is no failure";
    EXPECT_TRUE(file.GetChar() == EOF && file.IsEof());
    file.ClearError();
    EXPECT_FALSE(file.IsEof());
    file.SeekEnd(-1);
    file.PutChar(0x141);
    file.PutTChar('B');
    file.Write("CD", 2);
    file.Flush();
    EXPECT_EQ(temp.content("file"), "012345678ABCD");
    file.Open(path, "r");
    EXPECT_EQ(file.GetWChar(), static_cast<std::wint_t>(L'0'));
    file.UnGetWChar(L'y');
    EXPECT_EQ(file.GetWChar(), static_cast<std::wint_t>(L'y'));
    file.Open(path, "w");
    file.SetBufOption(_IOFBF, sizeof buffer, buffer);
    file.PutChar('z');
    EXPECT_TRUE(std::memchr(buffer, 'z', sizeof buffer) != nullptr && temp.content("file").empty());
    file.Open(path, "w");
    file.PutWChar(L'w');
    file.Close();
    EXPECT_EQ(temp.content("file"), "w");
}

TEST_F(CFile, CopiesShareAndTheLastOneCloses) {
    CCFile first;
    first.Open(path, "r");
    const int number = ::fileno(first.GetStream());
    CCFile second = first, third;
    third = second;
    EXPECT_TRUE(first.GetChar() == '0' && second.GetChar() == '1') << "one position";
    first.Close();
    first.Close();
    second = CCFile(stdout);
    EXPECT_TRUE(is_open(number));
    EXPECT_THROW(third.Open(path, "no mode"), cfileExp);
    EXPECT_FALSE(third.IsOpen() || is_open(number)) << "a failed open gives the old stream up as well";
    second.Close();
    EXPECT_TRUE(is_open(1)) << "not owned";
}

TEST_F(CFile, Failures) {
    CCFile none, reading, writing, full, pipe;
    reading.Open(path, "r");
    temp.write_file("out");
    writing.Open((temp / "out").c_str(), "w");
    full.Open("/dev/full", "w");
    temp.write_file("bad", "\xff");
    CCFile bad;
    bad.Open((temp / "bad").c_str(), "r");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    pipe = CCFile(::fdopen(ends[0], "r"));

    struct row {
        CCFile& file;
        std::function<void(CCFile&)> run;
        std::int32_t code;
        std::string head, keys;
        int error;
    };
    const char is[] = "  system error no = #\n  system error is = ";
    const char desc[] = "  system error no = #\n  system err desc = ";
    const char at[] = "  position        = -1\n  system error no = #\n  system err desc = ";
    char c = 0;
    const row rows[] = {
        {none, [&](CCFile& f) { f.Open((temp / "no").c_str(), "r"); }, 4, "Open - failed open file",
         "  file name       = " + (temp / "no") + "\n  opening mode    = r\n" + is, ENOENT},
        {none, [](CCFile& f) { f.Open("a\0b"_lit, "r"); }, 4, "Open - failed open file",
         std::string("  file name       = a\0b\n  opening mode    = r\n", 46) + is, EINVAL},
        {full, [](CCFile& f) { f.SetBufOption(9, 5); }, 16, "SetBufOption - failed set buffer",
         std::string("  mode            = 9\n  buf size        = 5\n") + is, EINVAL},
        {writing, [&](CCFile& f) { f.Read(&c, 1); }, 7, "Read - failed reading file", is, EBADF},
        {reading, [&](CCFile& f) { f.Write("a", 1); }, 9, "Write - error occur when writing", is, EBADF},
        {writing, [](CCFile& f) { f.GetChar(); }, 7, "GetChar - failed getting char", is, EBADF},
        {writing, [](CCFile& f) { f.GetTChar(); }, 7, "GetTChar - failed getting char", is, EBADF},
        {bad, [](CCFile& f) { f.GetWChar(); }, 7, "GetWChar - failed getting char", is, EILSEQ},
        {reading, [](CCFile& f) { f.UnGetChar(EOF); }, 12, "UnGetChar - failed unget char", desc, EINVAL},
        {reading, [](CCFile& f) { f.UnGetTChar(EOF); }, 12, "UnGetTChar - failed unget char", desc, EINVAL},
        {bad, [](CCFile& f) { f.UnGetWChar(WEOF); }, 12, "UnGetWChar - failed unget char", desc, EINVAL},
        {reading, [](CCFile& f) { f.PutChar('a'); }, 9, "PutChar - failed putting char", desc, EBADF},
        {reading, [](CCFile& f) { f.PutTChar('a'); }, 9, "PutTChar - failed putting char", desc, EBADF},
        {bad, [](CCFile& f) { f.PutWChar('a'); }, 9, "PutWChar - failed putting char", desc, EBADF},
        {reading, [](CCFile& f) { f.SeekBegin(-1); }, 13, "SeekBegin - error occur when seeking", at, EINVAL},
        {pipe, [](CCFile& f) { f.SeekCurrent(-1); }, 13, "SeekCurrent - error occur when seeking", at,
         ESPIPE},
        {pipe, [](CCFile& f) { f.SeekEnd(-1); }, 13, "SeekEnd - error occur when seeking", at, ESPIPE},
        {pipe, [](CCFile& f) { f.GetSize(); }, 14, "GetCurrentPos - failed get current position", desc,
         ESPIPE},
        {pipe, [](CCFile& f) { f.LargeSeekBegin(3); }, 13, "LargeSeekBegin - failed set file position",
         "  pos from begin of file = 3\n  system error no        = #\n  system err desc        = ", ESPIPE},
        {pipe, [](CCFile& f) { f.LargeGetCurrentPos(); }, 14,
         "LargeGetCurrentPos - failed get current position", desc, ESPIPE},
        {full, [](CCFile& f) { f.PutChar('a'), f.Flush(); }, 15, "Flush - failed flush buffer", desc, ENOSPC},
        {full, [](CCFile& f) { f.PutChar('a'), f.Close(); }, 6, "__Close - failed close file", is, ENOSPC},
        {none, [](CCFile& f) { f.IsEof(); }, 7, "IsEof - there is no stream to ask", is, EBADF},
        {none, [](CCFile& f) { f.ClearError(); }, 7, "ClearError - there is no stream to clear", is, EBADF},
    };
    for (const row& each : rows) {
        const auto text = [&](int error) {
            std::string keys = each.keys;
            keys.replace(keys.find('#'), 1, std::to_string(error));
            return "CCFile::" + each.head + "\n" + keys + std::strerror(error);
        };
        EXPECT_FAILURE(each.run(each.file), cfileExp, each.code, text(each.error));
        const bool needs_none = each.code == 4 || each.head.starts_with("__Close") || each.head[0] == 'S';
        if (needs_none) continue;
        EXPECT_THROW(each.run(none), cfileExp) << each.head;
    }
    EXPECT_FALSE(full.IsOpen());
    full.Open("/dev/full", "w");
    full.PutChar('a');
    EXPECT_THROW({ CCFile dying = std::exchange(full, {}); }, cfileExp) << "the last owner's failure is told";
    std::fclose(pipe.GetStream());
    ::close(ends[1]);
}

TEST_F(CFile, ReadsProcFiles) {
    std::string whole;
    for (int i = 0; i < 50'000; ++i)
        whole += std::to_string(i);
    temp.write_file("long", whole);
    stringEx text("old");
    ReadProcFile(text, (temp / "long").c_str(), 1);
    EXPECT_EQ(text.view(), whole);
    ReadProcFile(text, L"/proc/self/comm", std::size_t{1} << 60);
    EXPECT_TRUE(text.starts_with("orlo_files"));
    EXPECT_FAILURE(ReadProcFile(text, "/dev/zero", 134217729), sysfileExp, 7,
                   "ReadProcFile - failed read specified proc file\n  size too big\n"
                   "  buffer size = 134217729\n  file path   = /dev/zero");
    EXPECT_THROW(ReadProcFile(text, "/proc/none", 1), sysfileExp);
}

struct Pipe : testing::Test, faults::clean_slate {
    Pipe() { CPipe::CreatePair(&reader, &writer); }
    ~Pipe() noexcept override {}
    static int flags(const CPipe& end) { return ::fcntl(static_cast<int>(end.GetDescriptor()), F_GETFD); }

    CPipe reader, writer;
    char buffer[64] = {};
};

TEST_F(Pipe, ReadsWhatIsThere) {
    EXPECT_EQ(reader.GetTotalBytesCouldBeReadNow(), 0u);
    EXPECT_EQ(reader.Read(buffer, 8, CTimeLimit(0), false), -1);
    EXPECT_EQ(reader.Read(buffer, 0, WAIT_FOREVER, true), 0);
    writer.Write("abcdef", 6);
    EXPECT_EQ(reader.GetTotalBytesCouldBeReadNow(), 6u);
    EXPECT_EQ(reader.Read(buffer, 2), 2u);
    EXPECT_EQ(reader.Read(buffer + 2, 8, CTimeLimit(20), true), 4) << "what came before the limit is kept";
    EXPECT_STREQ(buffer, "abcdef");
    writer.Write("gh", 2);
    writer.Close();
    EXPECT_EQ(reader.Read(buffer, 8, true), 2u) << "the writer is gone";
    EXPECT_EQ(reader.Read(buffer, 8, WAIT_FOREVER, true), 0);
}

TEST_F(Pipe, OwnsItsEnds) {
    const int before = static_cast<int>(reader.GetDescriptor());
    EXPECT_NE(flags(reader) & flags(writer) & FD_CLOEXEC, 0);
    CPipe::CreatePair(&reader, nullptr);
    EXPECT_EQ(reader.Read(buffer, 8), 0u) << "the end that nobody asked for is closed";
    EXPECT_FALSE(is_open(before));
    CPipe::CreatePair(&reader, &writer, 0, true);
    EXPECT_EQ((flags(reader) | flags(writer)) & FD_CLOEXEC, 0);
    {
        const CPipe inherited(writer, true), own(writer, false);
        EXPECT_TRUE((flags(inherited) & FD_CLOEXEC) == 0 && (flags(own) & FD_CLOEXEC) != 0);
        writer.Close();
        EXPECT_EQ(reader.Read(buffer, 8, CTimeLimit(0), false), -1) << "a copy still holds the end open";
    }
    EXPECT_EQ(reader.Read(buffer, 8), 0u);
}

TEST_F(Pipe, Failures) {
    const CPipe none;
    CPipe closed;
    const std::string count = "CPipe::GetTotalBytesCouldBeReadNow - failed execute ioctl command\n";
    EXPECT_FAILURE(none.GetTotalBytesCouldBeReadNow(), pipeExp, 7,
                   count + "  error number = 9\n  system desc  = unexpect system error: Bad file descriptor");
    const std::string read =
        "CSysFile::Read - failed reading file\n  file path  = \n  error code = 9\n"
        "  error desc = invalid file descriptor";
    EXPECT_FAILURE(closed.Read(buffer, 1), pipeExp, 7, read);
    EXPECT_FAILURE(closed.Read(buffer, 1, WAIT_FOREVER, false), pipeExp, 7, read);
    EXPECT_FAILURE(closed.Peek(), pipeExp, 11, "CPipe::Peek - pipe peek is not support on this platform");

    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit nothing{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &nothing);
    EXPECT_FAILURE(reader.Read(buffer, 1, CTimeLimit(5), false), pipeExp, 7,
                   "CPipe::Read - failed wait for the pipe\n  error number = 22\n  system desc  = "
                   "nfds is greater than OPEN_MAX, or at least one fd is not qualified");
    const std::string create =
        "CPipe::CreatePair - failed create pipe pair\n  error code = 24\n  error desc = "
        "the maximum file descriptors are currently open in the calling process";
    EXPECT_FAILURE(CPipe::CreatePair(&reader, &closed), pipeExp, 4, create);
    EXPECT_FAILURE(CPipe::CreatePair(&reader, &closed, 0, true), pipeExp, 4, create);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_TRUE(reader.IsOpen());
}

/// The two lowest free descriptors, which the next pipe gets.
std::pair<int, int> lowest_free() {
    const std::pair<int, int> lowest{::dup(0), ::dup(0)};
    ::close(lowest.first);
    ::close(lowest.second);
    return lowest;
}

/// On a system without `pipe2`, which this process becomes for good.
int without_pipe2() {
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pipe2, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0),  // `pipe` itself asks for no flags
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{std::size(code), code};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) return 1;
    CPipe reader, writer;
    CPipe::CreatePair(&reader, &writer);
    if ((Pipe::flags(reader) & Pipe::flags(writer) & FD_CLOEXEC) == 0) return 2;
    const std::pair<int, int> free_before = lowest_free();
    for (const int good_calls : {0, 1}) {
        faults::fail_next("fcntl", EBADF, 1, good_calls);
        if (!fails_with<pipeExp>([&] { CPipe::CreatePair(&reader, &writer); }, 4,
                                 "CPipe::CreatePair/DisableInheritence - failed set the fd options\n"
                                 "  error code = 9\n"
                                 "  error desc = invalid file descriptor or wrong access mode"))
            return 3;
    }
    return lowest_free() == free_before ? 0 : 4;
}

TEST_F(Pipe, LivesWithoutPipe2) {
    EXPECT_EQ(child(without_pipe2).wait(), 0);
}

TEST_F(Pipe, SignalsNeitherLoseNorDelay) {
    const signal_rain rain;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(reader.Read(buffer, 8, CTimeSpan(60'000), true), -1);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(took >= milliseconds(60) && took < milliseconds(160)) << took.count();

    const temp_dir temp;
    const std::string fifo = temp / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto write_slowly = [&] {
        CCFile out;
        std::this_thread::sleep_for(milliseconds(20));
        out.Open(fifo.c_str(), "w");
        for (int i = 0; i < 4; ++i) {
            std::this_thread::sleep_for(milliseconds(12));
            out.PutChar('a' + i);
            out.Flush();
            writer.Write("xyz", 3);
        }
    };
    std::thread other(write_slowly);
    CCFile in;
    in.Open(fifo.c_str(), "r");
    EXPECT_EQ(in.GetChar(), 'a');
    EXPECT_EQ(in.Read(buffer, 8), 3u);
    EXPECT_STREQ(buffer, "bcd");
    EXPECT_EQ(reader.Read(buffer, 12, true), 12u);
    other.join();
}

}  // namespace
}  // namespace Orlo

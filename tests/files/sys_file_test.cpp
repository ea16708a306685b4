#include "orlo/files/sys_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "orlo/log/front.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;

/// Keeps what is logged while it lives.
class log_keeper final : public IMPL::log_receiver {
public:
    log_keeper() { IMPL::InstallLogReceiver(this); }
    log_keeper(const log_keeper&) = delete;
    log_keeper& operator=(const log_keeper&) = delete;
    ~log_keeper() { IMPL::InstallLogReceiver(nullptr); }

    log_level threshold() const noexcept override { return log_level::debug; }
    void write(log_level level, const stringEx& tag, const stringEx& message) override {
        EXPECT_EQ(level, log_level::debug);
        EXPECT_EQ(tag, "util.sysfile");
        messages.emplace_back(message.view());
    }

    std::vector<std::string> messages;
};

bool is_open(std::int64_t descriptor) {
    return ::fcntl(static_cast<int>(descriptor), F_GETFD) != -1;
}

struct SysFile : testing::Test, faults::clean_slate {
    CSysFile opened(const std::string& name = "file", std::uint32_t options = 0) const {
        CSysFile file;
        file.Open((temp / name).c_str(), file_access::read_write, O_CREAT, file_sharing::none, 0666, options);
        return file;
    }
    temp_dir temp;
    const std::string path = temp / "file";
};

TEST_F(SysFile, ReadsWritesAndSeeks) {
    const working_dir here(temp.make_dir("sub"));
    CSysFile file;
    file.Open("../sub/./../file", file_access::read_write, O_CREAT | O_EXCL, file_sharing::exclusive, 0600);
    EXPECT_EQ(file.GetPath().view(), path);
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    EXPECT_EQ(file.Write("0123456789", 10), 10u);
    EXPECT_EQ(file.SeekBegin(2), 2);
    EXPECT_EQ(file.SeekCurrent(3), 5);
    EXPECT_EQ(file.SeekCurrent(-1), 4);
    EXPECT_EQ(file.GetSize(), 10);
    EXPECT_EQ(file.GetCurrentPos(), 4) << "asking for the size must not move";
    char buffer[8] = {};
    EXPECT_EQ(file.Read(buffer, 3), 3u);
    EXPECT_STREQ(buffer, "456");
    EXPECT_EQ(file.SeekEnd(-1), 9);
    EXPECT_EQ(file.Read(buffer, 8), 1u);
    EXPECT_EQ(file.Read(buffer, 8), 0u) << "the end is no failure";
    EXPECT_EQ(file.SeekBegin(std::int64_t{5} << 32), std::int64_t{5} << 32);
    file.Flush();
    faults::shorten_next("write", 4);
    EXPECT_EQ(file.Write("abcdef", 6), 4u) << "one call, whatever it takes";
    EXPECT_EQ(file.GetSize(), (std::int64_t{5} << 32) + 4);

    file.Open(path.c_str(), file_access::write, O_TRUNC);
    EXPECT_EQ(file.GetSize(), 0);
    file.OpenExact("../file", file_access::read);
    EXPECT_EQ(file.GetPath(), "../file");
    file.OpenExact("/proc/self/status", file_access::read);
    EXPECT_GT(file.Read(buffer, 8), 0u);
}

TEST_F(SysFile, CopiesShareAndTheLastOneCloses) {
    temp.write_file("file", "abc");
    CSysFile first = opened();
    const std::int64_t number = first.GetDescriptor();
    CSysFile second = first;
    char c = 0;
    first.Read(&c, 1);
    second.Read(&c, 1);
    EXPECT_EQ(c, 'b') << "one position";
    first.Close();
    EXPECT_TRUE(!first.IsOpen() && first.GetPath().empty());
    first.Close();
    EXPECT_TRUE(is_open(number)) << "the other copy holds it";

    CSysFile third = std::move(second);
    EXPECT_FALSE(second.IsOpen());
    third = *&third;
    EXPECT_EQ(third.Read(&c, 1), 1u);
    first = third;
    third = CSysFile();
    EXPECT_TRUE(is_open(number));
    first.Open(first.GetPath(), file_access::read, 0, file_sharing::exclusive);
    first.Open(first.GetPath(), file_access::read, 0, file_sharing::exclusive);
    EXPECT_EQ(first.GetDescriptor(), number) << "the old one, and its lock, were given up first";
    EXPECT_THROW(first.Open((path + "/none").c_str(), file_access::read), sysfileExp);
    EXPECT_TRUE(!first.IsOpen() && first.GetPath().empty());
    { const CSysFile dying = opened(); }
    EXPECT_FALSE(is_open(number));
    EXPECT_EQ(faults::calls("close"), 4);
}

TEST_F(SysFile, CopiesDieOnDifferentThreads) {
    for (int round = 0; round < 50; ++round) {
        CSysFile file = opened();
        std::vector<CSysFile> copies(4, file);
        std::vector<std::thread> threads;
        for (CSysFile& copy : copies) {
            threads.emplace_back([&copy] {
                CSysFile another = copy;
                copy.Close();
                another.GetSize();
            });
        }
        file.Close();
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(faults::calls("close"), 50);
}

TEST_F(SysFile, Consoles) {
    CSysFile file = opened();
    const std::int64_t number = file.GetDescriptor();
    file.Open(console::output);
    EXPECT_EQ(file.GetDescriptor(), 1);
    EXPECT_TRUE(file.GetPath().empty());
    EXPECT_FALSE(is_open(number));
    file.Open(console::error);
    EXPECT_TRUE(is_open(1));
    EXPECT_FAILURE(file.Disclaim(), sysfileExp, 37, "CSysFile::Disclaim - ownership check failed");
    EXPECT_FAILURE(file.Open(static_cast<console>(3)), sysfileExp, 4,
                   "CSysFile::Open - unknown console type: 3");
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(is_open(2));
    EXPECT_THROW(file.Write("x", 1), sysfileExp);
}

// A process without an input may get its number for a file, which stays owned then.
TEST_F(SysFile, ConsoleThatIsTheFileItself) {
    const int saved = ::dup(0);
    ::close(0);
    CSysFile file = opened();
    EXPECT_EQ(file.GetDescriptor(), 0);
    file.Open(console::input);
    EXPECT_TRUE(is_open(0));
    file.Close();
    EXPECT_FALSE(is_open(0));
    ::dup2(saved, 0);
    ::close(saved);
}

TEST_F(SysFile, Disclaim) {
    CSysFile file = opened();
    {
        const CSysFile copy = file;
        EXPECT_THROW(file.Disclaim(), sysfileExp);
    }
    const std::int64_t number = file.Disclaim();
    EXPECT_EQ(file.GetDescriptor(), number);
    EXPECT_EQ(file.Write("x", 1), 1u);
    file.Close();
    EXPECT_TRUE(is_open(number));
    ::close(static_cast<int>(number));
}

TEST_F(SysFile, SharingConflictsDoNotWait) {
    const auto open = [&](file_sharing sharing) {
        CSysFile file;
        file.Open(path.c_str(), file_access::read, O_CREAT, sharing);
        return file;
    };
    const auto conflict = [&](const char* mode) {
        return "CSysFile/SetShareMode - failed set file sharing mode\n  file path    = " + path +
               "\n  sharing mode = " + mode + "\n  error code   = 11\n  error desc   = sharing mode conflict";
    };
    {
        const CSysFile held = open(file_sharing::exclusive);
        EXPECT_FAILURE(open(file_sharing::exclusive), sysfileExp, 4, conflict("exclusive"));
        EXPECT_FAILURE(open(file_sharing::shared), sysfileExp, 4, conflict("shared"));
        open(file_sharing::none);
    }
    const CSysFile one = open(file_sharing::shared);
    EXPECT_TRUE(open(file_sharing::shared).IsOpen());
    EXPECT_FAILURE(open(file_sharing::exclusive), sysfileExp, 4, conflict("exclusive"));

    const log_keeper log;
    for (const int error : {EBADF, EINVAL, EOPNOTSUPP}) {
        faults::fail_next("flock", error);
        EXPECT_TRUE(open(file_sharing::exclusive).IsOpen()) << "no locks on this file system: " << error;
    }
    EXPECT_TRUE(log.messages.empty());
}

TEST_F(SysFile, DirectAccessIsGivenUpWithAMessage) {
    const log_keeper log;
    faults::fail_next("open", EINVAL);
    CSysFile file = opened("file", file_option::direct | file_option::synchronised);
    const int flags = ::fcntl(static_cast<int>(file.GetDescriptor()), F_GETFL);
    EXPECT_EQ(flags & O_DIRECT, 0);
    EXPECT_EQ(flags & O_SYNC, O_SYNC);
    EXPECT_EQ(log.messages,
              std::vector<std::string>{"CSysFile/PosixOpenFile - failed set direct io (no buffer) "
                                       "access mode\n  file path = " +
                                       path + "\n"});
}

TEST_F(SysFile, RefusedAdviceIsOnlyLogged) {
    const std::pair<int, const char*> rows[] = {
        {EINVAL, "22\n  error desc = unknown advice"},
        {ESPIPE, "29\n  error desc = the file is associated with a pipe or fifo device"},
        {EBADF, "9\n  error desc = invalid file descriptor"},
        {EIO, "5\n  error desc = unexpect system error: Input/output error"}};
    for (const auto& [error, text] : rows) {
        const log_keeper log;
        faults::fail_next("posix_fadvise", error, 2);
        opened("file", file_option::random_access);
        opened("file", file_option::sequential_access);
        const std::string message =
            "CSysFile/PosixOpenFile - failed set access advice\n  file path  = " + path +
            "\n  error code = " + text;
        EXPECT_EQ(log.messages, (std::vector{message, message}));
    }
    faults::fail_next("posix_fadvise", EINVAL);
    opened();
    EXPECT_EQ(faults::pending(), 1) << "nothing to advise";
    EXPECT_TRUE(opened("file", file_option::random_access).IsOpen()) << "nobody to tell it to";
}

// In a process of its own: the system that does not know O_CLOEXEC is remembered for good.
TEST_F(SysFile, DescriptorsAreNotInherited) {
    const auto expect_cloexec = [](const CSysFile& file) {
        EXPECT_EQ(::fcntl(static_cast<int>(file.GetDescriptor()), F_GETFD), FD_CLOEXEC);
    };
    expect_cloexec(opened());
    const auto forked = [&] {
        const std::pair<int, const char*> rows[] = {
            {EINVAL, "22\n  error desc = invalid arguments"},
            {EOVERFLOW, "75\n  error desc = one of the values is out-of-range"},
            {EBADF, "9\n  error desc = invalid file descriptor or wrong access mode"}};
        faults::reset();
        for (const auto& [error, text] : rows) {
            faults::fail_next("open", EINVAL);
            faults::fail_next("fcntl", error);
            EXPECT_FAILURE(
                opened(), sysfileExp, 4,
                std::string("CSysFile/PosixOpenFile - failed set the fd options\n  error code = ") + text);
        }
        EXPECT_EQ(faults::calls("close"), 3) << "a descriptor that would be inherited is closed";
        faults::fail_next("open", EINVAL);
        faults::fail_next("fcntl", EINTR);
        expect_cloexec(opened());
        faults::fail_next("open", EINVAL);
        EXPECT_THROW(opened(), sysfileExp) << "now there is nothing left to do without";
        expect_cloexec(opened());
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(forked(), testing::ExitedWithCode(0), "");
}

TEST_F(SysFile, ClosingFailures) {
    CSysFile file = opened();
    const int number = static_cast<int>(file.GetDescriptor());
    file.Close();
    const faulty_operation closing{
        "close", 6, "CSysFile::__Close - error close file descriptor\n  sys error  = ",
        [&] { file = opened(), file.Close(); }, "EIO io error occurred\nEBADF invalid file descriptor"};
    expect_sentences<sysfileExp>(closing);
    EXPECT_FALSE(file.IsOpen()) << "closed all the same";

    const auto die = [&](bool unwinding) {
        const CSysFile dying = opened();
        faults::fail_next("close", EIO);
        if (unwinding) throw 7;
    };
    EXPECT_THROW(die(false), sysfileExp);
    EXPECT_THROW(die(true), int) << "a destructor is silent while another exception is in flight";
    ::close_range(static_cast<unsigned>(number), static_cast<unsigned>(number) + 16, 0);
}

TEST_F(SysFile, PathsThatCannotBeOpened) {
    CSysFile file;
    EXPECT_FAILURE(file.Open("", file_access::read), sysfileExp, 4,
                   "CSysFile::Open - failed determine the file path to open\n  file path = \n"
                   "@ CDir::ConvToFullPath - nothing to convert");
    faults::fail_next("getcwd", ERANGE);
    EXPECT_FAILURE(file.Open("x", file_access::read), sysfileExp, 4,
                   "CSysFile::Open - failed determine the file path to open\n  file path = x\n"
                   "@ CDir::GetPwd - failed getting current working dir\n  error code = 34\n"
                   "  error desc = size of buffer is too short");
    const std::pair<std::string, const char*> rows[] = {
        {"none", "2\n  error desc = file dose not exists or can't be created"},
        {std::string("a\0b", 3),
         "22\n  error desc = invalid arguments or synchronized io for this file does not supported"}};
    for (const auto& row : rows) {
        const std::string full = temp / row.first;
        EXPECT_FAILURE(
            file.Open(stringEx(full), file_access::read, 0, file_sharing::none, 0, file_option::direct),
            sysfileExp, 4,
            "CSysFile/PosixOpenFile - failed open specified file\n  file path  = " + full +
                "\n  error code = " + row.second);
    }
}

TEST_F(SysFile, SystemErrors) {
    CSysFile file = opened();
    CSysFile another;
    char c = 0;
    const std::string lines = "\n  file path  = " + path + "\n  error code = ";
    const auto seeking = [&](std::int32_t code, const char* head, std::function<void()> run) {
        return faulty_operation{"lseek", code,
                                std::string(head) + "\n  file path = " + path +
                                    "\n@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = ",
                                std::move(run),
                                R"(EBADF invalid file descriptor
EINVAL invalide argument, or the resulting file offset would be negative for the file
ESPIPE the fildes argument is associated with a pipe, fifo, or socket
EOVERFLOW the new file offset is too big)"};
    };
    const faulty_operation operations[] = {
        {"open", 4, "CSysFile/PosixOpenFile - failed open specified file" + lines,
         [&] { another.Open(path.c_str(), file_access::read); },
         R"(ENOENT file dose not exists or can't be created
EIO stream io error
ENXIO the device associated with this special file does not exist, or fifo opened without reading peer
EAGAIN the pseudo-terminal device is locked
ENOMEM unable to allocate the necessary system resource
EACCES permission denied or confilct flags compination
EEXIST file already exists
ENOTDIR path is not a directory
EISDIR the file is a directory and write permission is specified
ENFILE the maximum allowable number of files is currently open in the system
EMFILE the maximum file descriptors are currently open in the calling process
ETXTBSY try to open a pure procedure file that is being executed in writable mode
ENOSPC device or directory not ready file can not be created
EROFS open file in read-only media with write permission
ENAMETOOLONG file or path name is too long
ELOOP a loop exists in symbolic links, or too many level of links
ENOSR failed allocate stream handle
EOVERFLOW file too big)"},
        {"flock", 4,
         "CSysFile/SetShareMode - failed set file sharing mode\n  file path    = " + path +
             "\n  sharing mode = shared\n  error code   = ",
         [&] { another.Open(path.c_str(), file_access::read, 0, file_sharing::shared); },
         "EAGAIN sharing mode conflict\nENOLCK sharing lock number exceed the system limit",
         "\n  error desc   = "},
        {"read", 7, "CSysFile::Read - failed reading file" + lines, [&] { file.Read(&c, 1); },
         R"(EIO physical io error, or background process attempt to read from console terminal
ENXIO device not exist, or the request was outside the capabilities of the device
EBADF invalid file descriptor
EAGAIN the thread would be delayed in non block mode
ENOMEM insufficient memory was available to fulfill the request
EISDIR the file refers to a directory
EINVAL the stream is linked (directly or indirectly) downstream from a multiplexer
EBADMSG reading control message on a stream file
EOVERFLOW offset or length is out-of-range
ENOBUFS insufficient resources were available in the system to perform the operation)"},
        {"write", 9, "CSysFile::Write - failed writing file" + lines, [&] { file.Write(&c, 1); },
         R"(EIO physical io error, or background process attempt to write to its console terminal
ENXIO device not exist, or the request was outside the capabilities of the device
EBADF invalid file descriptor
EAGAIN the thread would be delayed in non block mode
ENOMEM insufficient memory was available to fulfill the request
EINVAL the stream is linked (directly or indirectly) downstream from a multiplexer
EFBIG no room for write, or offset out-of-range
ENOSPC there was no free space remaining on the device containing the file
ERANGE the transfer request size was outside the range supported by the streams file
ENOBUFS insufficient resources were available in the system to perform the operation)"},
        {"fsync", 15, "CSysFile::Flush - failed flush the file" + lines, [&] { file.Flush(); },
         R"(EIO io error occurred to the file system
EBADF invalid file descriptor
EINVAL the file is not support this operation
EFBIG size too big)"},
        seeking(13, "CSysFile::SeekBegin - failed seeking in file", [&] { file.SeekBegin(0); }),
        seeking(13, "CSysFile::SeekCurrent - failed seeking in file", [&] { file.SeekCurrent(0); }),
        seeking(13, "CSysFile::SeekEnd - failed seeking in file", [&] { file.SeekEnd(0); }),
        seeking(14, "CSysFile::GetCurrentPos - failed get current position", [&] { file.GetCurrentPos(); }),
        seeking(17, "CSysFile::GetSize - failed retrive file size", [&] { file.GetSize(); }),
    };
    for (const faulty_operation& operation : operations)
        expect_sentences<sysfileExp>(operation);
    EXPECT_EQ(faults::calls("close"), 4)
        << "a refused sharing closes what was opened, and so does the next open";
    faults::fail_next("write", EPIPE);
    EXPECT_FAILURE(file.Write(&c, 1), sysfileExp, 34,
                   "CSysFile::Write - failed writing file" + lines +
                       "32\n  error desc = error writing pipe, pipe has been broken");
}

}  // namespace
}  // namespace Orlo

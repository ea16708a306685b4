#include "orlo/files/sys_file.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>

#include "orlo/log/front.h"
#include "orlo/strings/environment.h"
#include "support/child.h"
#include "support/errno_table.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using namespace testing_support;

const char SYS_KEYS[] = "\n  sys error  = #\n  error desc = ";

/// Keeps what is logged while it lives.
struct log_keeper final : IMPL::log_receiver {
    log_keeper() { IMPL::InstallLogReceiver(this); }
    ~log_keeper() { IMPL::InstallLogReceiver(nullptr); }
    log_level threshold() const noexcept override { return log_level::debug; }
    void write(log_level level, const stringEx& tag, const stringEx& message) override {
        EXPECT_TRUE(level == log_level::debug && tag == "util.sysfile") << tag;
        messages.emplace_back(message.view());
    }
    std::vector<std::string> messages;
};

struct SysFile : testing::Test, faults::clean_slate {
    CSysFile opened(std::uint32_t options = 0, file_sharing sharing = file_sharing::none) const {
        CSysFile file;
        file.Open(path.c_str(), file_access::read_write, O_CREAT, sharing, 0600, options);
        return file;
    }
    static int flags(std::int64_t descriptor, int which = F_GETFD) {
        return ::fcntl(static_cast<int>(descriptor), which);
    }
    static bool is_open(std::int64_t descriptor) { return flags(descriptor) != -1; }

    const temp_dir temp;
    const working_dir here{temp.path()};
    const std::string path = temp / "file";
};

TEST_F(SysFile, ReadsWritesAndSeeks) {
    CSysFile file;
    file.Open("./sub/.././file", file_access::read_write, O_CREAT | O_EXCL, file_sharing::exclusive, 0600);
    EXPECT_EQ(file.GetPath().view(), path);
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(file.Write("0123456789", 10), 10u);
    EXPECT_TRUE(file.SeekBegin(2) == 2 && file.SeekCurrent(2) == 4 && file.GetSize() == 10);
    EXPECT_EQ(file.GetCurrentPos(), 4) << "asking for the size must not move";
    char buffer[8] = {};
    EXPECT_EQ(file.Read(buffer, 3), 3u);
    EXPECT_STREQ(buffer, "456");
    EXPECT_EQ(file.SeekEnd(-1), 9);
    EXPECT_EQ(file.Read(buffer, 8), 1u);
    EXPECT_EQ(file.Read(buffer, 8), 0u) << "the end is no failure";
    file.Open(path.c_str(), file_access::write, O_TRUNC);
    EXPECT_EQ(file.GetSize(), 0);
    file.OpenExact("./file", file_access::read);
    EXPECT_EQ(file.GetPath(), "./file");
    EXPECT_EQ(faults::calls("close"), 2);
}

TEST_F(SysFile, PositionsBesideThePosition) {
    CSysFile file = opened();
    EXPECT_EQ(file.Write("0123456789", 10, 5), 10u);
    EXPECT_EQ(file.GetCurrentPos(), 0);
    char buffer[4] = {};
    EXPECT_EQ(file.ReadPos(buffer, 4, 12), 3u);
    EXPECT_STREQ(buffer, "789");
    EXPECT_EQ(file.GetCurrentPos(), 0);
    for (const int size : {7, 20}) {
        file.SeekBegin(size);
        file.ResizeToCurrentPos();
        EXPECT_EQ(file.GetSize(), size);
    }
    EXPECT_EQ(temp.content("file"), std::string(5, '\0') + "01" + std::string(13, '\0'));
}

TEST_F(SysFile, OpensAgainAndDuplicates) {
    temp.write_file("\xC3\xA9", "abc");
    SetEnv("ORLO_DEFAULT_MBCS", "UTF-8");  // which is read at the first wide name
    CSysFile file, other;
    file.Open(L"\u00E9", file_access::read_write);
    EXPECT_EQ(file.GetPath().view(), temp / "\xC3\xA9");
    char c = 0;
    file.Read(&c, 1);
    other.Dup(file);
    other.Read(&c, 1);
    EXPECT_TRUE(c == 'b' && other.GetPath() == file.GetPath() &&
                other.GetDescriptor() != file.GetDescriptor());
    EXPECT_EQ(flags(other.GetDescriptor()), FD_CLOEXEC);
    other.Dup(other, true);
    EXPECT_EQ(flags(other.GetDescriptor()), 0);
    other.ReOpen(file, file_access::read);
    other.Read(&c, 1);
    EXPECT_EQ(c, 'a') << "a position of its own";
    EXPECT_FAILURE(other.ReOpen(CSysFile(), file_access::read), sysfileExp, 4,
                   "CSysFile::ReOpen - don't know how to reopen, empty path");
    other.ReOpen(other, file_access::read, file_sharing::exclusive);
    EXPECT_THROW(file.ReOpen(other, file_access::read, file_sharing::exclusive), sysfileExp);
    EXPECT_FALSE(file.IsOpen());

    // in a process of its own: that the system cannot do it in one step is remembered for good
    child forked([&] {
        const int before = ::dup(0);
        ::close(before);
        faults::fail_next("fcntl", EINVAL, 2);
        EXPECT_FAILURE(file.Dup(other), sysfileExp, 36,
                       "CSysFile::Dup - failed set the fd options\n  file path  = " + temp.path() +
                           "/\xC3\xA9\n  error code = 22\n  error desc = invalid arguments");
        EXPECT_FALSE(is_open(before)) << "a descriptor that would be inherited is closed";
        for (const int refused : {1, 0}) {
            faults::reset();
            faults::fail_next("fcntl", EINVAL, refused);
            file.Dup(other);
            EXPECT_EQ(flags(file.GetDescriptor()), FD_CLOEXEC);
            EXPECT_EQ(faults::calls("dup"), 1);
        }
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(forked.wait(), 0);
}

TEST_F(SysFile, Times) {
    const std::int32_t zone = CTime::GetLocalTimeZone();
    CTime::SetLocalTimeZone(90);
    const CSysFile file = opened();
    const timespec set[] = {{1'000'000, 123}, {-2, 456}};
    ::utimensat(AT_FDCWD, path.c_str(), set, 0);
    CTime creation, access, modification;
    file.GetTime(&creation, &access, &modification);
    EXPECT_EQ(creation.GetValue(), INT64_MIN);
    EXPECT_EQ(access.GetValue(), (1'000'000 - 90 * 60) * 1'000'000LL);
    EXPECT_EQ(modification.GetValue(), (-2 - 90 * 60) * 1'000'000LL);
    file.GetTime(nullptr, nullptr, nullptr);

    CSysFile same = file;
    same.SetTime(nullptr, nullptr);
    same.SetTime(nullptr, &access);
    struct stat status;
    ::stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mtim.tv_sec, 1'000'000);
    EXPECT_EQ(status.st_atim.tv_nsec, 123) << "what is not set is kept to the nanosecond";
    same.SetTime(&modification, nullptr);
    ::stat(path.c_str(), &status);
    EXPECT_EQ(status.st_atim.tv_sec, -2);
    EXPECT_EQ(faults::calls("utimensat"), 3) << "the test's own, and two";
    CTime::SetLocalTimeZone(static_cast<std::int16_t>(zone));
}

TEST_F(SysFile, StorageOfVolumesAndDevices) {
    temp.write_file("file", "abc");
    std::uint64_t sector = 1, size = 1;
    opened().GetStorageInfo(&sector, &size);
    struct statvfs volume;
    ASSERT_EQ(::statvfs(path.c_str(), &volume), 0);
    EXPECT_EQ(sector, volume.f_frsize);
    EXPECT_EQ(size, 3u);
    CSysFile file;
    file.Open("/dev/null", file_access::read);
    file.GetStorageInfo(&sector, nullptr);
    ASSERT_EQ(::statvfs("/dev", &volume), 0);
    EXPECT_EQ(sector, volume.f_frsize) << "no block device: what its folder lies on";
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
        const std::string name = entry.path().filename();
        try {
            file.Open(("/dev/" + name).c_str(), file_access::read);
        } catch (const sysfileExp&) {
            continue;  // not for this user, or not in use
        }
        file.GetStorageInfo(&sector, &size);
        std::ifstream told(entry.path() / "queue/logical_block_size");
        std::uint64_t expected = 0;
        told >> expected;
        EXPECT_EQ(sector, expected) << name;
    }
    EXPECT_FAILURE(CSysFile().GetStorageInfo(&sector, nullptr), sysfileExp, 35,
                   "CSysFile::GetStorageInfo - error retrive volume info\n  file path  = \n"
                   "@ CDir::GetPathDir - nothing to match");
}

TEST_F(SysFile, RangesAreLocked) {
    CSysFile file = opened();
    file.Lock(10, 10, file_lock::write);
    file.Unlock(12, 3);
    EXPECT_TRUE(file.TryLock(30, 0, file_lock::read));
    child other([&] {
        CSysFile mine = opened();
        const struct {
            std::int64_t from, length;
            file_lock type;
            bool granted;
        } rows[] = {
            {0, 10, file_lock::write, true}, {9, 2, file_lock::read, false},
            {12, 3, file_lock::write, true}, {15, 1, file_lock::write, false},
            {99, 1, file_lock::read, true},  {99, 1, file_lock::write, false},
        };
        for (const auto& [from, length, type, granted] : rows)
            EXPECT_EQ(mine.TryLock(from, length, type), granted) << from;
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(other.wait(), 0);

    const auto text = [&](const char* head, const char* inner, const char* rest) {
        return std::string("CSysFile::") + head + " file\n  file path = " + path + "\n@ CSysFile/Posix" +
               inner + " file\n  from       = 5\n  length     = 2\n  error code = " + rest;
    };
    const char* const invalid = "22\n  error desc = invalid arguments or file does not support locking";
    const auto unlocking = static_cast<file_lock>(F_UNLCK);
    EXPECT_FAILURE(file.Lock(5, 2, unlocking), sysfileExp, 20,
                   text("Lock - failed lock", "LockFile - failed lock", invalid));
    EXPECT_FAILURE(static_cast<void>(file.TryLock(5, 2, unlocking)), sysfileExp, 20,
                   text("TryLock - error occured while trying to lock", "LockFile - failed lock", invalid));
    faults::fail_next("fcntl", ENOLCK);
    EXPECT_FAILURE(file.Unlock(5, 2), sysfileExp, 22,
                   text("Unlock - failed unlock", "UnlockFile - failed unlock",
                        "37\n  error desc = lock number exceed the system limit"));
    faults::fail_next("fcntl", EINTR, 2);
    file.Lock(5, 2, file_lock::read);
    for (const int held : {EACCES, EAGAIN}) {
        faults::fail_next("fcntl", held);
        EXPECT_FALSE(file.TryLock(5, 2, file_lock::read)) << "held by another";
    }
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
    first.Close();
    EXPECT_TRUE(!first.IsOpen() && first.GetPath().empty() && is_open(number)) << "the other copy holds it";
    CSysFile third = std::move(second);
    EXPECT_FALSE(second.IsOpen());
    third = *&third;
    EXPECT_FAILURE(static_cast<void>((first = third).Disclaim()), sysfileExp, 37,
                   "CSysFile::Disclaim - ownership check failed");
    third = CSysFile();
    EXPECT_TRUE(is_open(number));
    for (int i = 0; i < 2; ++i)
        first.Open(first.GetPath(), file_access::read, 0, file_sharing::exclusive);
    EXPECT_EQ(first.GetDescriptor(), number) << "the old one, and its lock, were given up first";
    EXPECT_THROW(first.Open((path + "/none").c_str(), file_access::read), sysfileExp);
    EXPECT_TRUE(!first.IsOpen() && first.GetPath().empty());
    { const CSysFile dying = opened(); }
    EXPECT_FALSE(is_open(number));
    EXPECT_EQ(faults::calls("close"), 4);

    first = opened();
    EXPECT_EQ(first.Disclaim(), number);
    EXPECT_EQ(first.Write("x", 1), 1u);
    first.Close();
    EXPECT_EQ(::close(static_cast<int>(number)), 0) << "disclaimed, and so left open";
}

TEST_F(SysFile, ConsolesAreNotOwned) {
    CSysFile file = opened();
    const std::int64_t number = file.GetDescriptor();
    file.Open(console::output);
    EXPECT_TRUE(file.GetDescriptor() == 1 && file.GetPath().empty());
    EXPECT_FALSE(is_open(number));
    file.Open(console::error);
    EXPECT_TRUE(is_open(1));
    EXPECT_THROW(static_cast<void>(file.Disclaim()), sysfileExp);
    EXPECT_FAILURE(file.Open(static_cast<console>(3)), sysfileExp, 4,
                   "CSysFile::Open - unknown console type: 3");
    EXPECT_TRUE(!file.IsOpen() && is_open(2));

    // a process without an input may get its number for a file, which stays owned then
    const int saved = ::dup(0);
    ::close(0);
    file = opened();
    file.Open(console::input);
    EXPECT_TRUE(is_open(0));
    file.Close();
    EXPECT_FALSE(is_open(0));
    ::dup2(saved, 0);
    ::close(saved);
}

TEST_F(SysFile, SharingConflictsDoNotWait) {
    const auto open = [&](file_sharing sharing) { return opened(0, sharing); };
    const auto conflict = [&](const char* mode) {
        return "CSysFile/SetShareMode - failed set file sharing mode\n  file path    = " + path +
               "\n  sharing mode = " + mode + "\n  error code   = 11\n  error desc   = sharing mode conflict";
    };
    {
        const CSysFile held = open(file_sharing::exclusive);
        EXPECT_FAILURE(open(file_sharing::shared), sysfileExp, 4, conflict("shared"));
        open(file_sharing::none);
    }
    const CSysFile one = open(file_sharing::shared), two = open(file_sharing::shared);
    faults::fail_next("flock", EINTR);
    EXPECT_FAILURE(open(file_sharing::exclusive), sysfileExp, 4, conflict("exclusive"));
    EXPECT_EQ(faults::calls("close"), 4) << "a refused sharing closes what was opened";
    for (const int error : {EBADF, EINVAL, EOPNOTSUPP}) {
        faults::fail_next("flock", error);
        EXPECT_TRUE(open(file_sharing::exclusive).IsOpen()) << "no locks on this file system: " << error;
    }
}

TEST_F(SysFile, OnlyTheHolderOfTheLockEmptiesTheFile) {
    for (const file_access access : {file_access::read, file_access::write}) {
        temp.write_file("file", "abc");
        const auto emptied = [&](const char* name) {
            CSysFile file;
            file.Open(name, access, O_TRUNC, file_sharing::exclusive);
            return file;
        };
        {
            const CSysFile held = opened(0, file_sharing::shared);
            EXPECT_THROW(emptied("file"), sysfileExp);
            EXPECT_EQ(temp.content("file"), "abc") << "refused, and emptied all the same";
        }
        EXPECT_TRUE(emptied("file").IsOpen());
        EXPECT_EQ(temp.content("file"), "");
        EXPECT_TRUE(emptied("/dev/null").IsOpen()) << "what has no length has nothing to lose";
    }
    faults::fail_next("ftruncate", EIO);
    EXPECT_FAILURE(CSysFile().Open("file", file_access::write, O_TRUNC, file_sharing::shared), sysfileExp, 4,
                   "CSysFile/PosixOpenFile - failed open specified file\n  file path  = " + path +
                       "\n  error code = 5\n  error desc = stream io error");
}

TEST_F(SysFile, DirectAccessIsTriedOnceMoreWithout) {
    const auto create = [&] {
        CSysFile file;
        file.Open("file", file_access::write, O_CREAT | O_EXCL, file_sharing::none, 0600,
                  file_option::direct);
        return file;
    };
    for (const int error : {EACCES, EMFILE}) {
        faults::fail_next("open", error);
        EXPECT_THROW(create(), sysfileExp) << "only an invalid flag is worth a second try";
    }
    temp.write_file("file");  // as the first try leaves it where the file system refuses direct access
    faults::fail_next("open", EINVAL);
    EXPECT_TRUE(create().IsOpen());
    EXPECT_THROW(create(), sysfileExp) << "a file that was there before";
}

TEST_F(SysFile, WhatIsRefusedButNotNeededIsOnlyLogged) {
    const std::string head = "CSysFile/PosixOpenFile - failed set ";
    log_keeper log;
    faults::fail_next("open", EINVAL);
    const CSysFile file = opened(file_option::direct | file_option::synchronised);
    EXPECT_EQ(flags(file.GetDescriptor(), F_GETFL) & (O_DIRECT | O_SYNC), O_SYNC);
    EXPECT_EQ(std::exchange(log.messages, {}),
              std::vector{head + "direct io (no buffer) access mode\n  file path = " + path + "\n"});
    faults::fail_next("posix_fadvise", ESPIPE, 2);
    opened(file_option::random_access);
    opened(file_option::sequential_access);
    const std::string refused =
        head + "access advice\n  file path  = " + path +
        "\n  error code = 29\n  error desc = the file is associated with a pipe or fifo device";
    EXPECT_EQ(log.messages, (std::vector{refused, refused}));
    faults::fail_next("posix_fadvise", EINVAL);
    opened();
    EXPECT_EQ(faults::pending(), 1) << "nothing to advise";
}

TEST_F(SysFile, DescriptorsAreNotInherited) {
    EXPECT_EQ(flags(opened().GetDescriptor()), FD_CLOEXEC);
    // in a process of its own: that the system does not know O_CLOEXEC is remembered for good
    child forked([&] {
        faults::fail_next("open", EINVAL);
        faults::fail_next("fcntl", EINVAL);
        EXPECT_FAILURE(opened(), sysfileExp, 4,
                       "CSysFile/PosixOpenFile - failed set the fd options\n  error code = 22\n  error desc "
                       "= invalid arguments");
        EXPECT_EQ(faults::calls("close"), 2) << "a descriptor that would be inherited is closed";
        faults::fail_next("open", EINVAL);
        faults::fail_next("fcntl", EINTR);
        EXPECT_EQ(flags(opened().GetDescriptor()), FD_CLOEXEC);
        faults::fail_next("open", EINVAL);
        EXPECT_THROW(opened(), sysfileExp) << "now there is nothing left to do without";
        EXPECT_EQ(flags(opened().GetDescriptor()), FD_CLOEXEC);
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(forked.wait(), 0);
}

TEST_F(SysFile, Failures) {
    CSysFile file;
    EXPECT_FAILURE(file.Open("", file_access::read), sysfileExp, 4,
                   "CSysFile::Open - failed determine the file path to open\n  file path = \n"
                   "@ CDir::ConvToFullPath - nothing to convert");
    file = opened();
    char c = 0;
    const std::string line = "\n  file path  = " + path;
    const struct {
        const char* call;
        std::int32_t code;
        const char* head;
        int error;
        const char* sentence;
        std::function<void()> run;
        const char* more = "";
    } rows[] = {
        {"open", 4, "CSysFile/PosixOpenFile - failed open specified file", EROFS,
         "open file in read-only media with write permission", [&] { opened(); }},
        {"read", 7, "CSysFile::Read - failed reading file", EISDIR, "the file refers to a directory",
         [&] { file.Read(&c, 1); }},
        {"pread", 7, "CSysFile::ReadPos - failed reading file", EINVAL,
         "the stream is linked (directly or indirectly) downstream from a multiplexer, or the resulting file "
         "offset would be negative for the file",
         [&] { file.ReadPos(&c, 1, 0); }},
        {"pwrite", 9, "CSysFile::Write - failed writing file", EOVERFLOW, "the new file offset is too big",
         [&] { file.Write(&c, 0, 0); }},
        {"fsync", 15, "CSysFile::Flush - failed flush the file", EINVAL,
         "the file is not support this operation", [&] { file.Flush(); }},
        {"ftruncate", 23, "CSysFile::ResizeToCurrentPos - failed set the size of shared memory object", EFBIG,
         "size too big", [&] { file.ResizeToCurrentPos(); }, "\n  resize to  = 0"},
        {"fstat", 18, "CSysFile::GetTime - failed retrive the file status", EOVERFLOW,
         "some fields cannot be represented correctly in the structure",
         [&] { file.GetTime(nullptr, nullptr, nullptr); }},
        {"utimensat", 19, "CSysFile::SetTime - error setting the file time", EPERM,
         "the calling process does not have the appropriate privileges",
         [&, now = CTime::GetCurrent()] { file.SetTime(&now, nullptr); }},
        {"fcntl", 36, "CSysFile::Dup - failed duplicate the file descriptor", EMFILE,
         "the number of file descriptors in use by this process would exceed", [&] { CSysFile().Dup(file); }},
    };
    for (const auto& row : rows)
        expect_sentence<sysfileExp>(row.call, row.code, row.run, row.head + line + row.more, row.error,
                                    row.sentence);
    const auto seeking = [&](std::int32_t code, const char* head, const std::function<void()>& run) {
        expect_sentence<sysfileExp>("lseek", code, run,
                                    std::string("CSysFile::") + head + "\n  file path = " + path +
                                        "\n@ CSysFile/PosixSeekFile - error seek file pointer",
                                    EOVERFLOW, "the new file offset is too big", SYS_KEYS);
    };
    seeking(13, "SeekBegin - failed seeking in file", [&] { file.SeekBegin(0); });
    seeking(13, "SeekCurrent - failed seeking in file", [&] { file.SeekCurrent(0); });
    seeking(13, "SeekEnd - failed seeking in file", [&] { file.SeekEnd(0); });
    seeking(14, "GetCurrentPos - failed get current position", [&] { file.GetCurrentPos(); });
    seeking(17, "GetSize - failed retrive file size",
            [&] { file.GetSize(); });  // it has 0 bytes, which may mean none
    expect_sentence<sysfileExp>(
        "write", 9, [&] { file.Write(&c, 1); }, "CSysFile::Write - failed writing file" + line, ENOSPC,
        "there was no free space remaining on the device containing the file");
    faults::fail_next("write", EPIPE);
    EXPECT_FAILURE(file.Write(&c, 1), sysfileExp, 34,
                   "CSysFile::Write - failed writing file" + line +
                       "\n  error code = 32\n  error desc = error writing pipe, pipe has been broken");

    file.Close();
    const unsigned number = static_cast<unsigned>(opened().GetDescriptor());
    expect_sentence<sysfileExp>(
        "close", 6, [&] { file = opened(), file.Close(); }, "CSysFile::__Close - error close file descriptor",
        EIO, "io error occurred", SYS_KEYS);
    EXPECT_FALSE(file.IsOpen()) << "closed all the same";
    const auto die = [&] {
        const CSysFile dying = opened();
        faults::fail_next("close", EIO);
    };
    EXPECT_THROW(die(), sysfileExp);
    const auto close_in_flight = [&] {
        struct closing {
            CSysFile file;
            ~closing() { file.Close(); }
        } const last{opened()};
        faults::fail_next("close", EIO);
        throw 1;
    };
    EXPECT_THROW(close_in_flight(), int);
    ::close_range(number, number + 16, 0);
}

}  // namespace
}  // namespace Orlo

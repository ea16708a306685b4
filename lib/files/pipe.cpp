// Pipes. `pipe2`, which makes descriptors that are not inherited in one step, is looked up at run time; where
// the system has none the two steps are made apart.

#include "orlo/files/pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "files/sys_file_open.h"
#include "orlo/process/dll_loader.h"
#include "strings/failure.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr errno_sentence CREATE_SENTENCES[] = {
    {ENFILE, "the maximum allowable number of files is currently open in the system"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
};
constexpr failure<pipeExp> CREATE_FAILED{{
    .code = pipe_code::create,
    .head = "CPipe::CreatePair - failed create pipe pair\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = CREATE_SENTENCES,
}};
constexpr errno_sentence DESCRIPTOR_OPTION_SENTENCES[] = {
    {EINVAL, "invalid arguments"},
    {EOVERFLOW, "one of the values is out-of-range"},
    {EBADF, "invalid file descriptor or wrong access mode"},
};
constexpr failure<pipeExp> DESCRIPTOR_OPTION_FAILED{{
    .code = pipe_code::create,
    .head = "CPipe::CreatePair/DisableInheritence - failed set the fd options\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = DESCRIPTOR_OPTION_SENTENCES,
}};
constexpr errno_sentence WAIT_SENTENCES[] = {
    {ENOMEM, "the allocation of internal data structures failed"},
    {EINVAL, "nfds is greater than OPEN_MAX, or at least one fd is not qualified"},
};
constexpr failure<pipeExp> WAIT_FAILED{{
    .code = pipe_code::read,
    .head = "CPipe::Read - failed wait for the pipe\n",
    .keys = {"  error number = ", "  system desc  = "},
    .sentences = WAIT_SENTENCES,
}};
constexpr failure<pipeExp> COUNT_FAILED{{
    .code = pipe_code::read,
    .head = "CPipe::GetTotalBytesCouldBeReadNow - failed execute ioctl command\n",
    .keys = {"  error number = ", "  system desc  = "},
}};
constexpr failure<pipeExp> PEEK_FAILED{{
    .code = pipe_code::peek,
    .head = "CPipe::Peek - pipe peek is not support on this platform",
}};

using pipe2_call = int (*)(int*, int);

/// The system's `pipe2`, null where it has none. Looked up once in the life of the process.
pipe2_call find_pipe2() {
    static const auto found = reinterpret_cast<pipe2_call>(CDllLoader().TryGetProc("pipe2"_lit));
    return found;
}

/// Makes a pipe; answers -1 on failure.
int make_pipe(int (&ends)[2], bool is_inheritable, bool& is_done) {
    is_done = true;
    if (!is_inheritable) {
        if (const pipe2_call pipe2 = find_pipe2(); pipe2 != nullptr) {
            const int made = pipe2(ends, O_CLOEXEC);
            if (made == 0 || errno != ENOSYS) return made;
        }
        is_done = false;
    }
    return ::pipe(ends);
}

void disable_inheritance(const open_descriptor& end) {
    if (retry_interrupted([&] { return ::fcntl(end.get(), F_SETFD, FD_CLOEXEC); }) == -1)
        DESCRIPTOR_OPTION_FAILED.raise({system_error{errno}});
}

using steady = std::chrono::steady_clock;

/// When a time limit is up.
class deadline {
public:
    explicit deadline(CTimeLimit limit) : limit_(limit), start_(steady::now()) {}

    /// What is left of it, and null if it never ends.
    const timespec* left(timespec& out) const {
        if (limit_.IsForever()) return nullptr;
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(steady::now() - start_);
        const std::int64_t rest = std::max<std::int64_t>(limit_.GetMicroseconds() - passed.count(), 0);
        out = {.tv_sec = rest / US_PER_SECOND, .tv_nsec = rest % US_PER_SECOND * 1000};
        return &out;
    }

private:
    CTimeLimit limit_;
    steady::time_point start_;
};

/// Waits until the descriptor can be read; false when the time is up.
bool await_readable(int descriptor, const deadline& until) {
    pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
    const int ready = retry_interrupted([&] {
        timespec left;
        return ::ppoll(&polled, 1, until.left(left), nullptr);
    });
    if (ready < 0) WAIT_FAILED.raise({system_error{errno}});
    return ready > 0;
}

}  // namespace

void CPipe::CreatePair(CPipe* readEnd, CPipe* writeEnd, std::size_t, bool isInheritable) {
    int ends[2];
    bool is_done = false;
    if (make_pipe(ends, isInheritable, is_done) != 0) CREATE_FAILED.raise({system_error{errno}});
    open_descriptor reader(ends[0]), writer(ends[1]);
    if (!is_done) {
        disable_inheritance(reader);
        disable_inheritance(writer);
    }
    if (readEnd != nullptr) readEnd->_Adopt(reader.take());
    if (writeEnd != nullptr) writeEnd->_Adopt(writer.take());
}

std::size_t CPipe::Read(void* buffer, std::size_t size, bool readAll) {
    std::size_t total = 0;
    try {
        for (;;) {
            const std::size_t count = CSysFile::Read(static_cast<char*>(buffer) + total, size - total);
            total += count;
            if (count == 0 || total == size || !readAll) return total;
        }
    } catch (const sysfileExp& failed) {
        throw pipeExp(failed.message(), failed.code(), failed.error_number());
    }
}

std::int64_t CPipe::Read(void* buffer, std::size_t size, CTimeLimit timeout, bool readAll) {
    const deadline until(timeout);
    std::size_t total = 0;
    while (total < size) {
        const bool is_timely = !IsOpen() || await_readable(static_cast<int>(GetDescriptor()), until);
        if (!is_timely) return total > 0 ? static_cast<std::int64_t>(total) : -1;
        const std::size_t count = Read(static_cast<char*>(buffer) + total, size - total, false);
        total += count;
        if (count == 0 || !readAll) break;
    }
    return static_cast<std::int64_t>(total);
}

void CPipe::Peek() {
    PEEK_FAILED.raise();
}

std::size_t CPipe::GetTotalBytesCouldBeReadNow() const {
    int count = 0;
    if (retry_interrupted([&] { return ::ioctl(static_cast<int>(GetDescriptor()), FIONREAD, &count); }) != 0)
        COUNT_FAILED.raise({system_error{errno}});
    return static_cast<std::size_t>(count);
}

}  // namespace Orlo

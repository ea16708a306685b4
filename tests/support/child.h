#pragma once

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>

#include "orlo/strings/exceptions.h"

namespace testing_support {

/// A forked process that runs an action and exits with what it returns; 99 when the library fails in it, and
/// by std::terminate when anything else is thrown. Neither the parent's objects nor its exit handlers are run
/// in it. To be forked while the parent has one thread.
class child {
public:
    template <class Action>
    explicit child(Action&& action, unsigned seconds = 20) noexcept : id_(fork()) {
        if (id_ != 0) return;
        alarm(seconds);
        int status = 99;
        try {
            status = action();
        } catch (const Orlo::rootExp& failure) {
            std::fprintf(stderr, "in a child: %s\n", failure.message().terminated().c_str());
        }
        std::fflush(nullptr);
        _exit(status);
    }
    child(const child&) = delete;
    child& operator=(const child&) = delete;
    ~child() { wait(); }

    /// The exit status, once the process has ended; minus the signal if one ended it.
    int wait() {
        if (id_ > 0) {
            waitpid(id_, &status_, 0);
            id_ = 0;
        }
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
    }

private:
    pid_t id_;
    int status_ = -1;
};

/// A value that this process and the children it forks share.
template <class T>
class shared_value {
public:
    shared_value()
        : value_(new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                     T{}) {}
    shared_value(const shared_value&) = delete;
    shared_value& operator=(const shared_value&) = delete;
    ~shared_value() { munmap(value_, sizeof(T)); }

    T& operator*() const noexcept { return *value_; }

private:
    T* value_;
};

/// Waits until `value`, which other processes raise, has come to `target`.
inline void await(const std::atomic<int>& value, int target) {
    while (value < target)
        usleep(100);
}

}  // namespace testing_support

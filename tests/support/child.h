#pragma once

#include <semaphore.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <deque>
#include <new>
#include <string>

#include "orlo/strings/exceptions.h"

namespace testing_support {

/// A forked process that runs an action and exits with what it returns; 99 when the library fails in it, and
/// by std::terminate when anything else is thrown. Neither the parent's objects nor its exit handlers are run
/// in it. To be forked while the parent has one thread.
class child {
public:
    template <class Action>
    explicit child(Action&& action, unsigned seconds = 20) noexcept : id_((std::fflush(nullptr), fork())) {
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
        if (id_ > 0) waitpid(id_, &status_, 0);
        id_ = 0;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
    }

private:
    pid_t id_;
    int status_ = -1;
};

/// A number that this process and the children it forks share.
class shared_number {
public:
    shared_number() {
        void* const page = mmap(nullptr, 8, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        value_ = new (page) std::atomic<int>(0);
    }
    shared_number(const shared_number&) = delete;
    shared_number& operator=(const shared_number&) = delete;
    ~shared_number() { munmap(value_, 8); }

    std::atomic<int>& operator*() const noexcept { return *value_; }
    /// Waits until the others have raised it as far.
    void await(int target) const {
        while (*value_ < target) {
        }
    }

private:
    std::atomic<int>* value_;
};

/// Lets as many processes as that loose at once and adds up what they return.
template <class Action>
int race(int count, Action&& action) {
    const shared_number started;
    const auto run = [&] {
        ++*started;
        started.await(count);
        return action();
    };
    std::deque<child> children;
    for (int i = 0; i < count; ++i)
        children.emplace_back(run);
    int sum = 0;
    for (child& each : children)
        sum += each.wait();
    return sum;
}

/// A name for a shared object that no other process uses, and that is free: what a crashed run left under it,
/// or under the names that objects derive from it, is removed before and after.
class shm_name {
public:
    shm_name() { remove(); }
    ~shm_name() { remove(); }

    const std::string text = "/orlo_test_" + std::to_string(getpid());

private:
    void remove() const {
        shm_unlink(text.c_str());
        shm_unlink((text + ".lock").c_str());
        shm_unlink((text + ".beside").c_str());
        sem_unlink(text.c_str());
    }
};

}  // namespace testing_support

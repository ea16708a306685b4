#pragma once

#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

namespace testing_support {

/// A name for a shared object that no other process uses, and that is free: what a crashed run left under it,
/// or under the names that objects derive from it, is removed before and after.
class shm_name {
public:
    shm_name() : text_("/orlo_test_" + std::to_string(getpid())) { remove(); }
    shm_name(const shm_name&) = delete;
    shm_name& operator=(const shm_name&) = delete;
    ~shm_name() { remove(); }

    const std::string& text() const noexcept { return text_; }

private:
    void remove() const {
        shm_unlink(text_.c_str());
        shm_unlink((text_ + ".lock").c_str());
        sem_unlink(text_.c_str());
    }

    std::string text_;
};

}  // namespace testing_support

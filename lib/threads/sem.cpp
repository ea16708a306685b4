#include "orlo/threads/sem.h"

#include <cerrno>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "threads/sem_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr errno_sentence MAKE_SENTENCES[] = {
    {EINVAL, "the init value exceeds max limited"},
    {ENOSPC, "the max semaphores limit has been reached"},
    {EPERM, "permission denied"},
};
constexpr auto MAKE_FAILED =
    system_failure<semExp>(sem_code::make, "CSem::__Init - failed create semaphore\n", MAKE_SENTENCES);
constexpr errno_sentence DESTROY_SENTENCES[] = {
    {EBUSY, "there are currently processes blocked on the semaphore"}};
constexpr auto DESTROY_FAILED =
    system_failure<semExp>(sem_code::destroy, "CSem::~CSem - failed destroy semaphore\n", DESTROY_SENTENCES);

}  // namespace

CSem::CSem(std::uint32_t value) {
    if (sem_init(&m_sem, 0, value) != 0) MAKE_FAILED.raise({system_error{errno}});
}

CSem::~CSem() noexcept(false) {
    finish_in_destructor([this] {
        if (sem_destroy(&m_sem) != 0) DESTROY_FAILED.raise({system_error{errno}});
    });
}

void CSem::Wait() {
    sem_calls::Wait(m_sem);
}

bool CSem::TryWait() {
    return sem_calls::TryWait(m_sem);
}

bool CSem::TimedWait(CTimeLimit limit) {
    return sem_calls::TimedWait(m_sem, limit);
}

void CSem::P(std::uint32_t count) {
    sem_calls::P(m_sem, count, sem_calls::POST_FAILED);
}

}  // namespace Orlo

#include "orlo/threads/proc_sem.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"
#include "strings/system_call.h"
#include "threads/sem_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr mode_t NEW_SEMAPHORE_MODE = 0666;
/// How often a name may come and go between looking for it and making it.
constexpr int MOST_RACES = 100;

constexpr errno_sentence OPEN_SENTENCES[] = {
    {EACCES, "access denied"},
    {EEXIST, "the named semaphore already exists"},
    {EMFILE, "too many file descriptors are currently open in this process"},
    {ENAMETOOLONG, "semaphore name is too long"},
    {ENFILE, "too many semaphores are currently open in the system"},
    {ENOENT, "the named semaphore does not exist"},
    {ENOSPC, "there is insufficient space for the creation of the new named semaphore"},
    {EINVAL, "unsupport name or value is too big"},
};
constexpr errno_sentence UNLINK_SENTENCES[] = {
    {EACCES, "access denied"},
    {ENAMETOOLONG, "semaphore name is too long"},
};

constexpr failure<semExp> named_failure(std::int32_t code, const char* head,
                                        std::span<const errno_sentence> sentences) {
    return {{.code = code,
             .head = head,
             .keys = {"  semaphore name = ", "  error code     = ", "  error desc     = "},
             .sentences = sentences}};
}

constexpr auto CREATE_FAILED =
    named_failure(sem_code::create_named, "CProcSem/CreateNamedSemaphore - failed create named semaphore\n",
                  OPEN_SENTENCES);
constexpr auto OPEN_FAILED = named_failure(
    sem_code::open_named, "CProcSem/OpenNamedSemaphore - failed create named semaphore\n", OPEN_SENTENCES);
constexpr auto CLOSE_FAILED =
    named_failure(sem_code::close_named, "CProcSem::~CProcSem - failed close named semaphore\n",
                  sem_calls::NOT_A_SEMAPHORE);
constexpr auto UNLINK_FAILED = named_failure(
    sem_code::unlink_named, "CProcSem::~CProcSem - failed unlink the named semaphore\n", UNLINK_SENTENCES);

/// The semaphore, or null and `errno`. A name with a zero byte would stand for a shorter one.
sem_t* open_semaphore(const stringEx& name, int flags, std::uint32_t value = 0) {
    if (name.view().find('\0') != std::string_view::npos) {
        errno = EINVAL;
        return nullptr;
    }
    const stringEx path = name.terminated();
    sem_t* sem = SEM_FAILED;
    retry_interrupted([&] {
        sem = sem_open(path.c_str(), flags, NEW_SEMAPHORE_MODE, value);
        return sem != SEM_FAILED ? 0 : -1;
    });
    return sem != SEM_FAILED ? sem : nullptr;
}

}  // namespace

CProcSem CProcSem::Create(const stringEx& name, std::uint32_t value) {
    for (int races = 0;;) {
        if (sem_t* const found = open_semaphore(name, 0)) return {found, {}};
        if (errno == ENOENT) {
            // exclusively: of several creators one is to remove the name, and one only
            if (sem_t* const made = open_semaphore(name, O_CREAT | O_EXCL, value)) return {made, name};
            if (errno == EEXIST && ++races < MOST_RACES) continue;
        }
        CREATE_FAILED.raise({name, system_error{errno}});
    }
}

CProcSem CProcSem::Create(const wstringEx& name, std::uint32_t value) {
    return Create(NarrowName(name), value);
}

CProcSem CProcSem::Open(const stringEx& name) {
    sem_t* const found = open_semaphore(name, 0);
    if (found == nullptr) OPEN_FAILED.raise({name, system_error{errno}});
    return {found, {}};
}

CProcSem CProcSem::Open(const wstringEx& name) {
    return Open(NarrowName(name));
}

CProcSem::CProcSem(CProcSem&& other) noexcept
    : m_sem(std::exchange(other.m_sem, nullptr)), m_name(std::move(other.m_name)), m_maker(other.m_maker) {}

CProcSem::~CProcSem() noexcept(false) {
    if (m_sem == nullptr) return;
    finish_in_destructor([this] {
        const int close_error = sem_close(m_sem) == 0 ? 0 : errno;
        if (IsCreator()) {
            const stringEx path = m_name.terminated();
            const int unlinked = retry_interrupted([&] { return sem_unlink(path.c_str()); });
            if (unlinked != 0 && close_error == 0) UNLINK_FAILED.raise({m_name, system_error{errno}});
        }
        if (close_error != 0) CLOSE_FAILED.raise({m_name, system_error{close_error}});
    });
}

void CProcSem::Wait() {
    sem_calls::Wait(*m_sem);
}

bool CProcSem::TryWait() {
    return sem_calls::TryWait(*m_sem);
}

bool CProcSem::TimedWait(CTimeLimit limit) {
    return sem_calls::TimedWait(*m_sem, limit);
}

void CProcSem::P(std::uint32_t count) {
    sem_calls::P(*m_sem, count, sem_calls::NAMED_POST_FAILED);
}

}  // namespace Orlo

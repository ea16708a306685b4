#include "orlo/threads/mutex.h"

#include "orlo/strings/destructor_guard.h"
#include "threads/mutex_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr auto MAKE_FAILURES = mutex_calls::make_failures_of(
    "CMutex::CMutex - failed create mutex attribute\n", "CMutex::CMutex - failed create mutex (set type)\n",
    "CMutex::CMutex - failed create mutex (set shared)\n",
    // this head has no newline: the number follows on its line
    "CMutex::CMutex - failed create mutex", "CMutex::CMutex - failed release mutex attribute\n");
constexpr auto DESTROY_FAILED = system_failure<mutexExp>(
    mutex_code::destroy, "CMutex::~CMutex - failed close mutex\n", mutex_calls::DESTROY_SENTENCES);

}  // namespace

CMutex::CMutex() {
    mutex_calls::MakeRecursive(m_mutex, false, MAKE_FAILURES);
}

CMutex::~CMutex() noexcept(false) {
    finish_in_destructor([this] {
        if (const int error = pthread_mutex_destroy(&m_mutex)) DESTROY_FAILED.raise({system_error{error}});
    });
}

void CMutex::Lock() {
    mutex_calls::Lock(m_mutex);
}

bool CMutex::TryLock() {
    return mutex_calls::TryLock(m_mutex);
}

bool CMutex::TimedLock(CTimeLimit limit) {
    return mutex_calls::TimedLock(m_mutex, limit);
}

void CMutex::Unlock() {
    mutex_calls::Unlock(m_mutex);
}

}  // namespace Orlo

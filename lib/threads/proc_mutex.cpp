#include "orlo/threads/proc_mutex.h"

#include <utility>

#include "orlo/strings/destructor_guard.h"
#include "strings/narrow_name.h"
#include "threads/mutex_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr auto MAKE_FAILURES =
    mutex_calls::make_failures_of("CProcMutex/CreateNamedMutex - failed create mutex attribute\n",
                                  "CProcMutex/CreateNamedMutex - failed create mutex (set type)\n",
                                  "CProcMutex/CreateNamedMutex - failed create mutex (set shared)\n",
                                  "CProcMutex/CreateNamedMutex - failed create mutex\n",
                                  "CProcMutex/CreateNamedMutex - failed release mutex attribute\n");
constexpr auto DESTROY_FAILED = system_failure<mutexExp>(
    mutex_code::destroy, "CProcMutex::~CProcMutex - failed close mutex\n", mutex_calls::DESTROY_SENTENCES);

}  // namespace

CProcMutex CProcMutex::Create(const stringEx& name, std::uint32_t access) {
    return CProcMutex(
        CShMem::Create(name, sizeof(pthread_mutex_t), access | ACCESS_READ_WRITE, nullptr, [](void* view) {
            mutex_calls::MakeRecursive(*static_cast<pthread_mutex_t*>(view), true, MAKE_FAILURES);
        }));
}

CProcMutex CProcMutex::Create(const wstringEx& name, std::uint32_t access) {
    return Create(NarrowName(name), access);
}

CProcMutex CProcMutex::Open(const stringEx& name, std::uint32_t access) {
    return CProcMutex(CShMem::Open(name, access | ACCESS_READ_WRITE));
}

CProcMutex CProcMutex::Open(const wstringEx& name, std::uint32_t access) {
    return Open(NarrowName(name), access);
}

CProcMutex::~CProcMutex() noexcept(false) {
    if (!IsCreator()) return;
    finish_in_destructor([this] {
        if (const int error = pthread_mutex_destroy(&_Mutex())) DESTROY_FAILED.raise({system_error{error}});
    });
}

void CProcMutex::Lock() {
    mutex_calls::Lock(_Mutex());
}

bool CProcMutex::TryLock() {
    return mutex_calls::TryLock(_Mutex());
}

bool CProcMutex::TimedLock(CTimeLimit limit) {
    return mutex_calls::TimedLock(_Mutex(), limit);
}

void CProcMutex::Unlock() {
    mutex_calls::Unlock(_Mutex());
}

}  // namespace Orlo

#include "orlo/threads/proc_event.h"

#include <optional>

#include "orlo/strings/destructor_guard.h"
#include "strings/narrow_name.h"
#include "threads/event_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr event_calls::make_failures MAKE_FAILURES = {
    system_failure<eventExp>(event_code::make,
                             "CProcEvent/CreateNamedEvent - failed create event attribute\n"),
    system_failure<eventExp>(event_code::make,
                             "CProcEvent/CreateNamedEvent - failed create event (set shared)\n"),
    system_failure<eventExp>(event_code::make,
                             "CProcEvent/CreateNamedEvent - failed create event (set clock)\n"),
    system_failure<eventExp>(event_code::make, "CProcEvent/CreateNamedEvent - failed create event\n"),
    system_failure<eventExp>(event_code::make,
                             "CProcEvent/CreateNamedEvent - failed release event attribute\n"),
};
constexpr auto DESTROY_FAILED =
    system_failure<eventExp>(event_code::destroy, "CProcEvent::~CProcEvent - failed close event\n");

stringEx lock_name(const stringEx& name) {
    stringEx text(name);
    text.append(".lock");
    return text;
}

}  // namespace

CProcEvent CProcEvent::Create(const stringEx& name, bool raised) {
    std::optional<CProcMutex> mutex;
    CShMem region = CShMem::Create(name, sizeof(event_state), ACCESS_READ_WRITE, nullptr, [&](void* view) {
        mutex.emplace(CProcMutex::Create(lock_name(name)));
        const CLockGuard guard(*mutex);
        event_calls::Make(*static_cast<event_state*>(view), true, raised, MAKE_FAILURES);
    });
    if (!mutex) mutex.emplace(CProcMutex::Create(lock_name(name)));
    return {std::move(region), std::move(*mutex)};
}

CProcEvent CProcEvent::Create(const wstringEx& name, bool raised) {
    return Create(NarrowName(name), raised);
}

CProcEvent CProcEvent::Open(const stringEx& name) {
    CShMem region = CShMem::Open(name);
    return {std::move(region), CProcMutex::Open(lock_name(name))};
}

CProcEvent CProcEvent::Open(const wstringEx& name) {
    return Open(NarrowName(name));
}

CProcEvent::~CProcEvent() noexcept(false) {
    if (m_region.GetAddress() == nullptr) return;  // moved from
    finish_in_destructor([this] {
        const CLockGuard guard(m_mutex);
        if (!m_region.IsCreator()) return;
        if (const int error = pthread_cond_destroy(&_State().m_cond))
            DESTROY_FAILED.raise({system_error{error}});
    });
}

void CProcEvent::Raise() {
    event_calls::Raise(_State(), m_mutex._Mutex());
}

void CProcEvent::Reset() {
    event_calls::Reset(_State(), m_mutex._Mutex());
}

bool CProcEvent::IsRaised() {
    return event_calls::IsRaised(_State(), m_mutex._Mutex());
}

void CProcEvent::Wait() {
    event_calls::Wait(_State(), m_mutex._Mutex());
}

bool CProcEvent::TimedWait(CTimeLimit limit) {
    return event_calls::TimedWait(_State(), m_mutex._Mutex(), limit);
}

void CProcEvent::Wait(CMutex& lock) {
    event_calls::WaitHeld(_State(), lock.m_mutex);
}

bool CProcEvent::TimedWait(CMutex& lock, CTimeLimit limit) {
    return event_calls::TimedWaitHeld(_State(), lock.m_mutex, limit);
}

void CProcEvent::Wait(CLightMutex& lock) {
    event_calls::WaitLight(_State(), m_mutex._Mutex(), lock);
}

bool CProcEvent::TimedWait(CLightMutex& lock, CTimeLimit limit) {
    return event_calls::TimedWaitLight(_State(), m_mutex._Mutex(), lock, limit);
}

}  // namespace Orlo

#include "orlo/threads/event.h"

#include "orlo/strings/destructor_guard.h"
#include "threads/event_calls.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr event_calls::make_failures MAKE_FAILURES = {
    system_failure<eventExp>(event_code::make, "CEvent/CreateLocalEvent - failed create event attribute\n"),
    system_failure<eventExp>(event_code::make,
                             "CEvent/CreateLocalEvent - failed create event (set shared)\n"),
    system_failure<eventExp>(event_code::make, "CEvent/CreateLocalEvent - failed create event (set clock)\n"),
    system_failure<eventExp>(event_code::make, "CEvent/CreateLocalEvent - failed create event\n"),
    system_failure<eventExp>(event_code::make, "CEvent/CreateLocalEvent - failed release event attribute\n"),
};
constexpr auto DESTROY_FAILED =
    system_failure<eventExp>(event_code::destroy, "CEvent::~CEvent - failed close event\n");

}  // namespace

CEvent::CEvent(bool raised) {
    event_calls::Make(m_state, false, raised, MAKE_FAILURES);
}

CEvent::~CEvent() noexcept(false) {
    finish_in_destructor([this] {
        if (const int error = pthread_cond_destroy(&m_state.m_cond))
            DESTROY_FAILED.raise({system_error{error}});
    });
}

void CEvent::Raise() {
    event_calls::Raise(m_state, m_mutex.m_mutex);
}

void CEvent::Reset() {
    event_calls::Reset(m_state, m_mutex.m_mutex);
}

bool CEvent::IsRaised() {
    return event_calls::IsRaised(m_state, m_mutex.m_mutex);
}

void CEvent::Wait() {
    event_calls::Wait(m_state, m_mutex.m_mutex);
}

bool CEvent::TimedWait(CTimeLimit limit) {
    return event_calls::TimedWait(m_state, m_mutex.m_mutex, limit);
}

void CEvent::Wait(CMutex& lock) {
    event_calls::WaitHeld(m_state, lock.m_mutex);
}

bool CEvent::TimedWait(CMutex& lock, CTimeLimit limit) {
    return event_calls::TimedWaitHeld(m_state, lock.m_mutex, limit);
}

void CEvent::Wait(CLightMutex& lock) {
    event_calls::WaitLight(m_state, m_mutex.m_mutex, lock);
}

bool CEvent::TimedWait(CLightMutex& lock, CTimeLimit limit) {
    return event_calls::TimedWaitLight(m_state, m_mutex.m_mutex, lock, limit);
}

}  // namespace Orlo

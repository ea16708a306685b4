#include "threads/event_calls.h"

#include <cerrno>
#include <new>

#include "threads/clock_choice.h"
#include "threads/mutex_calls.h"

namespace Orlo::IMPL::event_calls {
namespace {

using mutex_calls::native_lock;

constexpr auto RAISE_FAILED =
    system_failure<eventExp>(event_code::raise, "CEvent/RaiseEvent - failed raise event\n");
constexpr auto WAIT_FAILED =
    system_failure<eventExp>(event_code::wait, "CEvent/WaitEvent - failed wait event\n", WAIT_SENTENCES);
constexpr auto TIMED_WAIT_FAILED = system_failure<eventExp>(
    event_code::timed_wait, "CEvent/TimedWaitEvent - failed wait event\n", WAIT_SENTENCES);

void check(int error, const failure<eventExp>& failed) {
    if (error != 0) failed.raise({system_error{error}});
}

}  // namespace

void Make(event_state& state, bool shared, bool raised, const make_failures& failures) {
    pthread_condattr_t attribute;
    check(pthread_condattr_init(&attribute), failures.attribute);
    try {
        const int sharing = shared ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE;
        check(pthread_condattr_setpshared(&attribute, sharing), failures.shared);
        check(pthread_condattr_setclock(&attribute, CLOCK_MONOTONIC), failures.clock);
        check(pthread_cond_init(&state.m_cond, &attribute), failures.init);
    } catch (...) {
        pthread_condattr_destroy(&attribute);
        throw;
    }
    if (const int error = pthread_condattr_destroy(&attribute)) {
        pthread_cond_destroy(&state.m_cond);
        failures.release.raise({system_error{error}});
    }
    new (&state.m_raised) std::atomic<std::uint32_t>(raised ? 1 : 0);
}

void Raise(event_state& state, pthread_mutex_t& mutex) {
    native_lock lock{mutex};
    const CLockGuard guard(lock);
    state.m_raised = 1;
    check(pthread_cond_broadcast(&state.m_cond), RAISE_FAILED);
}

void Reset(event_state& state, pthread_mutex_t& mutex) {
    native_lock lock{mutex};
    const CLockGuard guard(lock);
    state.m_raised = 0;
}

bool IsRaised(event_state& state, pthread_mutex_t& mutex) {
    native_lock lock{mutex};
    const CLockGuard guard(lock);
    return state.m_raised != 0;
}

void WaitHeld(event_state& state, pthread_mutex_t& held) {
    if (state.m_raised == 0) check(pthread_cond_wait(&state.m_cond, &held), WAIT_FAILED);
}

bool TimedWaitHeld(event_state& state, pthread_mutex_t& held, CTimeLimit limit) {
    if (state.m_raised != 0) return true;
    if (limit.IsTry()) return false;
    if (limit.IsForever()) {
        WaitHeld(state, held);
        return true;
    }
    const timespec deadline = deadline_after(CLOCK_MONOTONIC, limit.GetMicroseconds());
    const int error = pthread_cond_timedwait(&state.m_cond, &held, &deadline);
    if (error == ETIMEDOUT) return false;
    check(error, TIMED_WAIT_FAILED);
    return true;
}

void Wait(event_state& state, pthread_mutex_t& mutex) {
    TimedWait(state, mutex, WAIT_FOREVER);
}

bool TimedWait(event_state& state, pthread_mutex_t& mutex, CTimeLimit limit) {
    native_lock lock{mutex};
    const CLockGuard guard(lock);
    return TimedWaitHeld(state, mutex, limit);
}

void WaitLight(event_state& state, pthread_mutex_t& mutex, CLightMutex& held) {
    TimedWaitLight(state, mutex, held, WAIT_FOREVER);
}

bool TimedWaitLight(event_state& state, pthread_mutex_t& mutex, CLightMutex& held, CTimeLimit limit) {
    native_lock lock{mutex};
    CLockGuard guard(lock);
    if (state.m_raised != 0) return true;
    if (limit.IsTry()) return false;

    CLightMutexRelease release(held);
    release.Release();
    bool raised = false;
    try {
        raised = TimedWaitHeld(state, mutex, limit);
        guard.Unlock();
    } catch (...) {
        // the event's mutex goes first: a thread that raises takes it after the light one
        guard.Unlock();
        release.TakeBack();
        throw;
    }
    release.TakeBack();
    return raised;
}

}  // namespace Orlo::IMPL::event_calls

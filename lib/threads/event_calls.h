#pragma once

#include "orlo/threads/event.h"
#include "strings/failure.h"

// What a local and a named event do alike, with its failures. `mutex` is the event's own.

namespace Orlo::IMPL::event_calls {

inline constexpr errno_sentence WAIT_SENTENCES[] = {
    {EPERM, "the mutex was not owned by the current thread at the time of the call"},
    {EINVAL, "the value specified by cond or mutex is invalid"},
};

/// What the steps of making an event fail with.
struct make_failures {
    failure<eventExp> attribute;
    failure<eventExp> shared;
    failure<eventExp> clock;
    failure<eventExp> init;
    failure<eventExp> release;
};

/// Makes the state, with the condition on the monotonic clock.
void Make(event_state& state, bool shared, bool raised, const make_failures& failures);

void Raise(event_state& state, pthread_mutex_t& mutex);
void Reset(event_state& state, pthread_mutex_t& mutex);
bool IsRaised(event_state& state, pthread_mutex_t& mutex);

/// Waits with the event's mutex, which is taken for it.
void Wait(event_state& state, pthread_mutex_t& mutex);
bool TimedWait(event_state& state, pthread_mutex_t& mutex, CTimeLimit limit);

/// Waits with an outside mutex, which the caller holds.
void WaitHeld(event_state& state, pthread_mutex_t& held);
bool TimedWaitHeld(event_state& state, pthread_mutex_t& held, CTimeLimit limit);

/// Waits with an outside light mutex, which the caller holds: it is given up with the event's mutex held, so
/// that a `Raise` under the light mutex finds the waiter asleep.
void WaitLight(event_state& state, pthread_mutex_t& mutex, CLightMutex& held);
bool TimedWaitLight(event_state& state, pthread_mutex_t& mutex, CLightMutex& held, CTimeLimit limit);

}  // namespace Orlo::IMPL::event_calls

#pragma once

#include <unistd.h>

namespace testing_support {

/// Ends the process, and so fails the test, when a test takes longer than its limit: a lost wake-up shows as
/// a failure and not as a hang. A forked child begins without a limit and sets its own.
struct watchdog {
    explicit watchdog(unsigned seconds) { alarm(seconds); }
    watchdog(const watchdog&) = delete;
    watchdog& operator=(const watchdog&) = delete;
    ~watchdog() { alarm(0); }
};

}  // namespace testing_support

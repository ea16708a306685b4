#pragma once

#include <sys/time.h>

#include <csignal>

namespace testing_support {

/// A signal every 5 ms, which interrupts whatever waits.
class signal_rain {
public:
    signal_rain() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        set(5000);
    }
    signal_rain(const signal_rain&) = delete;
    signal_rain& operator=(const signal_rain&) = delete;
    ~signal_rain() {
        set(0);
        sigaction(SIGALRM, &before_, nullptr);
    }

private:
    static void set(long microseconds) {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
    struct sigaction before_ {};
};

}  // namespace testing_support

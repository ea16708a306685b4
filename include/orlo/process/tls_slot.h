#pragma once

#include <pthread.h>

#include <cstdint>

#include "orlo/strings/exceptions.h"

namespace Orlo {

/// One pointer-sized value for each thread: 0 in a thread that has not set it. Nothing is freed when a thread
/// ends.
///
/// Threads: every thread reads and writes its own value. The destructor must be alone.
///
/// Failures are `tlsExp`: code 1 from construction and destruction, 3 from `SetValue`. The system has 1024
/// slots for the whole process.
class CTlsSlot {
public:
    /// Fails with code 1 when there is no slot left.
    CTlsSlot();
    /// Fails with code 1, but not while another exception is in flight.
    ~CTlsSlot() noexcept(false);
    CTlsSlot(const CTlsSlot&) = delete;
    CTlsSlot& operator=(const CTlsSlot&) = delete;

    std::uintptr_t GetValue() const noexcept;
    /// Fails with code 3; the thread's value stays then.
    void SetValue(std::uintptr_t value);

private:
    pthread_key_t m_key;
};

}  // namespace Orlo

#pragma once

#include <pthread.h>

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"

namespace Orlo {

/// The codes of `tlsExp`.
namespace tls_code {
enum : std::int32_t {
    slot = 1,  ///< a slot can be neither had nor given back
    set = 3,   ///< a value cannot be set
};
}  // namespace tls_code

/// One pointer-sized value for each thread: 0 in a thread that has not set it. Nothing is freed when a thread
/// ends.
///
/// ```cpp
/// static CTlsSlot depth;
/// depth.SetValue(depth.GetValue() + 1);  // of this thread alone
/// ```
///
/// Threads: every thread reads and writes its own value. The destructor must be alone.
///
/// Failures are `tlsExp` with a code of `tls_code`. The system has 1024 slots for the whole process.
class ORLO_API CTlsSlot {
public:
    /// Throws `tls_code::slot` when there is no slot left.
    CTlsSlot();
    /// Throws `tls_code::slot`, but not while another exception is in flight.
    ~CTlsSlot() noexcept(false);
    CTlsSlot(const CTlsSlot&) = delete;
    CTlsSlot& operator=(const CTlsSlot&) = delete;

    [[nodiscard]] std::uintptr_t GetValue() const noexcept;
    /// Throws `tls_code::set`; the thread's value stays then.
    void SetValue(std::uintptr_t value);

private:
    pthread_key_t m_key;
};

}  // namespace Orlo

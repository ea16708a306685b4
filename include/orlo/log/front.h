#pragma once

#include <cstdarg>
#include <cstdint>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// Severity of a log message, from 0 up. A message is wanted when the log's threshold is at or below its
/// level; no message is ever at level `disabled`.
enum class log_level : std::uint32_t {
    debug = 0,
    info = 1,
    warning = 2,
    error = 3,
    notice = 4,
    fatal = 5,
    disabled = 6
};

/// The threshold of the process's log; `disabled` when there is none.
log_level GetLogLevel() noexcept;

/// True if the process has a log and it wants messages of `level`. Ask before building a costly message.
bool IsLogLevelOn(log_level level) noexcept;

// The process-wide log functions: safe at any time, from any thread, and with no log in the process, where
// they do nothing. They never throw: a message that cannot be formatted or written is lost. `tag` is a short
// name of the part that speaks, with dots ("util.sysfile").

/// Format as printf does and log at the level that the name says.
[[gnu::format(printf, 2, 3)]] void LogDebug(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] void LogInfo(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] void LogWarning(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] void LogError(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] void LogNotice(const char* tag, const char* format, ...) noexcept;
/// Returns only after the message has reached the log's writers.
[[gnu::format(printf, 2, 3)]] void LogFatal(const char* tag, const char* format, ...) noexcept;

/// Log a finished text, which is shared, not copied.
void LogDebugText(const stringEx& tag, const stringEx& message) noexcept;
void LogInfoText(const stringEx& tag, const stringEx& message) noexcept;
void LogWarningText(const stringEx& tag, const stringEx& message) noexcept;
void LogErrorText(const stringEx& tag, const stringEx& message) noexcept;
void LogNoticeText(const stringEx& tag, const stringEx& message) noexcept;
/// Returns only after the message has reached the log's writers.
void LogFatalText(const stringEx& tag, const stringEx& message) noexcept;

namespace IMPL {

/// What stands behind the front: the log that was installed. The front lies below files and threads, which
/// log through it, and the log lies above them; this seam keeps the lower layers from including the upper
/// one.
class log_receiver {
public:
    virtual log_level threshold() const noexcept = 0;
    /// Takes one finished message that the threshold lets through. May throw; the front swallows it.
    virtual void write(log_level level, const stringEx& tag, const stringEx& message) = 0;

protected:
    ~log_receiver() = default;
};

/// Installs the receiver of all messages, null for none; returns the one before. The caller keeps it alive
/// for as long as a thread may log.
log_receiver* InstallLogReceiver(log_receiver* receiver) noexcept;

}  // namespace IMPL
}  // namespace Orlo

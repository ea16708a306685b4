#pragma once

#include <cstdarg>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

namespace Orlo {

/// Severity of a log message, from 0 up. The log takes a message when its threshold is at or below the message's
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
[[nodiscard]] ORLO_API log_level GetLogLevel() noexcept;

/// True if the process has a log and it wants messages of `level`. Ask before building a costly message.
[[nodiscard]] ORLO_API bool IsLogLevelOn(log_level level) noexcept;

// The process-wide log functions: safe at any time, from any thread, and with no log in the process, where
// they do nothing. They never throw: a message that cannot be formatted or written is lost. `tag` is a short
// name of the part that speaks, with dots ("util.sysfile").

/// Format as printf does and log at the level that the name says.
///
/// ```cpp
/// LogInfo("app.import", "%d rows in %s", 12, "a.csv");
/// if (IsLogLevelOn(log_level::debug)) LogDebugText("app.import"_lit, stringEx("a text that took time"));
/// ```
[[gnu::format(printf, 2, 3)]] ORLO_API void LogDebug(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] ORLO_API void LogInfo(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] ORLO_API void LogWarning(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] ORLO_API void LogError(const char* tag, const char* format, ...) noexcept;
[[gnu::format(printf, 2, 3)]] ORLO_API void LogNotice(const char* tag, const char* format, ...) noexcept;
/// Returns only after the message has reached the log's writers.
[[gnu::format(printf, 2, 3)]] ORLO_API void LogFatal(const char* tag, const char* format, ...) noexcept;

/// Log a finished text, which is shared, not copied.
ORLO_API void LogDebugText(const stringEx& tag, const stringEx& message) noexcept;
ORLO_API void LogInfoText(const stringEx& tag, const stringEx& message) noexcept;
ORLO_API void LogWarningText(const stringEx& tag, const stringEx& message) noexcept;
ORLO_API void LogErrorText(const stringEx& tag, const stringEx& message) noexcept;
ORLO_API void LogNoticeText(const stringEx& tag, const stringEx& message) noexcept;
/// Returns only after the message has reached the log's writers.
ORLO_API void LogFatalText(const stringEx& tag, const stringEx& message) noexcept;

namespace IMPL {

/// The log that the functions above hand messages to. The front lies below files and threads, which
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

#include "orlo/log/front.h"

#include <atomic>
#include <cstdio>

namespace Orlo {
namespace {

std::atomic<IMPL::log_receiver*> installed{nullptr};

/// The receiver, if there is one that wants messages of `level`.
IMPL::log_receiver* receiver_for(log_level level) noexcept {
    IMPL::log_receiver* const receiver = installed.load(std::memory_order_acquire);
    return receiver != nullptr && receiver->threshold() <= level ? receiver : nullptr;
}

void log_text(log_level level, const stringEx& tag, const stringEx& message) noexcept {
    IMPL::log_receiver* const receiver = receiver_for(level);
    if (receiver == nullptr) return;
    try {
        receiver->write(level, tag, message);
    } catch (...) {
        // a message that cannot be written is lost: logging never fails its caller
    }
}

void log_format(log_level level, const char* tag, const char* format, std::va_list arguments) noexcept {
    if (receiver_for(level) == nullptr) return;
    std::va_list again;
    va_copy(again, arguments);
    try {
        const int length = std::vsnprintf(nullptr, 0, format, again);
        stringEx message;
        if (length > 0) message.append_format_list(static_cast<std::size_t>(length), format, arguments);
        if (length >= 0) log_text(level, stringEx(tag), message);
    } catch (...) {
        // as above
    }
    va_end(again);
}

}  // namespace

log_level GetLogLevel() noexcept {
    const IMPL::log_receiver* const receiver = installed.load(std::memory_order_acquire);
    return receiver != nullptr ? receiver->threshold() : log_level::disabled;
}

bool IsLogLevelOn(log_level level) noexcept {
    return receiver_for(level) != nullptr;
}

#define ORLO_LOG_FUNCTIONS(NAME, LEVEL)                                      \
    void NAME(const char* tag, const char* format, ...) noexcept {           \
        std::va_list arguments;                                              \
        va_start(arguments, format);                                         \
        log_format(LEVEL, tag, format, arguments);                           \
        va_end(arguments);                                                   \
    }                                                                        \
    void NAME##Text(const stringEx& tag, const stringEx& message) noexcept { \
        log_text(LEVEL, tag, message);                                       \
    }
ORLO_LOG_FUNCTIONS(LogDebug, log_level::debug)
ORLO_LOG_FUNCTIONS(LogInfo, log_level::info)
ORLO_LOG_FUNCTIONS(LogWarning, log_level::warning)
ORLO_LOG_FUNCTIONS(LogError, log_level::error)
ORLO_LOG_FUNCTIONS(LogNotice, log_level::notice)
ORLO_LOG_FUNCTIONS(LogFatal, log_level::fatal)
#undef ORLO_LOG_FUNCTIONS

IMPL::log_receiver* IMPL::InstallLogReceiver(log_receiver* receiver) noexcept {
    return installed.exchange(receiver, std::memory_order_acq_rel);
}

}  // namespace Orlo

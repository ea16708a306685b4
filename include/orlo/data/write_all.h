#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"

namespace Orlo {

/// Codes of an `ioExp` that is no child of it.
namespace io_code {
enum : std::int32_t { sink_full = 1 };
}

/// The failure of a sink that takes no more bytes and gives no reason.
struct ORLO_API full_sink {
    /// Throws an `ioExp` of code `io_code::sink_full`.
    [[noreturn]] static void Raise();
};

/// Writes all `size` bytes by as many calls of `sink.Write` as it takes. `written` grows by what was taken,
/// and so tells it after a failure, too. Throws what `Write` throws, and `ioExp` `io_code::sink_full` when it
/// takes nothing.
template <class Sink>
void WriteAll(Sink& sink, const void* data, std::size_t size, std::size_t& written) {
    const auto* from = static_cast<const unsigned char*>(data);
    for (std::size_t rest = size; rest != 0;) {
        const std::size_t taken = sink.Write(from, rest);
        if (taken == 0) full_sink::Raise();
        from += taken;
        rest -= taken;
        written += taken;
    }
}
template <class Sink>
void WriteAll(Sink& sink, const void* data, std::size_t size) {
    std::size_t written = 0;
    WriteAll(sink, data, size, written);
}

}  // namespace Orlo

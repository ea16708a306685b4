#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/files/sys_file.h"
#include "orlo/threads/time_limit.h"

namespace Orlo {

/// The codes of `pipeExp`.
namespace pipe_code {
enum : std::int32_t {
    create = 4,
    read = 7,  // also of waiting for the pipe, and of `GetTotalBytesCouldBeReadNow`
    peek = 11,
};
}  // namespace pipe_code

/// One end of an anonymous pipe: a `CSysFile` without a path.
///
/// ```cpp
/// CPipe readEnd, writeEnd;
/// CPipe::CreatePair(&readEnd, &writeEnd);
/// writeEnd.Write("tea", 3);
/// writeEnd.Close();
/// char text[16];
/// const std::size_t size = readEnd.Read(text, sizeof text, true);  // 3: the writer is gone
/// const std::int64_t none = readEnd.Read(text, sizeof text, CTimeLimit(100), false);
/// static_cast<void>(size + static_cast<std::size_t>(none));
/// ```
///
/// Writing is that of `CSysFile`. Copies share the descriptor. Threads: as `CSysFile`; the two ends are
/// usually held by different threads or processes.
///
/// What is declared here fails with `pipeExp` and a code of `pipe_code`.
class ORLO_API CPipe : public CSysFile {
public:
    CPipe() noexcept = default;
    /// A descriptor of its own for the same end, which programs that the process starts inherit only with
    /// `isInheritable`. Fails as `CSysFile::Dup` does.
    CPipe(const CPipe& source, bool isInheritable) { Dup(source, isInheritable); }

    /// Makes a pipe and lets the objects own its ends; each gives up what it held. An end for which null is
    /// given is closed. Programs that the process starts inherit the ends only with `isInheritable`. `size` has
    /// no effect. Fails with code 4, and leaves the objects as they were then.
    static void CreatePair(CPipe* readEnd, CPipe* writeEnd, std::size_t size = 0, bool isInheritable = false);

    /// Reads up to `size` bytes, waiting for the first; with `readAll` until the buffer is full or nothing
    /// writes to the pipe any more. Returns how many came, 0 when all writers are gone. Fails with code 7.
    std::size_t Read(void* buffer, std::size_t size, bool readAll = false);

    /// The same within a time limit, which holds for the whole call, however often a signal interrupts it.
    /// Returns -1 if nothing came in that time. With `readAll` it returns what had come when the time was up;
    /// what had come is never lost. Fails with code 7.
    std::int64_t Read(void* buffer, std::size_t size, CTimeLimit timeout, bool readAll);
    /// A number alone would be taken for `readAll`.
    std::size_t Read(void* buffer, std::size_t size, int) = delete;

    /// Not to be had here: always fails with code 11.
    [[noreturn]] void Peek();

    /// How many bytes can be read without waiting. Fails with code 7.
    std::size_t GetTotalBytesCouldBeReadNow() const;
};

}  // namespace Orlo

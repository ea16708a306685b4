#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"

namespace Orlo {

/// The codes of `cfileExp`.
namespace cfile_code {
enum : std::int32_t {
    open = 4,
    close = 6,
    read = 7,  // also of the character forms, `IsEof` and `ClearError`
    write = 9,
    unget = 12,
    seek = 13,
    position = 14,
    flush = 15,
    buffer = 16,
};
}  // namespace cfile_code

/// A stream of the C library, shared by all copies of the object; the last one to go closes it.
///
/// ```cpp
/// CCFile file;
/// file.Open("/tmp/notes.txt", "w+");
/// file.Write("tea\n", 4);
/// file.SeekBegin(0);
/// for (int c = file.GetChar(); c != EOF; c = file.GetChar()) std::putchar(c);
/// file.Close();
/// ```
///
/// Reading goes on when a signal interrupts it. Writing to a pipe or a terminal does not: the C library gives
/// up what it had buffered, so the operation fails and says so.
///
/// Threads: no lock of its own. Copies may be used and destroyed on different threads, but share one
/// position; one object belongs to one thread at a time.
///
/// All failures are `cfileExp` with a code of `cfile_code`, and tell the system's error. Every operation on an
/// object without a stream, but `Close`, fails with the system's "bad descriptor".
class ORLO_API CCFile {
public:
    CCFile() noexcept = default;
    /// Uses a stream, such as `stdout`, without owning it: it is never closed from here.
    explicit CCFile(std::FILE* stream) noexcept : m_stream(stream) {}
    CCFile(const CCFile& other) noexcept;
    CCFile(CCFile&& other) noexcept;
    /// Gives up what was held, which may fail as `Close` does; the object is then `other`'s copy nevertheless.
    CCFile& operator=(const CCFile& other);
    CCFile& operator=(CCFile&& other);
    /// Gives up the stream as `Close` does; a failure is dropped while an exception is in flight.
    ~CCFile() noexcept(false);

    /// Opens the file `name`, taken as it stands, in a mode of `fopen` ("r", "w+", "ab", ...). Programs that
    /// the process starts do not inherit it. A stream held before is given up, and on failure the object is
    /// closed. Fails with code 4, and with 6 if the old stream cannot be closed.
    void Open(const stringEx& name, const stringEx& mode);
    void Open(const wstringEx& name, const wstringEx& mode);

    /// Gives up the stream, which is closed if this was its last owner. The object is closed afterwards, even
    /// on failure. Nothing happens without a stream. Fails with code 6, which means that written data may be
    /// lost.
    void Close();

    bool IsOpen() const noexcept { return m_stream != nullptr; }
    /// The stream, null if there is none. The object keeps its ownership.
    std::FILE* GetStream() const noexcept { return m_stream; }

    /// Sets how the stream buffers, before anything else is done with it: `mode` is _IOFBF, _IOLBF or _IONBF.
    /// A `buffer` of `size` bytes must outlive the stream; without one the C library makes its own, of a size
    /// of its choice. Fails with code 16.
    void SetBufOption(int mode, std::size_t size, char* buffer = nullptr);

    /// Reads `size` bytes. Returns how many came, which are fewer only at the end of the file. Fails with
    /// code 7.
    std::size_t Read(void* buffer, std::size_t size);
    /// Writes `size` bytes and returns that number. Fails with code 9 if not all can be written.
    std::size_t Write(const void* buffer, std::size_t size);

    /// The next byte or character, EOF or WEOF at the end. A wide character is made by the locale; bytes that
    /// are none are a failure. Fails with code 7.
    int GetChar();
    int GetTChar();
    std::wint_t GetWChar();
    /// Puts one byte or character back, so that it is read next. One is sure to fit. Fails with code 12, as
    /// for EOF.
    void UnGetChar(int c);
    void UnGetTChar(int c);
    void UnGetWChar(std::wint_t c);
    /// Writes one byte, the low one of `c`, or one character. Fails with code 9.
    void PutChar(int c);
    void PutTChar(int c);
    void PutWChar(wchar_t c);

    /// Moves the position to `offset` bytes from the beginning, from where it is, or from the end. Fails with
    /// code 13.
    void SeekBegin(std::int64_t offset);
    void SeekCurrent(std::int64_t offset);
    void SeekEnd(std::int64_t offset);
    /// The position in bytes from the beginning. Fails with code 14.
    std::int64_t GetCurrentPos() const;
    /// The same by `fsetpos` and `fgetpos`.
    void LargeSeekBegin(std::int64_t offset);
    std::int64_t LargeGetCurrentPos() const;
    /// The size in bytes, what is still buffered included. The position stays. Fails with codes 13 and 14.
    std::int64_t GetSize();

    /// Hands what is buffered to the system. Fails with code 15.
    void Flush();
    /// True once a reading operation has met the end of the file.
    bool IsEof() const;
    /// Forgets that the end was met and that an operation failed.
    void ClearError();

private:
    void _GiveUp();

    std::FILE* m_stream = nullptr;
    shared_count m_owners;
};

}  // namespace Orlo

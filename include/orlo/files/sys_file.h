#pragma once

#include <fcntl.h>  // the creation flags

#include <cstddef>
#include <cstdint>

#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"

namespace Orlo {

/// What an opened file may be used for.
enum class file_access : std::int32_t { read = 0, write = 1, read_write = 2 };

/// How an open shares the file with other opens that share it too. It never waits: a conflict is a failure. A
/// file system without such locks opens unshared.
enum class file_sharing : std::int32_t { none = 0, shared = 1, exclusive = 2 };

/// Option bits of an open.
namespace file_option {
/// Past the system's cache, where the file system can; see `CSysFile::Open`.
constexpr std::uint32_t direct = 1u << 0;
/// Each write returns when its data are on the device.
constexpr std::uint32_t synchronised = 1u << 1;
/// Advise the system of random or of sequential access; sequential wins.
constexpr std::uint32_t random_access = 1u << 2;
constexpr std::uint32_t sequential_access = 1u << 3;
}  // namespace file_option

/// The streams that a process is started with.
enum class console : std::int32_t { input = 0, output = 1, error = 2 };

/// A file of the operating system: one POSIX descriptor, shared by all copies of the object, and its path.
///
/// Copies share descriptor, position and path; the last one to go closes the descriptor. A console and a
/// disclaimed descriptor have no owner and are never closed from here. Nothing is buffered, and each
/// operation is one system call, repeated only while a signal interrupts it.
///
/// ```cpp
/// CSysFile file;
/// file.Open("notes.txt"_lit, file_access::read_write, O_CREAT, file_sharing::exclusive);
/// const char text[] = "read and write take a part at times";
/// for (std::size_t done = 0; done < sizeof text;)
///     done += file.Write(text + done, sizeof text - done);
/// file.Close();  // tells of a failure, which the destructor might have to drop
/// ```
///
/// Threads: no lock. Copies may be used and destroyed on different threads, but they share one position; one
/// object belongs to one thread at a time. A `std::thread` does not take a lambda that holds a file by value,
/// as the file's destructor may throw: the lambda holds a shared pointer to it, and closes it in the end.
///
/// ```cpp
/// #include <memory>
/// #include <thread>
/// CSysFile file;
/// file.Open("/dev/null"_lit, file_access::write);
/// std::thread writer([shared = std::make_shared<CSysFile>(file)] {
///     shared->Write("text", 4);
///     shared->Close();  // catch `sysfileExp` around this: a thread lets no exception out
/// });
/// writer.join();
/// ```
///
/// All failures are `sysfileExp`, whose text tells the path and the system's error:
///
/// | code | failure                                                                          |
/// |------|----------------------------------------------------------------------------------|
/// | 4    | `Open`, `OpenExact`                                                              |
/// | 6    | closing: by `Close`, by the last owner's destructor, by opening over an old file |
/// | 7    | `Read`                                                                           |
/// | 9    | `Write`; 34 when the reader of a pipe is gone                                    |
/// | 13   | the seeks                                                                        |
/// | 14   | `GetCurrentPos`                                                                  |
/// | 15   | `Flush`                                                                          |
/// | 17   | `GetSize`                                                                        |
/// | 37   | `Disclaim`                                                                       |
///
/// An operation on a closed file fails with the system's "bad descriptor".
class CSysFile {
public:
    CSysFile() noexcept = default;
    CSysFile(const CSysFile& other) noexcept;
    CSysFile(CSysFile&& other) noexcept;
    /// Gives up what was held, which may fail as `Close` does; the object is then `other`'s copy
    /// nevertheless.
    CSysFile& operator=(const CSysFile& other);
    CSysFile& operator=(CSysFile&& other);
    /// Gives up the descriptor as `Close` does; a failure is dropped while an exception is in flight.
    ~CSysFile() noexcept(false);

    /// Opens the file at `path`, made absolute as `CDir::ConvToFullPath` does. `creation` is an OR of the
    /// system's flags (O_CREAT, O_EXCL, O_TRUNC, ...), `permissions` the mode of a file that is created, less
    /// the process's mask; `options` an OR of `file_option` bits. The descriptor is not inherited by programs
    /// that the process starts.
    ///
    /// With a sharing mode, O_TRUNC empties the file only once the lock is held: a refused open changes nothing.
    ///
    /// A descriptor held before is given up first, and on failure the object is closed. Where the file system
    /// refuses direct access the file opens without, and the log gets a debug message, as it does for a
    /// refused advice. Throws `sysfileExp` 4, and 6 if the old descriptor cannot be closed.
    void Open(const stringEx& path, file_access access, int creation = 0,
              file_sharing sharing = file_sharing::none, std::uint32_t permissions = 0666,
              std::uint32_t options = 0);

    /// The same with the path as it stands, for what must not be converted, such as files under /proc.
    void OpenExact(const stringEx& path, file_access access, int creation = 0,
                   file_sharing sharing = file_sharing::none, std::uint32_t permissions = 0666,
                   std::uint32_t options = 0);

    /// Adopts a console without owning it; the path is empty then. Throws as the other forms; an unknown
    /// console leaves the object closed.
    void Open(console which);

    /// Empties the path and gives up the descriptor, which is closed if this was its last owner. The object
    /// is closed afterwards, even on failure. Nothing happens to a closed one. Throws `sysfileExp` 6, but not
    /// while an exception is in flight.
    void Close();

    bool IsOpen() const noexcept { return descriptor_ != closed; }

    /// The descriptor's number, -1 if closed. The object keeps its ownership.
    std::int64_t GetDescriptor() const noexcept { return descriptor_; }

    /// The full path, which shares its block with the object; empty for consoles and closed files.
    stringEx GetPath() const noexcept { return path_; }

    /// Reads up to `size` bytes at the position. Returns how many came, 0 at the end of the file; fewer than
    /// asked for are no failure. Throws `sysfileExp` 7.
    std::size_t Read(void* buffer, std::size_t size);

    /// Writes up to `size` bytes at the position. Returns how many were taken, which may be fewer. Throws
    /// `sysfileExp` 9, or 34 when nothing reads the other end of a pipe.
    std::size_t Write(const void* buffer, std::size_t size);

    /// Moves the position to `offset` bytes from the beginning, from where it is, or from the end. Returns
    /// the new position. Throws `sysfileExp` 13.
    std::int64_t SeekBegin(const std::int64_t& offset);
    std::int64_t SeekCurrent(const std::int64_t& offset);
    std::int64_t SeekEnd(const std::int64_t& offset);

    /// The position in bytes from the beginning. Throws `sysfileExp` 14.
    std::int64_t GetCurrentPos() const;

    /// The size in bytes; the position stays. A file without an end answers what the system makes of it: a
    /// folder opened for reading is 2^63 - 1 bytes long on many file systems, and most of /proc has 0. Do not
    /// reserve memory by it before you know what was opened. Throws `sysfileExp` 17.
    std::int64_t GetSize() const;

    /// Waits until all that was written is on the device. Throws `sysfileExp` 15.
    void Flush();

    /// Takes the descriptor out of the library's ownership and returns it: the caller closes it. The object
    /// goes on to know its number. Throws `sysfileExp` 37, and changes nothing, unless this object is the
    /// only owner.
    std::int64_t Disclaim();

protected:
    /// Gives up what was held and owns `descriptor`, which has no path.
    void _Adopt(int descriptor);

private:
    static constexpr std::int64_t closed = -1;

    int _Number() const noexcept { return static_cast<int>(descriptor_); }
    void _GiveUp();
    void _OpenPath(const stringEx& path, file_access access, int creation, file_sharing sharing,
                   std::uint32_t permissions, std::uint32_t options);

    std::int64_t descriptor_ = closed;
    shared_count owners_;
    stringEx path_;
};

}  // namespace Orlo

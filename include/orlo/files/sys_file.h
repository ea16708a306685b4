#pragma once

#include <fcntl.h>  // the creation flags

#include <cstddef>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"
#include "orlo/time/time.h"

namespace Orlo {

/// The codes of `sysfileExp`, one an operation.
namespace sysfile_code {
enum : std::int32_t {
    open = 4,          ///< `Open`, `OpenExact`, `ReOpen`
    close = 6,         ///< `Close`, the last owner's destructor, opening over an old file
    read = 7,          ///< `Read`, `ReadPos`
    write = 9,         ///< `Write`
    seek = 13,         ///< `SeekBegin`, `SeekCurrent`, `SeekEnd`
    position = 14,     ///< `GetCurrentPos`
    flush = 15,        ///< `Flush`
    size = 17,         ///< `GetSize`
    get_time = 18,     ///< `GetTime`
    set_time = 19,     ///< `SetTime`
    lock = 20,         ///< `Lock`, `TryLock`
    unlock = 22,       ///< `Unlock`
    resize = 23,       ///< `ResizeToCurrentPos`
    broken_pipe = 34,  ///< `Write` to a pipe that nobody reads
    storage = 35,      ///< `GetStorageInfo`
    dup = 36,          ///< `Dup`
    disclaim = 37,     ///< `Disclaim`
};
}  // namespace sysfile_code

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

/// What a locked range of bytes keeps other processes from: writing, or reading and writing.
enum class file_lock : std::int32_t { read = F_RDLCK, write = F_WRLCK };

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
/// All failures are `sysfileExp`, whose text tells the path and the system's error, with a code of
/// `sysfile_code`. An operation on a closed file fails with the system's "bad descriptor".
class ORLO_API CSysFile {
public:
    /// The mode of a file that is created, less the process's mask.
    static constexpr std::uint32_t default_permissions = 0666;

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
    /// that the process starts. A named pipe waits until its other end is opened.
    ///
    /// With a sharing mode, O_TRUNC empties the file only once the lock is held: a refused open changes
    /// nothing. These locks are `flock`'s, which know nothing of those of `Lock`.
    ///
    /// A descriptor held before is given up first, and on failure the object is closed. Where the file system
    /// refuses direct access the file opens without, and the log gets a debug message, as it does for a
    /// refused advice. Throws `sysfile_code::open`, and `close` if the old descriptor cannot be closed.
    void Open(const stringEx& path, file_access access, int creation = 0,
              file_sharing sharing = file_sharing::none, std::uint32_t permissions = default_permissions,
              std::uint32_t options = 0);
    /// The same by a wide path, in the default encoding. A path with a character that it lacks fails likewise, and
    /// the object stays as it was.
    void Open(const wstringEx& path, file_access access, int creation = 0,
              file_sharing sharing = file_sharing::none, std::uint32_t permissions = default_permissions,
              std::uint32_t options = 0);

    /// The same with the path as it stands, for what must not be converted, such as files under /proc.
    void OpenExact(const stringEx& path, file_access access, int creation = 0,
                   file_sharing sharing = file_sharing::none, std::uint32_t permissions = default_permissions,
                   std::uint32_t options = 0);
    void OpenExact(const wstringEx& path, file_access access, int creation = 0,
                   file_sharing sharing = file_sharing::none, std::uint32_t permissions = default_permissions,
                   std::uint32_t options = 0);

    /// Adopts a console without owning it; the path is empty then. Throws as the other forms; an unknown
    /// console leaves the object closed.
    void Open(console which);

    /// Opens the file at the path of `other`, which may be this object, once more: with a position of its own.
    /// The file must exist. Throws as `Open`; without a path to open nothing changes.
    void ReOpen(const CSysFile& other, file_access access, file_sharing sharing = file_sharing::none,
                std::uint32_t options = 0);

    /// Lets the object own a duplicate of the descriptor of `source`, with the same path and one common
    /// position; what the object held is given up. Programs that the process starts inherit it only with
    /// `inheritable`. Throws `sysfile_code::dup`, which changes nothing, and `close`.
    void Dup(const CSysFile& source, bool inheritable = false);

    /// Empties the path and gives up the descriptor, which is closed if this was its last owner. The object
    /// is closed afterwards, even on failure. Nothing happens to a closed one. Throws `sysfile_code::close`, but not
    /// while an exception is in flight.
    void Close();

    bool IsOpen() const noexcept { return m_descriptor != closed; }

    /// The descriptor's number, -1 if closed. The object keeps its ownership.
    std::int64_t GetDescriptor() const noexcept { return m_descriptor; }

    /// The full path, which shares its block with the object; empty for consoles and closed files.
    stringEx GetPath() const noexcept { return m_path; }

    // --- reading and writing -------------------------------------------------------------------------------
    //
    // One system call each: fewer bytes than asked for are no failure. `buffer` is not null unless `size` is 0.

    /// Reads up to `size` bytes at the position. Returns how many came, 0 at the end of the file. Throws
    /// `sysfile_code::read`.
    std::size_t Read(void* buffer, std::size_t size);

    /// The same at `offset`; the position stays.
    std::size_t ReadPos(void* buffer, std::size_t size, std::int64_t offset) const;

    /// Writes up to `size` bytes at the position. Returns how many were taken. Throws `sysfile_code::write`, or
    /// `broken_pipe` when nothing reads the other end of a pipe.
    std::size_t Write(const void* buffer, std::size_t size);

    /// The same at `offset`; the position stays. A file opened with O_APPEND appends all the same.
    std::size_t Write(const void* buffer, std::size_t size, std::int64_t offset);

    /// Waits until all that was written is on the device. Throws `sysfile_code::flush`.
    void Flush();

    // --- position and size ---------------------------------------------------------------------------------

    /// Moves the position to `offset` bytes from the beginning, from where it is, or from the end. Returns
    /// the new position. Throws `sysfile_code::seek`.
    std::int64_t SeekBegin(const std::int64_t& offset);
    std::int64_t SeekCurrent(const std::int64_t& offset);
    std::int64_t SeekEnd(const std::int64_t& offset);

    /// The position in bytes from the beginning. Throws `sysfile_code::position`.
    std::int64_t GetCurrentPos() const;

    /// The size in bytes; the position stays. A file without an end answers what the system makes of it: a
    /// folder opened for reading is 2^63 - 1 bytes long on many file systems, and most of /proc has 0. Do not
    /// reserve memory by it before you know what was opened. Throws `sysfile_code::size`.
    std::int64_t GetSize() const;

    /// Sets what is not null: the bytes that are stored at once, which are a sector of the block device that the
    /// path names under /dev/, and else a fragment of the volume that its folder lies on; and the size as `GetSize`
    /// tells it. Throws `sysfile_code::storage` and `size`.
    void GetStorageInfo(std::uint64_t* sectorSize, std::uint64_t* totalSize) const;

    /// Cuts the file at the position, or fills it up to there with zeros. Throws `sysfile_code::resize`, and
    /// `position` where there is none.
    void ResizeToCurrentPos();

    // --- times ---------------------------------------------------------------------------------------------
    //
    // In whole seconds, and shifted: a time is the system's less the local zone of `CTime`, so that one that was
    // read here can be set here. Add `CTime::GetLocalTimeZone()` minutes to compare it with `CTime::GetCurrent`.

    /// Sets what the pointers that are not null point to. The system keeps no time of creation; its place gets
    /// the smallest 64-bit value. Throws `sysfile_code::get_time`.
    void GetTime(CTime* creation, CTime* access, CTime* modification) const;

    /// Sets the times of what the object's path names now; one that is null stays as it is. Throws
    /// `sysfile_code::set_time`.
    void SetTime(const CTime* access, const CTime* modification);

    // --- locks on ranges of bytes --------------------------------------------------------------------------
    //
    // `length` bytes from byte `from` of the file on, all up to its end, wherever that will be, for 0. The locks
    // are the process's: its threads and objects do not keep each other out, and *closing any descriptor of the
    // file drops all of them*, even one that was opened and closed meanwhile by somebody else in the process.

    /// Locks a range if no other process holds a part of it. Throws `sysfile_code::lock`.
    [[nodiscard]] bool TryLock(std::int64_t from, std::int64_t length, file_lock type);

    /// Locks a range, waiting for those who hold a part of it. Throws `sysfile_code::lock`, also when waiting
    /// would never end.
    void Lock(std::int64_t from, std::int64_t length, file_lock type);

    /// Gives a range back. Throws `sysfile_code::unlock`.
    void Unlock(std::int64_t from, std::int64_t length);

    // --- ownership -----------------------------------------------------------------------------------------

    /// Takes the descriptor out of the library's ownership and returns it: the caller closes it. The object
    /// goes on to know its number. Throws `sysfile_code::disclaim`, and changes nothing, unless this object is
    /// the only owner.
    [[nodiscard]] std::int64_t Disclaim();

protected:
    /// Gives up what was held and owns `descriptor`, which was opened at `path` or has none.
    void _Adopt(int descriptor, const stringEx& path = {});

private:
    static constexpr std::int64_t closed = -1;

    int _Number() const noexcept { return static_cast<int>(m_descriptor); }
    void _GiveUp();
    void _OpenPath(const stringEx& path, file_access access, int creation, file_sharing sharing,
                   std::uint32_t permissions, std::uint32_t options);

    std::int64_t m_descriptor = closed;
    shared_count m_owners;
    stringEx m_path;
};

}  // namespace Orlo

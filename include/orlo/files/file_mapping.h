#pragma once

#include <cstddef>
#include <cstdint>

#include "orlo/export.h"
#include "orlo/files/shm.h"  // ACCESS_READ and the other protections
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_count.h"

namespace Orlo {

/// The codes of `fmppExp`.
namespace fmpp_code {
enum : std::int32_t {
    open = 1,  // also copying a mapping
    view = 2,
    release = 3,  // of a view or of the file
    flush = 4,
    name = 5,
};
}  // namespace fmpp_code

/// A file that can be mapped into memory. The object holds the file open; what is mapped are its views, which
/// may outlive it.
///
/// ```cpp
/// CFileMapping mapping("/etc/hostname", ACCESS_READ);
/// CFileMapping::CView view = mapping.CreateView(100, 10, ACCESS_READ);
/// if (mapping.IsIntact(view)) {
///     const char* const byte_100 = static_cast<const char*>(view.GetAddress());
///     static_cast<void>(byte_100);
/// }
/// ```
///
/// Protections are ACCESS_READ, ACCESS_WRITE, ACCESS_EXECUTE, their sums, and ACCESS_COPY_ON_WRITE, with which
/// writing changes the view and never the file. Other bits are refused.
///
/// A file that becomes shorter takes the bytes after its new end with it: a view of them is still there, and
/// whoever touches it gets the signal SIGBUS, which ends the process. Where others may shorten the file ask
/// `IsIntact` before, and know that it tells about the past.
///
/// Threads: no lock. Copies of a view may be used and destroyed on different threads; one object belongs to one
/// thread at a time.
///
/// Failures are `fmppExp` with a code of `fmpp_code`.
class ORLO_API CFileMapping {
public:
    class CView;

    /// Opens the file at `path`, taken as it stands, for views of this protection; a null path is an empty one.
    /// Reading and executing open it to be read; ACCESS_WRITE alone to be written, though the system maps no
    /// such file; all else for both, but a file that may only be read still serves ACCESS_COPY_ON_WRITE.
    /// Programs that the process starts do not inherit it. Fails with code 1.
    CFileMapping(const stringEx& path, std::uint32_t protection);
    CFileMapping(const wstringEx& path, std::uint32_t protection);
    CFileMapping(const char* path, std::uint32_t protection);
    CFileMapping(const wchar_t* path, std::uint32_t protection);

    /// Opens the same file by a descriptor of its own. Fails with code 1.
    CFileMapping(const CFileMapping& other);
    CFileMapping(CFileMapping&& other) noexcept;
    CFileMapping& operator=(CFileMapping other) noexcept;
    /// Closes the file. Fails with code 3, but not while another exception is in flight.
    ~CFileMapping() noexcept(false);

    /// Maps `size` bytes from byte `offset` of the file on, at or near `address` if that is given and free.
    /// Neither has to be aligned. Bytes after the file's end can be mapped, but not touched. Fails with code
    /// 2.
    [[nodiscard]] CView CreateView(const std::int64_t& offset, std::uint64_t size, std::uint32_t protection,
                                   void* address = nullptr) const;

    /// True if the file still has all bytes of a view of it, or is of a kind that has no size.
    bool IsIntact(const CView& view) const noexcept;

    /// The full path by which the system knows the file now; " (deleted)" follows that of a removed one. Fails
    /// with code 5, and with 2 and 3 for the view that it takes.
    [[nodiscard]] stringEx GetFileName() const;

private:
    int m_descriptor = -1;
};

/// A mapped region of a file, shared by all copies of the object; the last one to go unmaps it. Threads and
/// failures: see `CFileMapping`.
class ORLO_API CFileMapping::CView {
public:
    /// A view of nothing.
    CView() noexcept = default;
    CView(const CView& other) noexcept;
    CView(CView&& other) noexcept;
    /// Releases what was held, unless it is the same; the object is then `other`'s copy even if that fails,
    /// with code 3.
    CView& operator=(const CView& other);
    CView& operator=(CView&& other);
    /// Releases the region. Fails with code 3, but not while another exception is in flight.
    ~CView() noexcept(false);

    /// The first byte that was asked for; null for a view of nothing.
    void* GetAddress() const noexcept { return m_address; }
    /// How many bytes were asked for.
    std::uint64_t GetSize() const noexcept { return m_size; }

    /// Waits until what was written through a shared view is on the device. Fails with code 4.
    void Flush();

private:
    friend class CFileMapping;

    void _Release();
    void* _PageStart() const noexcept { return static_cast<char*>(m_address) - m_slack; }
    std::uint64_t _MappedSize() const noexcept { return m_size + m_slack; }

    void* m_address = nullptr;
    std::uint64_t m_size = 0;
    shared_count m_owners;
    /// Bytes between the page start and the address.
    std::uint64_t m_slack = 0;
    /// Where in the file the address is.
    std::int64_t m_offset = 0;
};

}  // namespace Orlo

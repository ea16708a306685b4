#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>

#include "orlo/export.h"
#include "orlo/strings/exceptions.h"

namespace Orlo {

/// The codes of `shmemExp`.
namespace shmem_code {
enum : std::int32_t {
    create = 1,  ///< `Create` can neither make nor open the region
    size = 2,    ///< a region's size cannot be set
    open = 3,    ///< `Open` does not find the region
    state = 4,   ///< the state of a region found cannot be told
    map = 5,     ///< a region cannot be mapped
    close = 6,   ///< closing failed
    remove = 7,  ///< the name cannot be removed
};
}  // namespace shmem_code

/// What a view of shared memory may be used for: bits, to be added up. The first three are the system's own
/// PROT_READ, PROT_WRITE and PROT_EXEC.
inline constexpr std::uint32_t ACCESS_READ = 1;
inline constexpr std::uint32_t ACCESS_WRITE = 2;
inline constexpr std::uint32_t ACCESS_EXECUTE = 4;
inline constexpr std::uint32_t ACCESS_READ_WRITE = ACCESS_READ | ACCESS_WRITE;
/// Reading and writing, where what is written stays private to this object.
inline constexpr std::uint32_t ACCESS_COPY_ON_WRITE = 0x40000000;

/// A named region of memory that processes share, mapped whole for as long as the object lives.
///
/// A name is one path component of at most 255 bytes, by custom with a "/" in front, which does not count.
/// The object that made the region removes the name when it is destroyed; whoever has the region mapped keeps
/// it. After a `fork` the maker is still the parent's object: the child's copy only unmaps and closes. A
/// process that dies without destroying the object leaves the name behind, and the next `Create` opens that
/// region, as old as it is.
///
/// ```cpp
/// CShMem counters = CShMem::Create("/my_counters"_lit, 4096);
/// auto* const first = static_cast<std::uint64_t*>(counters.GetAddress());
/// *first += 1;  // seen by whoever has `CShMem::Open("/my_counters"_lit)`
/// ```
///
/// Threads: constant after construction. The bytes of the view are the users' to guard.
///
/// Failures are `shmemExp` with a code of `shmem_code`. A failed construction leaves nothing behind.
class ORLO_API CShMem {
public:
    /// Fills a region that a `Create` has just made, given its view.
    using preparation = std::function<void(void* view)>;

    /// Opens the region `name`, which keeps its size, or makes it with `size` bytes of zeros, readable and
    /// writable for all whom the umask admits. The view lies at `address`, if that is given and free. A
    /// region that this call makes is run through `prepare`, which may write whatever `access` says, and
    /// nobody else's `Create` or `Open` of the name returns before that is done; what it throws undoes the
    /// creation and is let through.
    static CShMem Create(const stringEx& name, std::uint64_t size, std::uint32_t access = ACCESS_READ_WRITE,
                         void* address = nullptr, const preparation& prepare = {});
    static CShMem Create(const wstringEx& name, std::uint64_t size, std::uint32_t access = ACCESS_READ_WRITE,
                         void* address = nullptr, const preparation& prepare = {});

    /// Opens the region `name`, which must exist. One that has no bytes yet, because another process is just
    /// making it, is waited for up to a second.
    static CShMem Open(const stringEx& name, std::uint32_t access = ACCESS_READ_WRITE,
                       void* address = nullptr);
    static CShMem Open(const wstringEx& name, std::uint32_t access = ACCESS_READ_WRITE,
                       void* address = nullptr);

    /// Unmaps, closes and, in the object that made the region, removes the name. Fails with code 6 or 7, but
    /// not while another exception is in flight.
    ~CShMem() noexcept(false);
    /// Takes the region over; the source may only be destroyed.
    CShMem(CShMem&& other) noexcept;
    CShMem& operator=(CShMem&&) = delete;

    /// The first byte of the view, on a page boundary.
    void* GetAddress() const noexcept { return m_address; }
    /// The region's bytes.
    std::uint64_t GetSize() const noexcept { return m_size; }
    const stringEx& GetName() const noexcept { return m_name; }
    /// True if this object made the region, in this process: false for the copy that a forked child has.
    bool IsCreator() const noexcept { return m_maker == getpid(); }

private:
    explicit CShMem(const stringEx& name) : m_name(name) {}

    bool _Find(std::uint32_t access);
    bool _Make();
    void _SetSize(std::uint64_t size);
    void _AwaitMaker();
    void _ReadSize();
    void _Prepare(std::uint32_t access, void* address, const preparation& prepare);
    void _SetupMapView(std::uint32_t access, void* address);
    void _CloseAndRemove();

    int m_descriptor = -1;
    void* m_address = nullptr;
    std::uint64_t m_size = 0;
    stringEx m_name;
    pid_t m_maker = 0;  // the process that made the region by this object; 0 if the object found it
};

}  // namespace Orlo

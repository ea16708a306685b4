// Shared memory: how maker and finders of a region meet
//
// Any number of processes may create one name at a time, and each must end up either as the one maker or with
// a region that the maker has finished:
//
//   maker                                    finder
//   looks for the name: none                 looks for the name: found
//   makes it, exclusively                    waits for a shared lock on the descriptor
//   takes an exclusive lock on the descriptor    (the maker holds it)
//   sets the size, maps, prepares the bytes      ...
//   drops the lock                           gets it, reads the size, drops it, maps
//
// Between the maker's second and third step a finder gets its lock and sees no bytes: it sleeps a millisecond
// and looks again, for a second at most, since the maker may have died there. Who finds no name and then
// cannot make it, because somebody else was faster, begins anew.

#include "orlo/files/shm.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

static_assert(sizeof(off_t) == 8);

constexpr unsigned NEW_OBJECT_MODE = 0666;
constexpr int MAKE_FLAGS = O_RDWR | O_CREAT | O_EXCL;
/// How often a finder looks for the first byte, a millisecond apart; and how often a name may come and go
/// between looking for it and making it.
constexpr int MOST_LOOKS = 1000;
constexpr int MOST_RACES = 100;

constexpr errno_sentence OPEN_SENTENCES[] = {
    {EACCES, "access denied"},
    {ENAMETOOLONG, "name is too long"},
    {EEXIST, "the shared memory object already exists"},
    {EMFILE, "too many file descriptors are currently in use by this process"},
    {ENFILE, "too many shared memory objects are currently open in the system"},
    {ENOENT, "the shared memory object does not exist"},
    {ENOSPC, "there is insufficient space for the creation of the new shared memory object"},
    {ENOTSUP, "the request mode does not supported"},
    {EINVAL, "unsupport name"},
};
constexpr failure<shmemExp> CREATE_FAILED = {{
    .code = shmem_code::create,
    .head = "CShMem/CreateSharedMemoryObject - failed create shared memory object\n",
    .keys = {"  smo name    = ", "  flag        = ", "  access mode = ", "  error code  = ",
             "  error desc  = "},
    .sentences = OPEN_SENTENCES,
}};
constexpr failure<shmemExp> OPEN_FAILED = {{
    .code = shmem_code::open,
    .head = "CShMem/OpenSharedMemoryObject - failed create shared memory object\n",
    .keys = CREATE_FAILED.keys,
    .sentences = OPEN_SENTENCES,
}};

constexpr errno_sentence SET_SIZE_SENTENCES[] = {
    {EIO, "io error to the file system"},
    {EBADF, "invalid smo descriptor"},
    {EINVAL, "invalid size or there is no write permission"},
    {EFBIG, "size too big"},
    {EROFS, "the path resides on a read-only file system"},
};
constexpr failure<shmemExp> SET_SIZE_FAILED = {{
    .code = shmem_code::size,
    .head = "CShMem/CreateSharedMemoryObject - failed set the size of shared memory object\n",
    .keys = {"  smo name    = ", "  smo size    = ", "  error code  = ", "  error desc  = "},
    .sentences = SET_SIZE_SENTENCES,
}};

constexpr errno_sentence STATE_SENTENCES[] = {
    {EBADF, "invalid shared memory object"},
    {EOVERFLOW, "gid or uid is too large"},
    {EACCES, "permission denied"},
};
constexpr failure<shmemExp> STATE_FAILED = {{
    .code = shmem_code::state,
    .head = "CShMem/OpenSharedMemoryObject - failed retrive shared memory object's state\n",
    .keys = {"  smo name    = ", "  error code  = ", "  error desc  = "},
    .sentences = STATE_SENTENCES,
}};

constexpr errno_sentence MAP_SENTENCES[] = {
    {ENOMEM, "insufficient memory"},
    {EACCES, "access denied"},
    {EAGAIN, "mapping could not be locked in memory due to a lack of resources"},
    {EINVAL, "invalid size, address, or flags argument"},
    {ENOTSUP, "the request flags does not supported in this system"},
    {EBADF, "invalid descriptor"},
    {EMFILE, "too many mapped regions"},
    {ENODEV, "the device of the descriptor does not support memory mapping"},
};
constexpr failure<shmemExp> VIEW_FAILED = {{
    .code = shmem_code::map,
    .head = "CShMem/SetupMapView - failed create memory view\n",
    .keys = {"  size        = ", "  address arg = ", "  error code  = ", "  error desc  = "},
    .sentences = MAP_SENTENCES,
}};

constexpr errno_sentence CLOSE_SENTENCES[] = {{EIO, "io error occurred"}};
constexpr failure<shmemExp> CLOSE_FAILED = {{
    .code = shmem_code::close,
    .head = "CShMem/CloseAndRemoveSharedMemoryObject - failed close shared memory object\n",
    .keys = {"  smo name   = ", "  error code = ", "  error desc = "},
    .sentences = CLOSE_SENTENCES,
}};
constexpr errno_sentence REMOVE_SENTENCES[] = {{EACCES, "permission denied"}};
constexpr failure<shmemExp> REMOVE_FAILED = {{
    .code = shmem_code::remove,
    .head = "CShMem/CloseAndRemoveSharedMemoryObject - failed remove shared memory object\n",
    .keys = {"  smo name   = ", "  error code = ", "  error desc = "},
    .sentences = REMOVE_SENTENCES,
}};

stringEx formatted(const char* format, unsigned long number) {
    stringEx text;
    text.format(32, format, number);
    return text;
}

/// A descriptor for the object, or -1 and `errno`. A name with a zero byte would stand for a shorter one.
int open_object(const stringEx& name, int flags) {
    if (name.view().find('\0') != std::string_view::npos) {
        errno = EINVAL;
        return -1;
    }
    const stringEx path = name.terminated();
    return retry_interrupted([&] { return shm_open(path.c_str(), flags, NEW_OBJECT_MODE); });
}

[[noreturn]] void raise_open(const failure<shmemExp>& failed, const stringEx& name, int flags, int error) {
    failed.raise({name, formatted("%#lx", static_cast<unsigned>(flags)), formatted("%#lo", NEW_OBJECT_MODE),
                  system_error{error}});
}

int find_flags(std::uint32_t access) {
    return (access & ACCESS_WRITE) != 0 ? O_RDWR : O_RDONLY;
}

void lock_descriptor(int descriptor, int operation) {
    // Where the system has no such locks, makers and finders meet as they do without one.
    (void)retry_interrupted([&] { return flock(descriptor, operation); });
}

}  // namespace

CShMem CShMem::Create(const stringEx& name, std::uint64_t size, std::uint32_t access, void* address,
                      const preparation& prepare) {
    CShMem region(name);
    int races = 0;
    while (!region._Find(access)) {
        const int find_error = errno;
        if (find_error != ENOENT) raise_open(CREATE_FAILED, name, find_flags(access), find_error);
        if (region._Make()) break;
        const int make_error = errno;
        if (make_error != EEXIST || ++races == MOST_RACES)
            raise_open(CREATE_FAILED, name, MAKE_FLAGS, make_error);
    }
    if (!region.IsCreator()) {
        region._AwaitMaker();
        region._SetupMapView(access, address);
        return region;
    }
    lock_descriptor(region.m_descriptor, LOCK_EX);
    region._SetSize(size);
    if (prepare) region._Prepare(access, address, prepare);
    if (region.m_address == nullptr) region._SetupMapView(access, address);
    lock_descriptor(region.m_descriptor, LOCK_UN);
    return region;
}

CShMem CShMem::Create(const wstringEx& name, std::uint64_t size, std::uint32_t access, void* address,
                      const preparation& prepare) {
    return Create(IMPL::NarrowName(name), size, access, address, prepare);
}

CShMem CShMem::Open(const stringEx& name, std::uint32_t access, void* address) {
    CShMem region(name);
    if (!region._Find(access)) raise_open(OPEN_FAILED, name, find_flags(access), errno);
    region._AwaitMaker();
    region._SetupMapView(access, address);
    return region;
}

CShMem CShMem::Open(const wstringEx& name, std::uint32_t access, void* address) {
    return Open(IMPL::NarrowName(name), access, address);
}

CShMem::CShMem(CShMem&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)),
      m_address(std::exchange(other.m_address, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_name(std::move(other.m_name)),
      m_maker(std::exchange(other.m_maker, 0)) {}

CShMem::~CShMem() noexcept(false) {
    if (m_address != nullptr) munmap(m_address, m_size);
    if (m_descriptor != -1) finish_in_destructor([this] { _CloseAndRemove(); });
}

bool CShMem::_Find(std::uint32_t access) {
    m_descriptor = open_object(m_name, find_flags(access));
    return m_descriptor != -1;
}

bool CShMem::_Make() {
    m_descriptor = open_object(m_name, MAKE_FLAGS);
    if (m_descriptor != -1) m_maker = getpid();
    return m_descriptor != -1;
}

void CShMem::_SetSize(std::uint64_t size) {
    m_size = size;
    if (retry_interrupted([&] { return ftruncate(m_descriptor, static_cast<off_t>(size)); }) != 0)
        SET_SIZE_FAILED.raise({m_name, size, system_error{errno}});
}

void CShMem::_AwaitMaker() {
    for (int look = 0; look < MOST_LOOKS; ++look) {
        lock_descriptor(m_descriptor, LOCK_SH);
        _ReadSize();
        lock_descriptor(m_descriptor, LOCK_UN);
        if (m_size != 0) return;
        const timespec pause{.tv_sec = 0, .tv_nsec = 1'000'000};
        nanosleep(&pause, nullptr);
    }
}

void CShMem::_ReadSize() {
    struct stat state {};
    if (fstat(m_descriptor, &state) != 0) STATE_FAILED.raise({m_name, system_error{errno}});
    m_size = static_cast<std::uint64_t>(state.st_size);
}

/// Runs `prepare` on a view that writes into the region, whatever may be done with the object's view; it
/// stays as that view if it is one of the same kind.
void CShMem::_Prepare(std::uint32_t access, void* address, const preparation& prepare) {
    _SetupMapView(ACCESS_READ_WRITE, address);
    prepare(m_address);
    if (access != ACCESS_READ_WRITE) munmap(std::exchange(m_address, nullptr), m_size);
}

void CShMem::_SetupMapView(std::uint32_t access, void* address) {
    const bool is_private = (access & ACCESS_COPY_ON_WRITE) != 0;
    const int protection = is_private ? PROT_READ | PROT_WRITE : static_cast<int>(access);
    void* const view =
        mmap(address, m_size, protection, is_private ? MAP_PRIVATE : MAP_SHARED, m_descriptor, 0);
    if (view == MAP_FAILED)
        VIEW_FAILED.raise(
            {m_size, formatted("%#lx", reinterpret_cast<unsigned long>(address)), system_error{errno}});
    m_address = view;
}

void CShMem::_CloseAndRemove() {
    // Not repeated when interrupted: the descriptor is gone by then, and its number may be somebody else's.
    const int close_error = close(std::exchange(m_descriptor, -1)) == 0 ? 0 : errno;
    if (IsCreator()) {
        const stringEx path = m_name.terminated();
        const int unlinked = retry_interrupted([&] { return shm_unlink(path.c_str()); });
        if (unlinked != 0 && close_error == 0) REMOVE_FAILED.raise({m_name, system_error{errno}});
    }
    if (close_error != 0) CLOSE_FAILED.raise({m_name, system_error{close_error}});
}

}  // namespace Orlo

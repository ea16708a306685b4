// Mapped files. The system maps whole pages of a file from a page's start on, so a view of 300 bytes from byte
// 4000 on maps, with pages of 4096 bytes, from byte 0 on: 4000 bytes of slack, then the 300 asked for.
//
//   page start        address                 end of what is mapped
//   |---- slack ------|---- size -------------|
//
// Slack and size together are mapped, flushed and released, no byte more: pages behind may be others'.

#include "orlo/files/file_mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "files/sys_file_open.h"
#include "orlo/files/proc_file.h"
#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

constexpr char OPEN_HEAD[] = "CFileMapping::CFileMapping - error open file mapping\n";
constexpr failure<fmppExp> OPEN_FAILED{{
    .code = fmpp_code::open,
    .head = OPEN_HEAD,
    .keys = {"  file path = "},
}};
constexpr errno_sentence PROTECTION_SENTENCES[] = {{EINVAL, "unknown protection bits"}};
constexpr failure<fmppExp> PROTECTION_REFUSED{{
    .code = fmpp_code::open,
    .head = OPEN_HEAD,
    .keys = {"  file path  = ", "  protection = ", "  error code = ", "  error desc = "},
    .sentences = PROTECTION_SENTENCES,
}};
constexpr errno_sentence COPY_SENTENCES[] = {
    {EBADF, "invalid file descriptor"},
    {EMFILE, "the number of file descriptors in use by this process would exceed"},
};
constexpr failure<fmppExp> COPY_FAILED{{
    .code = fmpp_code::open,
    .head = "CFileMapping::CFileMapping - failed create file mapping\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = COPY_SENTENCES,
}};
constexpr errno_sentence VIEW_SENTENCES[] = {
    {EBADF, "invalid descriptor"},
    {EAGAIN, "mapping could not be locked in memory due to a lack of resources"},
    {ENOMEM, "insufficient memory"},
    {EACCES, "access denied"},
    {ENODEV, "the device of the file does not support memory mapping"},
    {EINVAL, "invalid size, address, or flags argument"},
    {EMFILE, "too many mapped regions"},
    {ENOTSUP, "the request flags does not supported in this system"},
};
constexpr failure<fmppExp> VIEW_FAILED{{
    .code = fmpp_code::view,
    .head = "CSysFile/SetupMapView - failed create file view\n",
    .keys = {"  size       = ", "  address    = ", "  offset     = ", "  protection = ", "  flags      = ",
             "  error code = ", "  error desc = "},
    .sentences = VIEW_SENTENCES,
}};
constexpr errno_sentence RELEASE_SENTENCES[] = {{EINVAL, "invalid address or size"}};
constexpr failure<fmppExp> RELEASE_FAILED{{
    .code = fmpp_code::release,
    .head = "CFileMapping::CView::_Release - failed unmap file view\n",
    .keys = {"  address    = ", "  size       = ", "  error code = ", "  error desc = "},
    .sentences = RELEASE_SENTENCES,
}};
constexpr errno_sentence FLUSH_SENTENCES[] = {
    {EBUSY, "some or all of the addresses range are locked"},
    {EINVAL, "invalid address or size"},
    {ENOMEM, "address space out-of-range"},
};
constexpr failure<fmppExp> FLUSH_FAILED{{
    .code = fmpp_code::flush,
    .head = "CFileMapping::CView::Flush - failed flush view to file\n",
    .keys = {"  view addr      = ", "  view size      = ", "  sys error code = ", "  sys error desc = "},
    .sentences = FLUSH_SENTENCES,
}};
constexpr char NAME_HEAD[] = "CFileMapping::GetFileName - failed get file name of current mapping\n";
constexpr failure<fmppExp> NAME_NOT_FOUND{{
    .code = fmpp_code::name,
    .head = NAME_HEAD,
    .keys = {"  self pid   = "},
    .tail = "\n  error desc = mapping not found\n",
}};
constexpr failure<fmppExp> NAME_FAILED{{
    .code = fmpp_code::name,
    .head = NAME_HEAD,
    .keys = {"  self pid = "},
}};

constexpr std::size_t MAPS_STEP = 24576;

bool is_known(std::uint32_t protection) {
    return (protection & ~(ACCESS_READ | ACCESS_WRITE | ACCESS_EXECUTE | ACCESS_COPY_ON_WRITE)) == 0;
}

bool is_private(std::uint32_t protection) {
    return (protection & ACCESS_COPY_ON_WRITE) != 0;
}

file_access access_for(std::uint32_t protection) {
    switch (protection) {
        case ACCESS_READ:
        case ACCESS_READ | ACCESS_EXECUTE:
            return file_access::read;
        case ACCESS_WRITE:
            return file_access::write;
        default:
            return file_access::read_write;
    }
}

int open_to_map(const stringEx& path, file_access access) {
    return open_file({path, access, 0, file_sharing::none, 0, 0}).take();
}

template <class T>
stringEx formatted(const char* format, T value) {
    stringEx text;
    text.format(32, format, value);
    return text;
}

stringEx protection_text(std::uint32_t bits) {
    return formatted("%#x", bits);
}

stringEx text_or_nothing(const char* path) {
    return path != nullptr ? stringEx(path) : stringEx();
}

stringEx narrowed_or_nothing(const wchar_t* path) {
    return path != nullptr ? IMPL::NarrowName(path) : stringEx();
}

/// One line of the list of mappings: "7f0c-7f0e r--p 00000000 08:01 42     /path with blanks".
struct maps_line {
    std::uint64_t start = 0, end = 0;
    std::string_view path;

    explicit maps_line(std::string_view line) {
        const char* at = std::from_chars(line.data(), line.data() + line.size(), start, 16).ptr;
        if (at != line.data() + line.size()) std::from_chars(at + 1, line.data() + line.size(), end, 16);
        if (const std::size_t slash = line.find('/'); slash != line.npos) path = line.substr(slash);
    }
};

}  // namespace

// --- the file
// ------------------------------------------------------------------------------------------------

CFileMapping::CFileMapping(const stringEx& path, std::uint32_t protection) {
    if (!is_known(protection))
        PROTECTION_REFUSED.raise({path, protection_text(protection), system_error{EINVAL}});
    try {
        try {
            m_descriptor = open_to_map(path, access_for(protection));
        } catch (const sysfileExp&) {
            if (!is_private(protection)) throw;
            m_descriptor = open_to_map(path, file_access::read);
        }
    } catch (const sysfileExp& inner) {
        OPEN_FAILED.raise({path, wrapped{inner}});
    }
}

CFileMapping::CFileMapping(const wstringEx& path, std::uint32_t protection)
    : CFileMapping(IMPL::NarrowName(path), protection) {}

CFileMapping::CFileMapping(const char* path, std::uint32_t protection)
    : CFileMapping(text_or_nothing(path), protection) {}

CFileMapping::CFileMapping(const wchar_t* path, std::uint32_t protection)
    : CFileMapping(narrowed_or_nothing(path), protection) {}

CFileMapping::CFileMapping(const CFileMapping& other) {
    m_descriptor = retry_interrupted([&] { return ::fcntl(other.m_descriptor, F_DUPFD_CLOEXEC, 0); });
    if (m_descriptor < 0) COPY_FAILED.raise({system_error{errno}});
}

CFileMapping::CFileMapping(CFileMapping&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

CFileMapping& CFileMapping::operator=(CFileMapping other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

CFileMapping::~CFileMapping() noexcept(false) {
    finish_in_destructor([this] {
        try {
            close_descriptor(m_descriptor);
        } catch (const sysfileExp& failed) {
            throw fmppExp(failed.message(), fmpp_code::release, failed.error_number());
        }
    });
}

CFileMapping::CView CFileMapping::CreateView(const std::int64_t& offset, std::uint64_t size,
                                             std::uint32_t protection, void* address) const {
    const bool copies = is_private(protection);
    const std::uint32_t system_bits =
        (protection & ~ACCESS_COPY_ON_WRITE) | (copies ? ACCESS_READ | ACCESS_WRITE : 0);
    const int flags = copies ? MAP_PRIVATE : MAP_SHARED;
    CView view;
    view.m_size = size;
    view.m_offset = offset;
    const std::uint64_t page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    view.m_slack = static_cast<std::uint64_t>(offset) % page;

    void* region = MAP_FAILED;
    errno = EINVAL;
    if (offset >= 0 && size != 0 && view._MappedSize() >= size && is_known(protection)) {
        view.m_owners = shared_count::create();
        region = ::mmap(address, view._MappedSize(), static_cast<int>(system_bits), flags, m_descriptor,
                        offset - static_cast<std::int64_t>(view.m_slack));
    }
    if (region == MAP_FAILED) {
        const int error = errno;
        view.m_owners.release();
        VIEW_FAILED.raise({size, formatted("%p", address), offset, protection_text(protection),
                           protection_text(static_cast<std::uint32_t>(flags)), system_error{error}});
    }
    view.m_address = static_cast<char*>(region) + view.m_slack;
    return view;
}

bool CFileMapping::IsIntact(const CView& view) const noexcept {
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0) return false;
    if (!S_ISREG(status.st_mode)) return true;
    return view.m_offset <= status.st_size &&
           view.m_size <= static_cast<std::uint64_t>(status.st_size - view.m_offset);
}

stringEx CFileMapping::GetFileName() const {
    const CView view = CreateView(0, 1, ACCESS_READ);
    const int self = ::getpid();
    stringEx maps;
    try {
        stringEx list("/proc/");
        ReadProcFile(maps, list.append_number(std::int64_t{self}).append("/maps"), MAPS_STEP);
    } catch (const rootExp& inner) {
        NAME_FAILED.raise({self, wrapped{inner}});
    }
    const auto address = reinterpret_cast<std::uintptr_t>(view.GetAddress());
    for (std::size_t at = 0; at < maps.size();) {
        const std::size_t end = std::min(maps.find("\n", at), maps.size());
        const maps_line line(maps.view().substr(at, end - at));
        if (line.start <= address && address < line.end) {
            stringEx path(line.path);
            path.replace_all("\\012", "\n");  // the one character that the list escapes
            return path;
        }
        at = end + 1;
    }
    NAME_NOT_FOUND.raise({self});
}

// --- views
// ---------------------------------------------------------------------------------------------------

CFileMapping::CView::CView(const CView& other) noexcept
    : m_address(other.m_address),
      m_size(other.m_size),
      m_owners(other.m_owners),
      m_slack(other.m_slack),
      m_offset(other.m_offset) {
    m_owners.share();
}

CFileMapping::CView::CView(CView&& other) noexcept
    : m_address(std::exchange(other.m_address, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_owners(std::exchange(other.m_owners, {})),
      m_slack(std::exchange(other.m_slack, 0)),
      m_offset(std::exchange(other.m_offset, 0)) {}

CFileMapping::CView& CFileMapping::CView::operator=(const CView& other) {
    if (m_address == other.m_address && m_size == other.m_size) return *this;
    return *this = CView(other);
}

CFileMapping::CView& CFileMapping::CView::operator=(CView&& other) {
    CView taken(std::move(other));
    std::swap(m_address, taken.m_address);
    std::swap(m_size, taken.m_size);
    std::swap(m_owners, taken.m_owners);
    std::swap(m_slack, taken.m_slack);
    std::swap(m_offset, taken.m_offset);
    return *this;
}

CFileMapping::CView::~CView() noexcept(false) {
    finish_in_destructor([this] { _Release(); });
}

void CFileMapping::CView::_Release() {
    if (!m_owners.release() || ::munmap(_PageStart(), _MappedSize()) == 0) return;
    RELEASE_FAILED.raise({formatted("%p", m_address), m_size, system_error{errno}});
}

void CFileMapping::CView::Flush() {
    if (retry_interrupted([&] { return ::msync(_PageStart(), _MappedSize(), MS_SYNC); }) == 0) return;
    FLUSH_FAILED.raise({formatted("%p", m_address), m_size, system_error{errno}});
}

}  // namespace Orlo

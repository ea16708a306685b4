// The file object: who owns the descriptor, and how it is opened.

#include "orlo/files/sys_file.h"

#include "files/sys_file_open.h"
#include "orlo/files/dir.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<sysfileExp> REOPEN_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile::ReOpen - don't know how to reopen, empty path",
}};
constexpr failure<sysfileExp> CONSOLE_FAILED{{
    .code = sysfile_code::open,
    .head = "CSysFile::Open - unknown console type: ",
    .keys = {""},
}};
constexpr failure<sysfileExp> DISCLAIM_FAILED{{
    .code = sysfile_code::disclaim,
    .head = "CSysFile::Disclaim - ownership check failed",
}};

}  // namespace

// --- ownership ---------------------------------------------------------------------------------------

CSysFile::CSysFile(const CSysFile& other) noexcept
    : m_descriptor(other.m_descriptor), m_owners(other.m_owners), m_path(other.m_path) {
    m_owners.share();
}

CSysFile::CSysFile(CSysFile&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, closed)),
      m_owners(std::exchange(other.m_owners, {})),
      m_path(std::move(other.m_path)) {}

CSysFile& CSysFile::operator=(const CSysFile& other) {
    return *this = CSysFile(other);
}

CSysFile& CSysFile::operator=(CSysFile&& other) {
    CSysFile taken(std::move(other));
    std::swap(m_descriptor, taken.m_descriptor);
    std::swap(m_owners, taken.m_owners);
    std::swap(m_path, taken.m_path);
    return *this;
}

CSysFile::~CSysFile() noexcept(false) {
    _GiveUp();
}

void CSysFile::_GiveUp() {
    const int number = static_cast<int>(std::exchange(m_descriptor, closed));
    if (m_owners.release()) close_descriptor(number);
}

void CSysFile::Close() {
    m_path.clear();
    _GiveUp();
}

void CSysFile::_Adopt(int descriptor, const stringEx& path) {
    open_descriptor taken(descriptor);
    const stringEx kept = path;  // which may be this object's own
    Close();
    m_owners = shared_count::create();
    m_descriptor = taken.take();
    m_path = kept;
}

std::int64_t CSysFile::Disclaim() {
    if (!m_owners.unique()) DISCLAIM_FAILED.raise();
    m_owners.release();
    return m_descriptor;
}

// --- opening -----------------------------------------------------------------------------------------

void CSysFile::_OpenPath(const stringEx& path, file_access access, int creation, file_sharing sharing,
                         std::uint32_t permissions, std::uint32_t options) {
    _Adopt(open_file({path, access, creation, sharing, permissions, options}).take(), path);
}

void CSysFile::Open(const stringEx& path, file_access access, int creation, file_sharing sharing,
                    std::uint32_t permissions, std::uint32_t options) {
    stringEx full = path;  // which may be this object's own
    Close();
    try {
        CDir::ConvToFullPath(full);
    } catch (const rootExp& inner) {
        PATH_FAILED.raise({full, wrapped{inner}});
    }
    _OpenPath(full, access, creation, sharing, permissions, options);
}

void CSysFile::OpenExact(const stringEx& path, file_access access, int creation, file_sharing sharing,
                         std::uint32_t permissions, std::uint32_t options) {
    const stringEx exact = path;
    Close();
    _OpenPath(exact, access, creation, sharing, permissions, options);
}

void CSysFile::ReOpen(const CSysFile& other, file_access access, file_sharing sharing,
                      std::uint32_t options) {
    if (other.m_path.empty()) REOPEN_FAILED.raise();
    OpenExact(other.m_path, access, 0, sharing, default_permissions, options);
}

void CSysFile::Open(console which) {
    const auto number = static_cast<std::int32_t>(which);
    const bool known = which == console::input || which == console::output || which == console::error;
    m_path.clear();
    if (known && m_descriptor == number) return;  // who owns the number goes on to own it
    _GiveUp();
    if (!known) CONSOLE_FAILED.raise({number});
    m_descriptor = number;
}

}  // namespace Orlo

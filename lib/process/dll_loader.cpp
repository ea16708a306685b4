#include "orlo/process/dll_loader.h"

#include <dlfcn.h>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"

namespace Orlo {
namespace {

constexpr failure<dlllExp> LOAD_FAILED = {{
    .code = dlll_code::load,
    .head = "CDllLoader::CDllLoader - error loading dynamic library\n",
    .keys = {"  dll path       = ", "  path hex code  = ", "  sys error desc = "},
}};
constexpr failure<dlllExp> RELEASE_FAILED = {{
    .code = dlll_code::release,
    .head = "CDllLoader::~CDllLoader - error release dynamic library\n",
    .keys = {"  sys error desc = "},
}};
constexpr failure<dlllExp> GET_PROC_FAILED = {{
    .code = dlll_code::symbol,
    .head = "CDllLoader::GetProc - error get the address of specific proc\n",
    .keys = {"  proc name      = ", "  sys error desc = "},
}};

/// What the loader says about its last failure in this thread.
const char* loader_error() noexcept {
    const char* const text = dlerror();
    return text != nullptr ? text : "unknwon system error";
}

stringEx hex_of(const stringEx& bytes) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    stringEx hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex.append(DIGITS[byte >> 4]).append(DIGITS[byte & 15]);
    }
    return hex;
}

/// The handle of the library `name` under its own or its "lib" name, or null. A name with a zero byte would
/// stand for a shorter one, and is none.
void* load(const stringEx& name) {
    dlerror();
    if (name.view().find('\0') != std::string_view::npos) return nullptr;
    if (void* const handle = dlopen(name.terminated().c_str(), RTLD_LAZY)) return handle;
    if (name.first_in("/."_lit) || name.starts_with("lib"_lit)) return nullptr;
    stringEx prefixed("lib"_lit);
    prefixed.append(name);
    return dlopen(prefixed.c_str(), RTLD_LAZY);
}

}  // namespace

CDllLoader::CDllLoader() : m_handle(dlopen(nullptr, RTLD_LAZY)) {
    if (m_handle == nullptr) LOAD_FAILED.raise({"", "", loader_error()});
}

CDllLoader::CDllLoader(const stringEx& name) : m_handle(load(name)) {
    if (m_handle == nullptr) LOAD_FAILED.raise({name, hex_of(name), loader_error()});
}

CDllLoader::CDllLoader(const wstringEx& name) : CDllLoader(IMPL::NarrowName(name)) {}

CDllLoader::~CDllLoader() noexcept(false) {
    finish_in_destructor([this] {
        if (dlclose(m_handle) != 0) RELEASE_FAILED.raise({loader_error()});
    });
}

void* CDllLoader::GetProc(const stringEx& name) const {
    void* const address = TryGetProc(name);
    if (address == nullptr) GET_PROC_FAILED.raise({name, loader_error()});
    return address;
}

void* CDllLoader::TryGetProc(const stringEx& name) const {
    return dlsym(m_handle, name.terminated().c_str());
}

}  // namespace Orlo

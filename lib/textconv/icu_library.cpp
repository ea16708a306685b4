// Finding an ICU.
//
// The library's file is "libicuuc.so.72" and its functions are "ucnv_open_72" for version 72. `ORLO_LIBICU_VER`
// names the version, as "72" or "72.1"; without it the file without a version is tried, which only a
// developer's machine has, and then the versions from the latest that may come down to one of 2009.
//
// A load and unload loses some 25 KB unless `u_cleanup` is called in between, which ends the library for
// everybody in the process. So it is called only if nobody had the library loaded before.

#include "textconv/icu_library.h"

#include <dlfcn.h>

#include <algorithm>
#include <memory>

#include "orlo/strings/environment.h"
#include "orlo/textconv/text_conv.h"
#include "strings/failure.h"

namespace Orlo::IMPL {
namespace {

constexpr failure<libicuExp> LOAD_FAILED = {{
    .code = libicu_code::load,
    .head = "CTextLibIcu::__AddRef - failed load dynamic library\n",
}};
constexpr failure<libicuExp> LOCATE_FAILED = {{
    .code = libicu_code::load,
    .head = "CTextLibIcu::__AddRef - failed locate icu api\n",
    .keys = {"@ "},
}};
constexpr failure<libicuExp> UNKNOWN_FAILED = {
    {.code = libicu_code::load, .head = "CTextLibIcu::__AddRef - unknwon error"}};

constexpr std::uint64_t LATEST_VERSION = 99;
constexpr std::uint64_t OLDEST_VERSION = 44;
constexpr std::size_t LONGEST_VERSION = 16;

constinit CCountedLibrary<icu_api> the_library;

struct found_library {
    std::unique_ptr<CDllLoader> loader;
    /// True if the process had it already.
    bool had_before = false;
    /// What stands after the names of its functions; empty until that has been found out.
    stringEx suffix;
};

found_library load(const stringEx& version) {
    stringEx file("libicuuc.so");
    if (!version.empty()) file.append(".").append(version);
    found_library found;
    if (void* const before = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {
        found.had_before = true;
        dlclose(before);
    }
    found.loader = std::make_unique<CDllLoader>(file);
    if (!version.empty()) found.suffix.append("_").append(version.head("."_lit));
    return found;
}

stringEx version_text(std::uint64_t number) {
    stringEx text;
    text.append_number(number);
    return text;
}

/// The library; fails with the loader's failure of the first file that was tried.
found_library load_any() {
    const stringEx asked_for = GetEnv("ORLO_LIBICU_VER");
    if (!asked_for.empty()) {
        // a path or the like is no version
        const bool plain = asked_for.size() <= LONGEST_VERSION &&
                           asked_for.view().find_first_not_of("0123456789.") == std::string_view::npos;
        return load(plain ? asked_for : "-"_lit);
    }
    try {
        return load({});
    } catch (const dlllExp&) {
        for (std::uint64_t number = LATEST_VERSION; number >= OLDEST_VERSION; --number) {
            try {
                return load(version_text(number));
            } catch (const dlllExp&) {
                continue;
            }
        }
        throw;
    }
}

stringEx symbol(const char* name, const stringEx& suffix) {
    stringEx text(name);
    text.append(suffix);
    return text;
}

/// The suffix of a library whose version is not known; empty for names without one.
stringEx find_suffix(const CDllLoader& loader) {
    for (std::uint64_t number = LATEST_VERSION; number >= OLDEST_VERSION; --number) {
        stringEx suffix("_");
        suffix.append_number(number);
        if (loader.TryGetProc(symbol("ucnv_open", suffix)) != nullptr) return suffix;
    }
    return {};
}

template <class Function>
void locate(const CDllLoader& loader, const char* name, const stringEx& suffix, Function& function) {
    void* address = loader.TryGetProc(symbol(name, suffix));
    if (address == nullptr) address = loader.TryGetProc(stringEx(name));
    if (address == nullptr) LOCATE_FAILED.raise({symbol(name, suffix)});
    function = reinterpret_cast<Function>(address);
}

}  // namespace

void icu_api::Load() try {
    found_library found = load_any();
    const CDllLoader& from = *found.loader;
    const stringEx suffix = found.suffix.empty() ? find_suffix(from) : found.suffix;
    locate(from, "ucnv_open", suffix, open);
    locate(from, "ucnv_toUChars", suffix, to_units);
    locate(from, "ucnv_fromUChars", suffix, from_units);
    locate(from, "ucnv_close", suffix, close);
    locate(from, "u_errorName", suffix, error_name);
    if (!found.had_before)
        cleanup = reinterpret_cast<decltype(cleanup)>(from.TryGetProc(symbol("u_cleanup", suffix)));
    loader = found.loader.release();
} catch (const dlllExp& failure) {
    LOAD_FAILED.raise({wrapped{failure}});
} catch (const libicuExp&) {
    throw;
} catch (...) {
    UNKNOWN_FAILED.raise();
}

void icu_api::Unload() {
    if (cleanup != nullptr) cleanup();
    delete loader;
}

CCountedLibrary<icu_api>& icu_library() noexcept {
    return the_library;
}

}  // namespace Orlo::IMPL

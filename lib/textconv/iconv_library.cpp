#include "textconv/iconv_library.h"

#include <memory>

#include "orlo/textconv/text_conv.h"
#include "strings/failure.h"

namespace Orlo::IMPL {
namespace {

constexpr failure<libiconvExp> LOAD_FAILED = {{
    .code = libiconv_code::load,
    .head = "CTextLibIConv::__AddRef - failed load dynamic library\n",
}};
constexpr failure<libiconvExp> LOCATE_FAILED = {{
    .code = libiconv_code::load,
    .head = "CTextLibIConv::__AddRef - failed locate iconv api\n",
}};
constexpr failure<libiconvExp> UNKNOWN_FAILED = {
    {.code = libiconv_code::load, .head = "CTextLibIConv::__AddRef - unknwon error"}};

constinit CCountedLibrary<iconv_api> the_library;

struct names {
    stringEx open, convert, close;
};

/// The library of the name, or null.
std::unique_ptr<CDllLoader> load_own_library() {
    for (const stringEx& name : {"libiconv.so"_lit, "libiconv.so.2"_lit}) {
        try {
            return std::make_unique<CDllLoader>(name);
        } catch (const dlllExp&) {
            continue;
        }
    }
    return nullptr;
}

std::unique_ptr<CDllLoader> load_process() {
    try {
        return std::make_unique<CDllLoader>();
    } catch (const dlllExp& failure) {
        LOAD_FAILED.raise({wrapped{failure}});
    }
}

iconv_api found_in(std::unique_ptr<CDllLoader> loader, const names& functions) {
    try {
        iconv_api api;
        api.open = reinterpret_cast<decltype(api.open)>(loader->GetProc(functions.open));
        api.convert = reinterpret_cast<decltype(api.convert)>(loader->GetProc(functions.convert));
        api.close = reinterpret_cast<decltype(api.close)>(loader->GetProc(functions.close));
        api.loader = loader.release();
        return api;
    } catch (const dlllExp& failure) {
        LOCATE_FAILED.raise({wrapped{failure}});
    }
}

}  // namespace

void iconv_api::Load() try {
    if (auto own = load_own_library()) {
        *this = found_in(std::move(own), {"libiconv_open"_lit, "libiconv"_lit, "libiconv_close"_lit});
    } else {
        *this = found_in(load_process(), {"iconv_open"_lit, "iconv"_lit, "iconv_close"_lit});
    }
} catch (const rootExp&) {
    throw;
} catch (...) {
    UNKNOWN_FAILED.raise();
}

void iconv_api::Unload() {
    delete loader;
}

CCountedLibrary<iconv_api>& iconv_library() noexcept {
    return the_library;
}

}  // namespace Orlo::IMPL

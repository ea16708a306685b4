#pragma once

#include <cstddef>

#include "textconv/counted_library.h"

namespace Orlo::IMPL {

/// The functions of an iconv: of the library of that name, or else of the C library.
struct iconv_api {
    using descriptor = void*;

    descriptor (*open)(const char* to, const char* from) = nullptr;
    std::size_t (*convert)(descriptor, char** in, std::size_t* in_left, char** out,
                           std::size_t* out_left) = nullptr;
    int (*close)(descriptor) = nullptr;
    CDllLoader* loader = nullptr;

    /// Fails with `libiconvExp` of code `load`.
    void Load();
    void Unload();
};

/// The one of the process.
CCountedLibrary<iconv_api>& iconv_library() noexcept;

}  // namespace Orlo::IMPL

#pragma once

#include <cstdint>

#include "textconv/counted_library.h"

namespace Orlo::IMPL {

struct icu_converter;

/// The functions of an ICU. Its exported names bear its version.
struct icu_api {
    using error_code = int;
    static constexpr error_code index_out_of_bounds = 8;
    static constexpr error_code buffer_overflow = 15;

    /// Warnings are below zero.
    static bool is_failure(error_code error) noexcept { return error > 0; }

    icu_converter* (*open)(const char* name, error_code* error) = nullptr;
    std::int32_t (*to_units)(icu_converter*, char16_t* out, std::int32_t room, const char* text,
                             std::int32_t size, error_code* error) = nullptr;
    std::int32_t (*from_units)(icu_converter*, char* out, std::int32_t room, const char16_t* text,
                               std::int32_t size, error_code* error) = nullptr;
    void (*close)(icu_converter*) = nullptr;
    const char* (*error_name)(error_code) = nullptr;
    /// Frees what the library keeps; null where it was in the process before, or has no such function.
    void (*cleanup)() = nullptr;
    CDllLoader* loader = nullptr;

    /// Fails with `libicuExp` of code `load`.
    void Load();
    void Unload();
};

/// The one of the process.
CCountedLibrary<icu_api>& icu_library() noexcept;

}  // namespace Orlo::IMPL

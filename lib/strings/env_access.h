#pragma once

#include <mutex>
#include <string_view>

#include "orlo/strings/buffer.h"

namespace Orlo::IMPL {

/// The lock of the environment, for code that makes the C library read it (`tzset`). Hold no other lock of
/// the library inside it.
std::mutex& environment_mutex() noexcept;

/// Appends the value of the variable to `out`, under the lock; nothing when it is unset. Costs one pass over
/// the names of the environment, however long `name` is.
void append_env(std::string_view name, stringEx& out);
void append_env(std::wstring_view name, wstringEx& out);

}  // namespace Orlo::IMPL

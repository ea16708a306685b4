#pragma once

#include <cstdint>
#include <string_view>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"

// The environment of the process, under one lock.
//
// The C library's own functions race: `setenv` may move or free what another thread's `getenv` is reading.
// The functions here hold one process-wide lock and return copies, so among themselves they are safe from
// any thread, at any time between the start of the process and its end. The lock does not guard against code
// that bypasses it: `getenv`, `setenv`, `putenv`, `unsetenv` and `environ` used directly, by the program or
// inside a library (the C library itself reads TZ and the locale's variables). A program with threads changes
// the environment before it starts them, or uses nothing but these functions for reading and changing it.
// Between `fork` and `exec` they may not be called: another thread may have held the lock.
//
// Wide names and values pass through the default encoding (`TTextConv::GetDefault`); a name with a character
// that it lacks is unset.

namespace Orlo {

/// The codes of `auxExp`.
namespace aux_code {
enum : std::int32_t {
    references_multiply = 1,  ///< `ExpandEnvRefs`: nested references insert too much
    env_argument = 2,         ///< `SetEnv`, `UnsetEnv`: no variable can have this name or value
};
}

/// A copy of the variable's value; empty when it is unset or empty. A name that no variable can have (an
/// empty one, one with "=" or NUL) is unset.
///
/// ```cpp
/// SetEnv("ORLO_HOME", "/srv");
/// stringEx path("${ORLO_HOME}/data");
/// ExpandEnvRefs(path);                          // "/srv/data"
/// if (path == GetEnv("ORLO_HOME") + "/data") UnsetEnv("ORLO_HOME");
/// ```
[[nodiscard]] ORLO_API stringEx GetEnv(std::string_view name);
[[nodiscard]] ORLO_API wstringEx GetEnv(std::wstring_view name);

/// Sets the variable, or removes it. Throws `auxExp` of code `aux_code::env_argument` for a name that no
/// variable can have, or a value with NUL inside.
ORLO_API void SetEnv(std::string_view name, std::string_view value);
ORLO_API void UnsetEnv(std::string_view name);

/// Expands all references to variables in `text`: `$NAME`, in which the name is the longest run of ASCII
/// letters, digits and "_", and `${NAME}`. "$$" becomes "$", and what follows it is no reference. A reference
/// to an unset or empty variable stays as it is, and so does a "$" that begins none; a "${" that nothing
/// closes is dropped, and what follows it stays.
///
/// Values may hold references: the text is expanded again until nothing is replaced, 64 times at most, less
/// `depth`. So a variable that holds itself ends after 64 levels. One that holds itself twice doubles at each
/// level, which no memory could hold to the end, so what nesting multiplies is bounded: where one walk inserts
/// a variable more often than the given text has "$" signs, the characters of the further insertions are
/// counted, and beyond 16 Mi (16777216) of them `auxExp` of code `aux_code::references_multiply` is thrown,
/// which names the variable. On a failure `text` is as it was.
ORLO_API void ExpandEnvRefs(stringEx& text, std::uint32_t depth = 0);
ORLO_API void ExpandEnvRefs(wstringEx& text, std::uint32_t depth = 0);

}  // namespace Orlo

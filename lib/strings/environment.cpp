// The environment under one lock.
//
// The lock is a std::mutex and not one of the library's own: those live in a higher layer, and this one must
// work before the first constructor and after the last destructor. It needs neither: its constructor is
// constexpr and its destructor does nothing.
//
// Variables are looked up in `environ` itself rather than by `getenv`: a name is then a view, which needs no
// terminated copy. The references of a text may be as long as the text ("${${${"), and copying each would
// make a linear walk quadratic.

#include "orlo/strings/environment.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

#include "strings/env_access.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<auxExp> SET_ARGUMENT = {
    {.code = aux_code::env_argument, .head = "SetEnv - invalid argument"}};
constexpr failure<auxExp> UNSET_ARGUMENT = {
    {.code = aux_code::env_argument, .head = "UnsetEnv - invalid argument"}};

constinit std::mutex the_mutex;

bool can_be_name(std::string_view name) noexcept {
    return !name.empty() && name.find('=') == name.npos && name.find('\0') == name.npos;
}

/// The value inside the environment, null when there is none. A name with "=" or NUL finds nothing.
const char* find_value(std::string_view name) noexcept {
    if (environ == nullptr || name.empty()) return nullptr;
    for (char* const* entry = environ; *entry != nullptr; ++entry) {
        const char* at = *entry;
        std::size_t same = 0;
        while (same < name.size() && at[same] == name[same] && at[same] != '=' && at[same] != '\0')
            ++same;
        if (same == name.size() && at[same] == '=') return at + same + 1;
    }
    return nullptr;
}

}  // namespace

namespace IMPL {

std::mutex& environment_mutex() noexcept {
    return the_mutex;
}

void append_env(std::string_view name, stringEx& out) {
    const std::lock_guard lock(the_mutex);
    if (const char* const value = find_value(name)) out.append(value);
}

}  // namespace IMPL

stringEx GetEnv(std::string_view name) {
    stringEx value;
    IMPL::append_env(name, value);
    return value;
}

void SetEnv(std::string_view name, std::string_view value) {
    if (!can_be_name(name) || value.find('\0') != value.npos) SET_ARGUMENT.raise();
    const stringEx name_text(name);
    const stringEx value_text(value);
    const std::lock_guard lock(the_mutex);
    if (::setenv(name_text.c_str(), value_text.c_str(), 1) != 0) throw std::bad_alloc();
}

void UnsetEnv(std::string_view name) {
    if (!can_be_name(name)) UNSET_ARGUMENT.raise();
    const stringEx name_text(name);
    const std::lock_guard lock(the_mutex);
    ::unsetenv(name_text.c_str());
}

}  // namespace Orlo

// The environment by wide names: apart from the narrow forms, so that who uses those alone is not linked with
// the text converters.

#include <unistd.h>

#include <cstring>
#include <mutex>

#include "orlo/strings/environment.h"
#include "strings/env_access.h"
#include "strings/narrow_name.h"

namespace Orlo {
namespace {

/// The lock is held.
std::size_t longest_name() noexcept {
    std::size_t longest = 0;
    for (char* const* entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        longest = std::max(longest, std::strcspn(*entry, "="));
    return longest;
}

}  // namespace

void IMPL::append_env(std::wstring_view name, wstringEx& out) {
    {
        // a character is one byte at least: what is longer than every name need not be converted to be unknown
        const std::lock_guard lock(environment_mutex());
        if (name.size() > longest_name()) return;
    }
    // not under the lock: converters themselves read the environment
    const std::optional<stringEx> bytes = TryNarrow(name);
    if (!bytes) return;
    stringEx value;
    append_env(bytes->view(), value);
    if (!value.empty()) out.append(Widen(value));
}

wstringEx GetEnv(std::wstring_view name) {
    wstringEx value;
    IMPL::append_env(name, value);
    return value;
}

}  // namespace Orlo

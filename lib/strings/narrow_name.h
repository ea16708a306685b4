#pragma once

#include "orlo/strings/buffer.h"

namespace Orlo::IMPL {

/// A wide name in the encoding by which the system takes names.
///
/// This is the one place where the layers below the text converters turn wide names into narrow ones; the
/// converters, which lie above, may install a better rule. Without one: character by character by the C
/// library's locale, and a character that the locale cannot express as its UTF-8 sequence, so that no two
/// names become one. Characters that are no Unicode scalar are kept by the same bit pattern.
///
/// Threads: any. Throws `std::bad_alloc`, and what an installed rule throws.
stringEx NarrowName(const wstringEx& name);

/// A rule for `NarrowName`.
using name_narrower = stringEx (*)(const wstringEx& name);

/// Installs the rule, null for the one above; returns the rule before.
name_narrower InstallNameNarrower(name_narrower rule) noexcept;

}  // namespace Orlo::IMPL

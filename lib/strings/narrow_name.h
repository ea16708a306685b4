#pragma once

#include <optional>
#include <string_view>

#include "orlo/strings/buffer.h"

// The one rule by which the library turns wide text for the system into narrow text, and back: names, paths,
// values of the environment.
//
// Text of ASCII alone is itself, whatever the encoding, and loads nothing. All other text goes through the
// default converter, `TTextConv::GetDefault`. So these functions are defined with the converters, which lie
// above all who call them: the linker closes the gap, and a program that never calls them has no converters.

namespace Orlo::IMPL {

/// The text in the default encoding; nothing where that lacks one of its characters.
std::optional<stringEx> TryNarrow(std::wstring_view text);
/// The same for a name that the system is to take. Fails with `tconvExp` of code `failed` where the encoding
/// lacks a character: a name is never changed into another.
stringEx NarrowName(std::wstring_view name);
/// The wide form of text in the default encoding.
wstringEx Widen(std::string_view text);

}  // namespace Orlo::IMPL

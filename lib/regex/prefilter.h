#pragma once

#include <optional>

#include "regex/alphabet.h"
#include "regex/program.h"
#include "vector/find.h"

namespace Orlo::IMPL {

/// What all matches of a narrow expression begin with, if it is rare enough to look for that first.
std::optional<byte_fingerprint> make_prefilter(const program& forward, const alphabet& letters);

}  // namespace Orlo::IMPL

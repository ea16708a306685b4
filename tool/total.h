#pragma once

#include <cstdint>

#include "options.h"

namespace tallycsv {

/// Prints the grand total on standard output, without a newline, if statistics were asked for. Returns the
/// exit status: 0, or 2 for a unit that is not in the table.
int print_total(std::int64_t total, const run_options& options);

}  // namespace tallycsv

#pragma once

namespace tallycsv {

/// The usage text, on standard output.
void print_usage();

}  // namespace tallycsv

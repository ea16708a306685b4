#pragma once

namespace tallycsv {

/// The usage text, on standard output.
void PrintUsage();

}  // namespace tallycsv

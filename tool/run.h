#pragma once

namespace tallycsv {

/// The whole tool: options, reading, writing, in this order and with no way back. Returns the exit status: 0
/// done, 1 no file matched, 2 an impossible unit, -1 usage shown. Every failure is an exception.
int run(int argc, char* argv[]);

}  // namespace tallycsv

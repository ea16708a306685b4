#pragma once

#include "orlo/strings/buffer.h"

namespace tallycsv {

/// Makes the process safe to write from. A standard descriptor that the caller closed is occupied, so that no
/// file that is opened later takes its number and receives what was meant for a terminal. A broken pipe and a
/// file over the size limit become failures of the write, not signals.
void prepare_process();

/// Writes the whole text on standard output. A failure is that of `CSysFile::Write`.
void print_text(const Orlo::stringEx& text);

}  // namespace tallycsv

// program_run.h: how a program on the command line begins and ends.
#pragma once

#include <functional>

#include "host/result.h"

namespace colx::console {

// Runs `work` as all that the program `name` does and returns its exit status: 0 if `work` finds
// all well, 1 if not, and 2, with one line "name: why" on standard error, for an Error, an
// exception, and output that cannot be written. `when_out_of_memory` says what to try then. Signals
// clear an open progress line (progress_line.h).
int run_program(const char* name, const char* when_out_of_memory,
                const std::function<host::Result<bool>()>& work);

}  // namespace colx::console

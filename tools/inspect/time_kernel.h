// time_kernel.h: times one kernel of the table on made data.
#pragma once

#include "host/result.h"
#include "tools/inspect/command_line.h"

namespace colx::inspect {

// Prints what was made, what came out and the speed. Returns whether every pass gave what plain
// evaluation of the made data gives. Errors: the library, an unknown kernel, a kernel whose input
// is not made here.
host::Result<bool> time_kernel(const Command& command);

}  // namespace colx::inspect

// column_report.h: the sizes of a column in each form that stores it.
#pragma once

#include "host/result.h"
#include "tools/inspect/command_line.h"

namespace colx::inspect {

// Reads the column that is asked for, encodes it in each stored form, and prints the sizes of those
// that fit, smallest last line, and why the others do not. Errors: those of read_column().
host::Result<void> print_encodings(const Command& command);

}  // namespace colx::inspect

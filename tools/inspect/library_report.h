// library_report.h: what a library file is and what it holds.
#pragma once

#include <string>

#include "host/loader.h"
#include "host/result.h"

namespace colx::inspect {

// Prints a line per fact about the library: its record, its exported functions, its table and its
// names, held against the kernels of this version. Returns whether all of them hold. Error: the
// file cannot be read at all.
host::Result<bool> verify_library(const std::string& file);

// Prints each family with how many of its kernels the library has.
void print_families(const host::Library& library);

// Prints index, name and arguments of the kernels whose name matches `pattern`, which may have *
// and
// ?; without them it is a part of the name. Error: none does.
host::Result<void> print_kernels(const host::Library& library, const std::string& pattern);

}  // namespace colx::inspect

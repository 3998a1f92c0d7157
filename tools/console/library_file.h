// library_file.h: where a program finds the library of kernels.
#pragma once

#include <filesystem>

namespace colx::console {

// The library's file beside the running program, two folders above it, where the build has it, or
// in `installed`, a folder seen from the program's own that is looked into first. If none of these
// has one it is the bare name, which the system's search path then decides on.
std::filesystem::path default_library_file(const std::filesystem::path& installed = {});

}  // namespace colx::console

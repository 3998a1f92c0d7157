// demo.h: the program from options to exit status.
#pragma once

#include "examples/star/options.h"
#include "host/result.h"

namespace colx::star {

// Loads, encodes, runs and checks; prints on standard output. True if every answer was right. An
// error is input that cannot be used: files, lines, the library.
host::Result<bool> run_demo(const Options& options);

}  // namespace colx::star

// What every benchmark program is made of: cases, each a kernel against its lines, and targets.
//
// A case is timed as a PairedRun: kernel, scalar line, limit and, where its cost is compared with
// another kernel's, that peer take turns. The program prints a table while it runs and the targets
// at the end, and writes both as CSV.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "bench/support/paired_run.h"
#include "bench/support/working_set.h"

namespace colx::bench {

// What a case runs once it is ready. Lines that a family does not have stay empty. A `fault` says
// how the kernel's result differs from the reference; such a case is not timed.
struct Contest {
  Pass kernel;
  Pass scalar;
  Pass limit;
  Pass peer;
  Pass before_kernel;  // off the clock, before each pass
  Pass before_scalar;
  Pass before_peer;
  std::string fault;
};

struct Case {
  std::string kernel;  // name, and behind a space what else makes the case
  std::string peer;    // name of the kernel whose cost is compared, or empty
  SizeClass size;
  uint64_t rows;   // of a pass
  uint64_t bytes;  // read and written by a pass
  std::function<Contest()> prepare;
};

enum class Figure {
  times_scalar,  // speed as a multiple of the scalar line's
  of_limit,      // speed as a part of the limit's
  of_peer,       // cost as a multiple of the peer's
  out_of_cache   // speed in memory as a part of what is lower: the limit there, the speed in L2
};

// Asked of every case of a size whose kernel matches; the worst one decides.
struct Target {
  const char* what;
  const char* kernels;  // regular expression for the whole kernel name
  const SizeClass* size;
  Figure figure;
  double bound;  // at least; for costs (of_peer) at most
};

// What a program says about its results beside table and targets; see bench_results.h.
struct Result;
using Remarks = void (*)(const std::vector<Result>& results);

// What a program measures. Each *_bench.cpp defines it, bench_program.cpp has the main() that runs
// it.
//
// Options: --filter=REGEX (cases, as kernel/size), --csv=FILE (a line per case), --targets=FILE
// (CSV, a line per target), --quick, --kernel-only (no other line is timed); those of Google
// Benchmark too. The exit status is 1 if a result was wrong, an option was, no case matches or a
// file cannot be written, never for a timing.
struct BenchProgram {
  std::vector<Case> cases;
  std::span<const Target> targets;
  Remarks remarks = nullptr;
};

// `quick`: fewer rounds are asked for.
BenchProgram bench_program(bool quick);

}  // namespace colx::bench

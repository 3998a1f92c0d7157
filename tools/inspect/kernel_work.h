// kernel_work.h: made data for a kernel, and how to run it over that.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/loader.h"
#include "host/result.h"
#include "host/services.h"
#include "tools/inspect/expected_kernels.h"

namespace colx::inspect {

// What a kernel reads, cut into batches as a host hands them over.
struct KernelWork {
  std::string data;           // what was made
  std::string found;          // what comes out, as "hits"
  uint64_t expected = 0;      // of it, by plain evaluation
  uint64_t column_bytes = 0;  // that the kernel reads in a pass
  size_t batches = 0;
  // Runs one batch and returns how much came out of it. Errors: the kernel's status.
  std::function<host::Result<uint64_t>(size_t batch)> run;
  // Whether what the last run left is right, row by row; for kernels whose count says too little.
  std::function<bool(size_t batch)> is_right;
};

struct WorkOrder {
  const host::Library& library;
  host::HostServices& services;
  const ExpectedKernel& kernel;
  uint64_t rows;
  uint64_t seed;
};

// Predicates and membership in a set. Error: no rows can be made on which the kernel differs from
// another.
host::Result<KernelWork> make_scan_work(const WorkOrder& order);
host::Result<KernelWork> make_set_work(const WorkOrder& order);
// Unpacking, decoding and run expansion.
host::Result<KernelWork> make_unpack_work(const WorkOrder& order);
host::Result<KernelWork> make_decode_work(const WorkOrder& order);
host::Result<KernelWork> make_symbol_work(const WorkOrder& order);
host::Result<KernelWork> make_burst_work(const WorkOrder& order);
// Arithmetic on two columns.
host::Result<KernelWork> make_arithmetic_work(const WorkOrder& order);

}  // namespace colx::inspect

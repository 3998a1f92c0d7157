#include "tools/inspect/time_kernel.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "host/column.h"
#include "host/loader.h"
#include "host/services.h"
#include "tools/console/figures.h"
#include "tools/console/progress_line.h"
#include "tools/inspect/kernel_work.h"

namespace colx::inspect {
namespace {

using host::HostServices;
using host::Library;
using host::make_error;
using host::Result;

Result<const ExpectedKernel*> named_kernel(const std::string& name) {
  if (const ExpectedKernel* const kernel = find_kernel(name)) return kernel;
  return make_error("%s is no kernel of the table; did you mean %s? (colx-inspect list shows all)",
                    name.c_str(), std::string(nearest_kernel_name(name)).c_str());
}

Result<KernelWork> make_work(const WorkOrder& order) {
  const std::string name(order.kernel.name);
  switch (order.kernel.index & 31) {
    case COLX_OPC_DECODE:
      return make_decode_work(order);
    case COLX_OPC_DECODE_UNPACK:
      return make_unpack_work(order);
    case COLX_OPC_DECODE_SYMBOL:
      return make_symbol_work(order);
    case COLX_OPC_SET:
      return make_set_work(order);
    case COLX_OPC_BURST:
      return make_burst_work(order);
    case COLX_OPC_SUM:
    case COLX_OPC_DISTINCT:
      return make_error("%s does nothing and returns 0: there is nothing to time", name.c_str());
    case COLX_OPC_XLATE:
      return make_error(
          "%s reads a host's translation table, which is not made here; time predicates, "
          "membership in a set, unpacking, decoding, run expansion or arithmetic",
          name.c_str());
    case COLX_OPC_ADD:
    case COLX_OPC_SUB:
    case COLX_OPC_MUL:
      return make_arithmetic_work(order);
    default:
      return make_scan_work(order);
  }
}

// All batches once; returns what came out of them.
Result<uint64_t> run_pass(const KernelWork& work) {
  uint64_t found = 0;
  for (size_t batch = 0; batch < work.batches; ++batch) {
    const auto part = work.run(batch);
    if (!part) return part.error();
    found += *part;
  }
  return found;
}

// The first pass, not timed: warms up, and compares row by row where the count says too little.
Result<bool> prove(const KernelWork& work) {
  uint64_t found = 0;
  for (size_t batch = 0; batch < work.batches; ++batch) {
    const auto part = work.run(batch);
    if (!part) return part.error();
    found += *part;
    if (work.is_right && !work.is_right(batch)) {
      fmt::print("WRONG     batch {} differs from plain evaluation\n", batch);
      return false;
    }
  }
  if (found == work.expected) return true;
  fmt::print("WRONG     {} {}, by plain evaluation {}\n", console::grouped(found), work.found,
             console::grouped(work.expected));
  return false;
}

void print_speed(const char* which, double seconds, uint64_t rows, uint64_t bytes) {
  const auto count = static_cast<double>(rows);
  fmt::print("{:<9} {:.3f} ms, {:.3f} ns a row, {:.0f} million rows/s, {:.2f} GB/s\n", which,
             seconds * 1e3, seconds * 1e9 / count, count / seconds / 1e6,
             static_cast<double>(bytes) / seconds / 1e9);
}

}  // namespace

Result<bool> time_kernel(const Command& command) {
  const auto kernel = named_kernel(command.kernel);
  if (!kernel) return kernel.error();
  const auto library = Library::open(command.library);
  if (!library) return library.error();
  HostServices services(*library);
  const auto work = make_work({*library, services, **kernel, command.rows, command.seed});
  if (!work) return work.error();

  fmt::print("{}\n", (*kernel)->name);
  fmt::print("data      {} rows in {} batch{}; {}\n", console::grouped(command.rows),
             console::grouped(work->batches), work->batches == 1 ? "" : "es", work->data);
  auto right = prove(*work);
  if (!right || !*right) return right;
  fmt::print("found     {} {}, as by plain evaluation\n", console::grouped(work->expected),
             work->found);

  std::vector<double> seconds;
  console::ProgressLine progress("timing", command.passes);
  for (uint32_t pass = 0; pass < command.passes; ++pass) {
    const auto begin = std::chrono::steady_clock::now();
    const auto found = run_pass(*work);
    const auto end = std::chrono::steady_clock::now();
    if (!found) return found.error();
    if (*found != work->expected)
      return make_error("pass %u found another number of %s than the first one", pass + 1,
                        work->found.c_str());
    // the clock may stand still over a few rows
    seconds.push_back(std::max(std::chrono::duration<double>(end - begin).count(), 1e-9));
    progress.at(pass + 1);
  }
  std::ranges::sort(seconds);
  print_speed("best", seconds.front(), command.rows, work->column_bytes);
  print_speed("median", seconds[seconds.size() / 2], command.rows, work->column_bytes);
  return true;
}

}  // namespace colx::inspect

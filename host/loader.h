// loader.h: opens the kernel library and hands out its record and its kernels.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/result.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// What the kernels need of the processor.
struct Processor {
  bool has_sse42 = false;   // SSE4.2
  bool has_popcnt = false;  // POPCNT
};
// The processor that runs this program.
Processor this_processor();

// The opened library. Copies share it; the last one closes it, so a copy must live as long as any
// pointer that was taken from it. All of it may be used from any thread.
class Library {
 public:
  // Opens the shared object `file` (a path with a '/' is taken as it is, another one is searched
  // for as dlopen does) and proves what it is. Errors, in the order of the checks:
  //   the processor has no SSE4.2 or no POPCNT: nothing is opened
  //   the name is empty
  //   the file cannot be read, is not ELF, not a 64-bit x86-64 shared object (paths only)
  //   the system's loader refuses it; its text is passed on. A library that cannot find
  //     host_raise_internal needs a program that exports it (CMake: ENABLE_EXPORTS)
  //   the record colx_global_specialized_ctx is missing, has another magic, version or name, or
  //     has no dispatch table; or the table of kernel names is missing
  // Functions that the file lacks are no error: see missing_functions().
  static Result<Library> open(const std::string& file, Processor processor = this_processor());

  // The same checks on a library that is linked into the program; `names` as
  // colx_dispatch_func_names, `file` is what errors call it. missing_functions() then knows of the
  // record's entries only.
  static Result<Library> attach(const colx_specialized_ctx& record, const char* const* names,
                                const std::string& file, Processor processor = this_processor());

  // The same library with its calls through another record of its form, as one whose entries count
  // what they are called with. The record must outlive it.
  Library through(const colx_specialized_ctx& record) const;

  // The record that its calls go through.
  const colx_specialized_ctx& record() const { return *record_; }
  // What open() or attach() was told.
  const std::string& file() const { return file_; }

  // Names of the exported functions that this file lacks; empty for a complete library. An entry
  // of the record that is named here is null.
  std::vector<std::string> missing_functions() const;

  // Kernel of an operation (COLX_OPC_...) on a column with key `key` (colx_column_key). An empty
  // slot or an operation of another call shape is an error that names the kernel.
  Result<colx_scan_fn> scan_kernel(uint32_t opc, uint8_t key) const;              // eq .. ne
  Result<colx_range_scan_fn> range_scan_kernel(uint32_t opc, uint8_t key) const;  // gt_lt .. ge_le
  Result<colx_decode_fn> decode_kernel(uint32_t opc, uint8_t key) const;  // decode .. , burst
  // set, sum, distinct, xlate, add, sub, mul; errors as above
  Result<colx_binary_fn> binary_kernel(uint32_t opc, uint8_t key) const;

  // The exported function that prints a host's statistics. Error: the file lacks it, or the library
  // is linked into the program.
  Result<void (*)(const colx_stats_ctx*, int32_t)> stats_dump() const;

  // The name of a slot's kernel by the library's own table; "colx_invalid_dispatch" if empty.
  const char* kernel_name(uint32_t opc, uint8_t key) const;

 private:
  Library() = default;
  Result<colx_kernel_fn> slot(uint32_t opc, uint8_t key) const;

  std::shared_ptr<void> handle_;  // null if attached
  const colx_specialized_ctx* record_ = nullptr;
  const char* const* names_ = nullptr;
  std::string file_;
};

// The name that the kernel of a slot has or would have: "colx_ge_le_dict_13bit_null". A slot that
// no kernel is meant for is described by its numbers.
std::string expected_kernel_name(uint32_t opc, uint8_t key);

}  // namespace colx::host

// Calls of predicate kernels through the dispatch table on the benchmark's random codes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bench/support/bench_program.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {

// A predicate on codes of one width, as its slot tells it.
struct ScanKernel {
  uint32_t opc;  // COLX_OPC_EQ to COLX_OPC_GE_LE
  uint32_t enc;
  unsigned width_bits;
  bool zero_is_null;

  uint32_t slot() const;
  std::string name() const;
  bool is_range() const { return opc >= COLX_OPC_GT_LT; }
};

// The constants that a scan is timed with: bounds at a quarter and three quarters of the codes,
// one-sided constants in the middle.
struct ScanConstants {
  uint64_t lo;
  uint64_t hi;
};
ScanConstants scan_constants(const ScanKernel& kernel);

// Rows that a pass over a working set of that size has, bits included: a multiple of 512.
uint32_t scan_rows(const SizeClass& size, unsigned width_bits);

// One kernel with its records. A `selection` is ANDed by the scan, or walked by its twin.
class ScanCall {
 public:
  ScanCall(const ScanKernel& kernel, const SizeClass& size);

  void select(uint64_t* selection, bool walked);
  void run(unsigned window);

  const uint8_t* codes(unsigned window) const;
  uint64_t* bits(unsigned window) const;
  uint32_t count() const { return res_.colx_cv_num_set; }
  uint32_t rows() const { return res_.colx_cv_num_of_rows; }

 private:
  SizeClass size_;
  bool is_range_;
  colx_kernel_fn fn_;
  ScanConstants constants_;
  colx_cv res_ = {};
  colx_cv src_ = {};
  colx_enc_ctx enc_ = {};
  colx_kctx kctx_ = {};
};

// The scalar line of the same scan, on the same bytes.
Pass scalar_pass(const ScanKernel& kernel, const SizeClass& size);

// Compares kernel and scalar line with the row-by-row reference on some thousand rows, and with
// each other on a whole pass. Empty if all agree.
std::string scan_fault(const ScanKernel& kernel, const SizeClass& size);

}  // namespace colx::bench

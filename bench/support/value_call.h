// Calls of the predicates on stored values through the dispatch table: fixed rows of the
// benchmark's random bytes, dynp rows of random lengths out of the same bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/scalar_walk.h"
#include "bench/support/working_set.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {

struct ValueKernel {
  uint32_t opc;         // COLX_OPC_EQ to COLX_OPC_GE_LE
  uint32_t enc;         // COLX_ENC_FIXED or COLX_ENC_DYNP
  unsigned width_bits;  // of a fixed row; of the longest dynp row
  bool tz;

  bool is_fixed() const { return enc == COLX_ENC_FIXED; }
  bool is_range() const { return opc >= COLX_OPC_GT_LT; }
  unsigned word_bits() const;
  unsigned code_bits() const { return word_bits() / 16; }
  bool reads_codes() const { return !is_fixed() || (tz && width_bits != 8); }
  uint32_t slot() const;
  bool exists() const { return colx_dispatch_table[slot()] != nullptr; }
  std::string name() const;  // of the kernel, and the row width where that does not tell it
};

// Rows of a pass over a working set of that size, codes and bits included: a multiple of 512.
uint32_t value_rows(const ValueKernel& kernel, const SizeClass& size);

// The codes of the rows, packed: random ones, each as likely as the others.
std::vector<uint8_t> row_codes(const ValueKernel& kernel, uint32_t rows);

// Bytes that `rows` rows take whose codes these are.
uint64_t row_bytes(const ValueKernel& kernel, const std::vector<uint8_t>& codes, uint32_t rows);

// Bounds at a quarter and three quarters of the values, one-sided constants in the middle.
struct ValueConstants {
  WalkConstant lo;
  WalkConstant hi;
};
ValueConstants value_constants(const ValueKernel& kernel);

// One kernel with its records. Codes lie apart from the rows, a copy for each window.
class ValueCall {
 public:
  ValueCall(const ValueKernel& kernel, const SizeClass& size);

  void run(unsigned window);

  const uint8_t* row_data(unsigned window) const;
  const uint8_t* codes(unsigned window) const;
  uint64_t* bits(unsigned window) const;
  uint32_t count() const { return res_.colx_cv_num_set; }
  uint32_t rows() const { return res_.colx_cv_num_of_rows; }
  uint64_t bytes() const { return bytes_ + code_bytes_ + rows() / 8; }  // of a pass

 private:
  SizeClass size_;
  bool is_range_;
  colx_kernel_fn fn_;
  std::vector<uint8_t> codes_;
  uint64_t bytes_;  // of a window's rows
  uint64_t code_bytes_;
  uint8_t lo_[9];  // a constant in stored form, its tie code behind
  uint8_t hi_[9];
  colx_cv res_ = {};
  colx_cv src_ = {};
  colx_enc_ctx enc_ = {};
  colx_kctx kctx_ = {};
};

}  // namespace colx::bench

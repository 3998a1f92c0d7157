// Group sums: which rows a column's type, form and width make of its bytes, and the accumulators
// they leave, added row by row in row order.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/number_rows_oracle.h"

namespace colx::oracle {

// The signed big-endian integer of 1, 2, 4 or 8 bytes at `at`, as 64 bits.
uint64_t dsb_at(const void* at, unsigned bytes);
bool is_dsb_width(uint32_t width_bits);

enum class SumType { none, floats, doubles, integers };

// Bytes of one accumulator.
inline unsigned element_bytes(SumType type) {
  return type == SumType::floats ? 4 : 8;
}

// The whole low byte of colx_enc_ctx_type decides.
SumType group_sum_type(const colx_enc_ctx& encoding);

// Bytes of one stored row; 0 if no row is read.
unsigned sum_row_bytes(SumType type, uint32_t width_bits);

struct GroupSumOutcome {
  uint32_t status;
  unsigned element_bytes;
  bool touches;  // whether an accumulator is read or written at all
  std::vector<ComputedBits> elements;
};

// `elements` are the accumulators before: IEEE bits or integers. `groups` may be null.
GroupSumOutcome group_sum_outcome(const colx_cv& src, const uint32_t* groups,
                                  const std::vector<uint64_t>& elements);

}  // namespace colx::oracle

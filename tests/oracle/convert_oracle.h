// Conversion: what a column's type bits and the call's mode ask for, the converted rows, and the
// sums with their own order of additions.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/gby_sum_oracle.h"

namespace colx::oracle {

enum class ConvertAction { refused, asserts, converts, sums };

struct ConvertPlan {
  ConvertAction action;
  SumType type;
};

// The bits 1, 2 and 8 of colx_enc_ctx_type's low byte are tested one after the other.
ConvertPlan convert_plan(const colx_cv& src, const colx_kctx* kctx);

struct ConversionOutcome {
  uint32_t status;
  unsigned element_bytes;
  std::vector<ComputedBits> elements;
};

// `elements` are those of the result before. Not for a call that asserts.
ConversionOutcome convert_outcome(const colx_cv& src, const colx_kctx* kctx,
                                  const std::vector<uint64_t>& elements);

}  // namespace colx::oracle

// What the arithmetic kernels compute, row by row. A kernel's slot tells its operation, its type
// and the forms of its operands; the records tell which operand is one value.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/number_rows_oracle.h"

namespace colx::oracle {

struct ArithmeticKind {
  uint32_t opc;  // COLX_OPC_ADD, COLX_OPC_SUB or COLX_OPC_MUL
  bool doubles;
  NumberForm left;
  NumberForm right;
  bool sums;  // adds all results to one element and stores none

  unsigned bytes() const { return doubles ? 8 : 4; }
  uint32_t slot() const;
};

// For the index of a filled slot of the three operations.
ArithmeticKind arithmetic_kind_at(uint32_t slot);

// The larger of the two counts.
uint32_t arithmetic_rows(const colx_cv& src, const colx_cv& right);

// Whether an operand is one value; of two constants only the left one is.
struct ConstantSides {
  bool left;
  bool right;
};
ConstantSides constant_sides(const colx_cv& src, const colx_cv& right);

// The elements of the result: one for each row, or the one that held `element` before.
std::vector<ComputedBits> arithmetic_outcome(const ArithmeticKind& kind, const colx_cv& src,
                                             const colx_cv& right, uint64_t element);

}  // namespace colx::oracle

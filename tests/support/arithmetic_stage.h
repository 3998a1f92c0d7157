// One call of an arithmetic kernel, with everything it may touch at the edge of an unreadable page.
//
// Operands end with their last value and outputs with theirs: nothing past the rows may be read,
// and an operand that is a constant has one value. Whatever the kernels have no business with (the
// kctx, nulls, second streams, the result's encoding) is an unreadable address.
//
//   ArithmeticBatch batch = {{COLX_OPC_SUB, false, NumberForm::native, NumberForm::native, false}};
//   batch.set_rows({bits_of(3.0f)}, {bits_of(1.0f)});
//   EXPECT_EQ(run_arithmetic(batch).elements, std::vector{bits_of(2.0f)});
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/arithmetic_oracle.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {

struct ArithmeticKernel {
  const char* name;
  colx_binary_fn kernel;
};

// The filled slot of that kind.
ArithmeticKernel arithmetic_kernel(const oracle::ArithmeticKind& kind);

// The 24 kinds that store, or the 24 that sum.
std::vector<oracle::ArithmeticKind> arithmetic_kinds(bool sums);

struct Operand {
  std::vector<uint64_t> numbers;  // IEEE bits: one for each row, or the constant alone
  uint32_t rows = 0;              // colx_cv_num_of_rows
  bool constant = false;          // COLX_CONST
  uint32_t more_flags = 0;        // of colx_enc_ctx_flags
};

struct ArithmeticBatch {
  oracle::ArithmeticKind kind;
  Operand left;
  Operand right;
  uint64_t element = 0;  // IEEE bits of the element that sums go to, before the call
  Edge edge = Edge::end;
  Place place = Place::middle;
  size_t slack_bytes = 0;  // readable behind operands, to try other alignments
  size_t shift = 0;        // moves an output in the middle up by so many bytes

  // Rows on both sides, an array each.
  void set_rows(std::vector<uint64_t> left_numbers, std::vector<uint64_t> right_numbers);
};

struct ArithmeticRun {
  uint32_t status;
  std::vector<uint64_t> elements;  // IEEE bits
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

ArithmeticRun run_arithmetic(const ArithmeticKernel& kernel, const ArithmeticBatch& batch,
                             std::vector<oracle::ComputedBits>* due = nullptr);
inline ArithmeticRun run_arithmetic(const ArithmeticBatch& batch) {
  return run_arithmetic(arithmetic_kernel(batch.kind), batch);
}

// Empty if the call does what the oracle says and nothing else, else one line that begins with the
// kernel's name and tells the first difference.
std::string arithmetic_difference(const ArithmeticKernel& kernel, const ArithmeticBatch& batch);
inline std::string arithmetic_difference(const ArithmeticBatch& batch) {
  return arithmetic_difference(arithmetic_kernel(batch.kind), batch);
}

}  // namespace colx::test

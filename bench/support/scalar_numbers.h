// The scalar lines of arithmetic, sums and conversion: one row at a time, each canonical row
// decoded by a byte swap and its sign.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

// For the slot of a kernel that stores: a result per row. For one of a kernel that sums: all
// results, one after the other in row order, onto a sum that is added to out[0].
using ScalarArithmetic = void (*)(const uint8_t* left, const uint8_t* right, uint64_t rows,
                                  uint8_t* out);
ScalarArithmetic scalar_arithmetic(uint32_t slot);

enum class RowForm {
  float_native,
  float_canonical,
  double_native,
  double_canonical,
  dsb_8,
  dsb_16,
  dsb_32,
  dsb_64
};

// Each row onto the accumulator of its group: floats, doubles or 64-bit integers.
using ScalarGroupSum = void (*)(const uint8_t* rows, const uint32_t* groups, uint64_t count,
                                uint8_t* accumulators);
ScalarGroupSum scalar_group_sum(RowForm form);

// All rows onto a sum that is added to out[0].
using ScalarSum = void (*)(const uint8_t* rows, uint64_t count, uint8_t* out);
ScalarSum scalar_sum(RowForm form);

// Canonical rows to native numbers.
ScalarSum scalar_conversion(bool doubles);

}  // namespace colx::bench

// The scalar lines of translation: the loops that a careful engineer writes without vectors.
//
// 64 rows are written out; each looks its key up, tests the element without a branch and adds its
// bit to a register, which is stored, counted and asked for the first and last hit once. The row of
// a null page finds the marker. Selected rows are walked word by word.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

struct XlateRows {
  const uint8_t* keys;  // big-endian, 4 bytes each
  uint64_t rows;        // a multiple of 64
  const uint64_t* selection;
  const void* table;  // elements, or pointers to pages
  uint32_t base;      // of offset tables
  uint32_t shift;     // of two-level tables
  uint32_t mask;
  uint64_t* bits;
  void* codes;

  uint32_t count;  // written, as are the two rows
  uint32_t first;
  uint32_t last;
};
using ScalarXlate = void (*)(XlateRows& x);

// By table form (COLX_XLATE_SIM to COLX_XLATE_IND) and bits of an element: 1, 4, 8, 16 or 32.
ScalarXlate scalar_xlate(uint32_t form, unsigned element_bits, bool writes_codes);
ScalarXlate scalar_xlate_selected(uint32_t form, unsigned element_bits, bool writes_codes);

// keys[row] += table[codes[row]] * multiplier.
using ScalarKeyShare = void (*)(const uint32_t* codes, const void* table, uint32_t multiplier,
                                uint32_t* keys, uint64_t rows);
ScalarKeyShare scalar_key_share(unsigned element_bits);

// keys[row] = keys[row] * factor + codes[row], or with a shift for the factor.
void scalar_compose(uint32_t* keys, const uint32_t* codes, uint32_t factor, bool multiplied,
                    uint64_t rows);

}  // namespace colx::bench

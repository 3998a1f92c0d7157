// Row codes: a small number per row in a stream of their own, packed from each byte's top bits
// downward. Lanes of L bytes have codes of L / 2 bits, so that one code byte describes the rows of
// one vector. Code bytes by row:
//
//   L = 2   0 1 2 3 4 5 6 7      L = 4   00 11 22 33      L = 8   0000 1111
//
// In dynp columns a row's code is its stored length minus one; the tz kernels break ties by it.
#pragma once

#include "kernels/frame/vectors.h"

namespace colx {

constexpr unsigned code_bits(unsigned lane) {
  return lane / 2;
}

constexpr unsigned rows_per_code_byte(unsigned lane) {
  return 16 / lane;
}

// How far above its byte's lowest bit the code of row `row` stands.
constexpr unsigned code_place(unsigned lane, uint32_t row) {
  const unsigned rows = rows_per_code_byte(lane);
  return code_bits(lane) * (rows - 1 - row % rows);
}

constexpr unsigned code_in_byte(unsigned lane, unsigned code_byte, uint32_t row) {
  return code_byte >> code_place(lane, row) & ((1u << code_bits(lane)) - 1);
}
static_assert(code_in_byte(4, 0x1B, 0) == 0 && code_in_byte(4, 0x1B, 3) == 3);
static_assert(code_in_byte(2, 0x40, 1) == 1 && code_in_byte(8, 0x02, 1) == 2);

template <unsigned L>
COLX_INLINE unsigned row_code(const uint8_t* codes, uint32_t row) {
  return code_in_byte(L, codes[row / rows_per_code_byte(L)], row);
}

}  // namespace colx

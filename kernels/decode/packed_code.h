// One packed code by its row number, the scalar way.
#pragma once

#include "kernels/frame/bytes.h"

namespace colx {

// Code of `width` bits, 1 to 24, at `row`. Reads four bytes from the code's first byte, up to three
// past its last. The bit position is a 32-bit number: streams end below 2^32 bits.
template <unsigned width>
COLX_INLINE uint32_t packed_code(const uint8_t* stream, uint32_t row) {
  static_assert(width >= 1 && width <= 24);
  const uint32_t bit = row * width;
  return load_big_endian<uint32_t>(stream + (bit >> 3)) << (bit & 7) >> (32 - width);
}

}  // namespace colx

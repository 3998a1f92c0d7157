// Population count of a bit vector; `Unit` as in bit_logic.h.
#pragma once

#include "kernels/bitvec/bit_logic.h"

namespace colx {

// Set bits among the first `nbits`. Reads the vector's units and nothing else.
template <class Unit>
COLX_INLINE uint32_t count_bits(const void* bits, uint64_t nbits) {
  const uint8_t* const from = bytes_at(bits, 0);
  const size_t size = vector_bytes<Unit>(nbits);
  size_t at = 0;
  uint32_t count = 0;
  for (; size - at >= sizeof(uint64_t); at += sizeof(uint64_t))
    count += population(load_as<uint64_t>(from + at));
  for (; at != size; at += sizeof(Unit)) count += population(load_as<Unit>(from + at));
  return count - population_above<Unit>(from, nbits);
}

}  // namespace colx

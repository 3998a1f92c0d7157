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

// The code of a width that decoders serve, 1 to 20, 24 or 32, at `row`, whatever the length of the
// stream. Reads up to three bytes past the code's last.
template <unsigned width>
COLX_INLINE uint32_t code_at(const uint8_t* stream, uint32_t row) {
  if constexpr (width == 8) return stream[row];
  if constexpr (width == 16) return load_big_endian<uint16_t>(stream + size_t{row} * 2);
  if constexpr (width == 32) return load_big_endian<uint32_t>(stream + size_t{row} * 4);
  const uint64_t bit = uint64_t{row} * width;
  return load_big_endian<uint32_t>(stream + (bit >> 3)) << (bit & 7) >> (32 - width);
}

// The same for a width that is known only in a call.
COLX_INLINE uint32_t code_at(const uint8_t* stream, uint32_t row, uint32_t width) {
  const uint64_t bit = uint64_t{row} * width;
  return load_big_endian<uint32_t>(stream + (bit >> 3)) << (bit & 7) >> (32 - width);
}

}  // namespace colx

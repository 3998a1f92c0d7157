#include "kernels/decode/one_bit_stream.h"

#include "kernels/decode/packed_code.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/frame/vectors.h"

namespace colx {
namespace {

// Swaps the fields of `Bits` bits that `low` marks with their upper neighbours.
template <int Bits>
COLX_INLINE Vec neighbours_swapped(Vec v, Vec low) {
  return either(shifted_left<2, Bits>(both(v, low)), both(shifted_right<2, Bits>(v), low));
}

COLX_INLINE Vec bits_reversed_in_bytes(Vec v) {
  v = neighbours_swapped<1>(v, splat<1>(0x55));
  v = neighbours_swapped<2>(v, splat<1>(0x33));
  return neighbours_swapped<4>(v, splat<1>(0x0F));
}

}  // namespace

void copy_one_bit_codes(uint64_t* out, const uint8_t* stream, uint32_t rows) {
  const uint32_t blocks = rows / 128;
  for (uint32_t b = 0; b < blocks; ++b)
    store(bytes_at(out, size_t{b} * 16), bits_reversed_in_bytes(load(stream + size_t{b} * 16)));
  clear_rest(out, rows, blocks * 128);
  for (uint32_t r = blocks * 128; r < rows; ++r)
    if (packed_code<1>(stream, r)) set_bit(out, r);
}

}  // namespace colx

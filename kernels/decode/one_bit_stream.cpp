#include "kernels/decode/one_bit_stream.h"

#include "kernels/decode/packed_code.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {
namespace {

constexpr unsigned reversed_nibble(unsigned nibble) {
  return (nibble & 1) << 3 | (nibble & 2) << 1 | (nibble & 4) >> 1 | (nibble & 8) >> 3;
}

// Reversed nibbles at the place that `shift` says.
constexpr Mask reversed_nibbles(unsigned shift) {
  Mask mask{};
  for (unsigned nibble = 0; nibble < 16; ++nibble)
    mask.bytes[nibble] = static_cast<uint8_t>(reversed_nibble(nibble) << shift);
  return mask;
}
inline constexpr Mask low_nibbles_reversed = reversed_nibbles(4);
inline constexpr Mask high_nibbles_reversed = reversed_nibbles(0);
static_assert(low_nibbles_reversed.bytes[1] == 0x80 && high_nibbles_reversed.bytes[1] == 0x08);

COLX_INLINE Vec bits_reversed_in_bytes(Vec v) {
  const Vec nibble = splat<1>(0x0F);
  const Vec low = both(v, nibble);
  const Vec high = both(shifted_right<2, 4>(v), nibble);
  return either(shuffle(load(low_nibbles_reversed), low),
                shuffle(load(high_nibbles_reversed), high));
}

// Whole blocks of 128 rows, counted as they are stored.
template <bool inverted>
COLX_INLINE uint32_t store_blocks(uint64_t* out, const uint8_t* stream, uint32_t blocks) {
  uint32_t count = 0;
#pragma GCC unroll 4
  for (; blocks != 0; --blocks, stream += 16, out += 2) {
    prefetch(stream + stream_prefetch_bytes);
    Vec bits = bits_reversed_in_bytes(load(stream));
    if constexpr (inverted) bits = complement(bits);
    store(out, bits);
    count += population(low_half(bits)) + population(high_half(bits));
  }
  return count;
}

}  // namespace

uint32_t one_bit_codes(uint64_t* out, const uint8_t* stream, uint32_t rows, bool inverted) {
  const uint32_t blocks = rows / 128;
  const uint32_t done = blocks * 128;
  const uint32_t count =
      inverted ? store_blocks<true>(out, stream, blocks) : store_blocks<false>(out, stream, blocks);
  clear_rest(out, rows, done);
  uint32_t ones = 0;
  for (uint32_t r = done; r < rows; ++r) {
    if (packed_code<1>(stream, r)) {
      set_bit(out, r);
      ++ones;
    }
  }
  if (!inverted) return count + ones;
  for (size_t word = done / 64; word < words_of(rows); ++word) out[word] = ~out[word];
  return count + (rows - done - ones);
}

}  // namespace colx

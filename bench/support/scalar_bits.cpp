#include "bench/support/scalar_bits.h"

namespace colx::bench {

uint64_t scalar_and_count(uint64_t* __restrict dst, const uint64_t* a, const uint64_t* b,
                          uint64_t words) {
  uint64_t count = 0;
  for (uint64_t i = 0; i < words; ++i) {
    dst[i] = a[i] & b[i];
    count += static_cast<uint64_t>(__builtin_popcountll(dst[i]));
  }
  return count;
}

uint64_t scalar_count(const uint64_t* bits, uint64_t words) {
  uint64_t count = 0;
  for (uint64_t i = 0; i < words; ++i)
    count += static_cast<uint64_t>(__builtin_popcountll(bits[i]));
  return count;
}

// A batch is handed on when a whole word more might not fit, so no row needs a test of the room.
uint64_t scalar_ones(const uint64_t* bits, uint64_t words) {
  uint32_t rows[batch_rows];
  uint32_t filled = 0;
  uint64_t count = 0;
  for (uint64_t i = 0; i < words; ++i) {
    const auto base = static_cast<uint32_t>(64 * i);
    for (uint64_t word = bits[i]; word != 0; word &= word - 1)
      rows[filled++] = base + static_cast<uint32_t>(__builtin_ctzll(word));
    if (filled > batch_rows - 64) {
      consume(rows, filled);
      count += filled;
      filled = 0;
    }
  }
  consume(rows, filled);
  return count + filled;
}

}  // namespace colx::bench

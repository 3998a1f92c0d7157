#include "bench/support/scalar_walk.h"

#include <cstddef>
#include <cstring>
#include <utility>

namespace colx::bench {
namespace {

template <bool tz>
__attribute__((always_inline)) inline bool less(uint64_t value, unsigned code, WalkConstant than) {
  const bool by_value = value < than.value;
  if constexpr (!tz) return by_value;
  return by_value | ((value == than.value) & (code < than.tie));
}

template <bool tz>
__attribute__((always_inline)) inline bool same(uint64_t value, unsigned code, WalkConstant as) {
  const bool by_value = value == as.value;
  if constexpr (!tz) return by_value;
  return by_value & (code == as.tie);
}

template <bool tz>
__attribute__((always_inline)) inline bool at_most(uint64_t value, unsigned code, WalkConstant as) {
  const bool by_value = value <= as.value;
  if constexpr (!tz) return by_value;
  return (value < as.value) | ((value == as.value) & (code <= as.tie));
}

template <WalkTest test, bool tz>
__attribute__((always_inline)) inline bool holds(uint64_t value, unsigned code, WalkConstant lo,
                                                 WalkConstant hi) {
  if constexpr (test == WalkTest::equal) return same<tz>(value, code, lo);
  if constexpr (test == WalkTest::unequal) return !same<tz>(value, code, lo);
  if constexpr (test == WalkTest::below) return less<tz>(value, code, lo);
  if constexpr (test == WalkTest::above) return !at_most<tz>(value, code, lo);
  if constexpr (test == WalkTest::at_most) return at_most<tz>(value, code, lo);
  if constexpr (test == WalkTest::at_least) return !less<tz>(value, code, lo);
  const bool below = less<tz>(value, code, lo);
  return at_most<tz>(value, code, hi) & (below ^ true);
}

template <unsigned word_bits, WalkTest test, bool tz>
uint32_t walk(const uint8_t* __restrict rows, const uint8_t* __restrict lengths,
              uint64_t* __restrict out, uint32_t count, WalkConstant lo, WalkConstant hi) {
  constexpr unsigned code_bits = word_bits / 16;
  constexpr unsigned rows_per_byte = 8 / code_bits;
  uint32_t set = 0;
  for (uint32_t row = 0; row < count; row += 64) {
    uint64_t bits = 0;
    for (unsigned group = 0; group < 64; group += rows_per_byte) {
      const unsigned codes = *lengths++;
#pragma GCC unroll 8
      for (unsigned i = 0; i < rows_per_byte; ++i) {
        const unsigned code = codes >> (8 - code_bits - i * code_bits) & ((1u << code_bits) - 1);
        uint64_t word;
        std::memcpy(&word, rows, sizeof word);
        const unsigned behind = 56 - 8 * code;
        const uint64_t value = __builtin_bswap64(word) >> behind << behind;
        bits |= uint64_t{holds<test, tz>(value, code, lo, hi)} << (group + i);
        rows += code + 1;
      }
    }
    *out++ = bits;
    set += static_cast<uint32_t>(__builtin_popcountll(bits));
  }
  return set;
}

template <unsigned word_bits, bool tz>
ScalarWalk walk_of(WalkTest test) {
  constexpr ScalarWalk walks[] = {
      walk<word_bits, WalkTest::equal, tz>,   walk<word_bits, WalkTest::unequal, tz>,
      walk<word_bits, WalkTest::below, tz>,   walk<word_bits, WalkTest::above, tz>,
      walk<word_bits, WalkTest::at_most, tz>, walk<word_bits, WalkTest::at_least, tz>,
      walk<word_bits, WalkTest::within, tz>};
  return walks[static_cast<size_t>(test)];
}

}  // namespace

ScalarWalk scalar_walk(unsigned word_bits, WalkTest test, bool tz) {
  switch (word_bits) {
    case 16:
      return tz ? walk_of<16, true>(test) : walk_of<16, false>(test);
    case 32:
      return tz ? walk_of<32, true>(test) : walk_of<32, false>(test);
    default:
      return tz ? walk_of<64, true>(test) : walk_of<64, false>(test);
  }
}

}  // namespace colx::bench

// Population counts of bit vectors, one pattern for both forms. `Unit` is what a vector is made of:
// uint64_t for word bit vectors, uint8_t for byte bit vectors. A vector of n bits has
// ceil(n / bits of a unit) units; exactly these are read, at any alignment.
//
// Long vectors are counted in two ways at once, since either alone leaves the other's execution
// units idle: some vectors go through a tree of carry-save adders, on the vector units, and the
// words of those between them through the population count instruction. The tree is Harley and
// Seal's, see W. Mula, N. Kurz, D. Lemire, "Faster Population Counts Using AVX2 Instructions", The
// Computer Journal 61 (2018).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kernels/frame/bytes.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

template <class Unit>
inline constexpr unsigned bits_of_unit = 8 * sizeof(Unit);

template <class Unit>
constexpr size_t vector_bytes(uint64_t nbits) {
  return (nbits / bits_of_unit<Unit> + (nbits % bits_of_unit<Unit> != 0)) * sizeof(Unit);
}
static_assert(vector_bytes<uint64_t>(64) == 8 && vector_bytes<uint64_t>(65) == 16);
static_assert(vector_bytes<uint8_t>(0) == 0 && vector_bytes<uint8_t>(9) == 2);

// Set bits of a vector's last unit that lie at or above bit `nbits`.
template <class Unit>
COLX_INLINE uint32_t population_above(const uint8_t* bits, uint64_t nbits) {
  const unsigned used = nbits % bits_of_unit<Unit>;
  if (used == 0) return 0;
  const uint64_t last = load_as<Unit>(bits + vector_bytes<Unit>(nbits) - sizeof(Unit));
  return population(last >> used);
}

COLX_INLINE uint32_t population(Vec v) {
  return population(low_half(v)) + population(high_half(v));
}

// Adds the set bits of `bytes` bytes, a multiple of 8, word by word.
template <size_t bytes>
COLX_INLINE void count_words(uint64_t& count, const uint8_t* from) {
  count += population(load_as<uint64_t>(from));
  if constexpr (bytes > 8) count_words<bytes - 8>(count, from + 8);
}

// Vectors go through the columns in pairs.
inline constexpr unsigned pairs_per_block = 8;

// A running count. A column is a bit position of a vector; columns[k] holds bit k of the number of
// set bits that each column has seen, modulo 16.
struct BitSums {
  Vec columns[4];
  uint64_t sixteens;  // carries
  uint64_t words;     // set bits that were counted by words
};

// Full adders, one a column: leaves the sum in `sum` and returns the carry.
COLX_INLINE Vec add_columns(Vec& sum, Vec b, Vec c) {
  const Vec a_or_b = differ(sum, b);
  const Vec b_or_c = differ(b, c);
  sum = differ(sum, b_or_c);
  return differ(b, both(a_or_b, b_or_c));
}

struct Pair {
  Vec first, second;
};

// Adds the pairs `first` to `first` + `pairs` - 1 and returns their carry.
template <unsigned first, unsigned pairs, class PairOf>
COLX_INLINE Vec add_pairs(BitSums& sums, PairOf pair_of) {
  Pair in;
  if constexpr (pairs == 1) {
    in = pair_of(std::integral_constant<unsigned, first>{});
  } else {
    in.first = add_pairs<first, pairs / 2>(sums, pair_of);
    in.second = add_pairs<first + pairs / 2, pairs / 2>(sums, pair_of);
  }
  return add_columns(sums.columns[std::countr_zero(pairs)], in.first, in.second);
}

// Adds the vectors pair_of(0) to pair_of(7), called in this order.
template <class PairOf>
COLX_INLINE void add_block(BitSums& sums, PairOf pair_of) {
  const Vec carry = add_pairs<0, pairs_per_block>(sums, pair_of);
  sums.sixteens += population(carry);
}

COLX_INLINE uint32_t total(const BitSums& sums) {
  uint64_t count = sums.words;
  for (unsigned k = 0; k < 4; ++k) count += uint64_t{population(sums.columns[k])} << k;
  return static_cast<uint32_t>(count + 16 * sums.sixteens);
}

// Counting alone, a block is 16 vectors by columns and 36 words. That many keep all units busy
// where three take vector instructions and one of these, a word a cycle, the population counts: the
// columns of a block cost 15 full adders of 5 instructions.
inline constexpr size_t words_place = 2 * pairs_per_block * sizeof(Vec);
inline constexpr size_t words_per_block = 36;
inline constexpr size_t counted_block_bytes = words_place + words_per_block * sizeof(uint64_t);

// Counts `blocks` blocks. The words are spread over the pairs, so that both kinds of work mix.
COLX_INLINE uint32_t count_blocks(const uint8_t* from, size_t blocks) {
  BitSums sums{};
  for (; blocks != 0; --blocks, from += counted_block_bytes) {
    const auto pair_of = [&](auto pair) __attribute__((always_inline)) {
      constexpr size_t first = pair() * words_per_block / pairs_per_block;
      constexpr size_t end = (pair() + 1) * words_per_block / pairs_per_block;
      count_words<8 * (end - first)>(sums.words, from + words_place + 8 * first);
      prefetch(from + stream_prefetch_bytes + pair() * counted_block_bytes / pairs_per_block);
      const uint8_t* const at = from + pair() * 2 * sizeof(Vec);
      return Pair{load(at), load(at + sizeof(Vec))};
    };
    add_block(sums, pair_of);
  }
  return total(sums);
}

// Set bits among the first `nbits`.
template <class Unit>
COLX_INLINE uint32_t count_bits(const uint8_t* from, uint64_t nbits) {
  const size_t size = vector_bytes<Unit>(nbits);
  const size_t blocks = size / counted_block_bytes;
  size_t at = blocks * counted_block_bytes;
  uint32_t count = blocks != 0 ? count_blocks(from, blocks) : 0;
  for (; size - at >= sizeof(uint64_t); at += sizeof(uint64_t))
    count += population(load_as<uint64_t>(from + at));
  for (; at != size; at += sizeof(Unit)) count += population(load_as<Unit>(from + at));
  return count - population_above<Unit>(from, nbits);
}

}  // namespace colx

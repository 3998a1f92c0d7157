// Unit-wise logic on bit vectors, one pattern for both forms; `Unit` as in bit_count.h.
//
// Exactly the vector's units are read of every input and written to the output, whatever the
// alignment. The last unit is stored whole, with whatever the operation makes of the bits above n;
// the count covers the first n bits alone.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/bitvec/bit_count.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

// The words of the vector vocabulary for the single units before and behind the vector steps.
COLX_INLINE uint64_t both(uint64_t a, uint64_t b) {
  return a & b;
}
COLX_INLINE uint64_t either(uint64_t a, uint64_t b) {
  return a | b;
}
COLX_INLINE uint64_t differ(uint64_t a, uint64_t b) {
  return a ^ b;
}
COLX_INLINE uint64_t without(uint64_t a, uint64_t b) {
  return a & ~b;
}
COLX_INLINE uint64_t complement(uint64_t a) {
  return ~a;
}

// Operations, on a Vec or on a unit widened to 64 bits.
struct Not {
  template <class T>
  COLX_INLINE static T of(T a) {
    return complement(a);
  }
};
struct And {
  template <class T>
  COLX_INLINE static T of(T a, T b) {
    return both(a, b);
  }
};
struct Or {
  template <class T>
  COLX_INLINE static T of(T a, T b) {
    return either(a, b);
  }
};
struct Xor {
  template <class T>
  COLX_INLINE static T of(T a, T b) {
    return differ(a, b);
  }
};
// The first input is the complemented one.
struct AndNot {
  template <class T>
  COLX_INLINE static T of(T a, T b) {
    return without(b, a);
  }
};
// A two-sided operation over three inputs.
template <class Op>
struct Three {
  template <class T>
  COLX_INLINE static T of(T a, T b, T c) {
    return Op::of(Op::of(a, b), c);
  }
};

COLX_INLINE bool is_aligned(const void* address) {
  return reinterpret_cast<uintptr_t>(address) % sizeof(Vec) == 0;
}

template <class Op, class... In>
COLX_INLINE Vec combine_vector(uint8_t* dst, const In*... in) {
  const Vec result = Op::of(load(in)...);
  store_aligned(dst, result);
  return result;
}

// A block is eight groups of a cache line: two vectors that are counted by columns as they are
// made, two that are counted by words when they are read back from `dst`. Reading at once would
// wait for the stores, so words are read two blocks later.
inline constexpr size_t group_bytes = 4 * sizeof(Vec);
inline constexpr size_t group_words = 2 * sizeof(Vec);  // where in a group those vectors begin
inline constexpr size_t block_bytes = pairs_per_block * group_bytes;
inline constexpr size_t blocks_behind = 2;

// Combines and counts `blocks` blocks, `dst` aligned.
template <class Op, class... In>
COLX_INLINE uint32_t combine_blocks(uint8_t* dst, size_t blocks, const In*... in) {
  BitSums sums{};
  const auto count_words = [&](const uint8_t* group) __attribute__((always_inline)) {
    colx::count_words<group_bytes - group_words>(sums.words, group + group_words);
  };
  for (size_t block = 0; block != blocks; ++block) {
    const bool has_behind = block >= blocks_behind;
    add_block(
        sums, [&](unsigned pair) __attribute__((always_inline)) {
          const size_t at = block * block_bytes + pair * group_bytes;
          const auto combine_at = [&](size_t place) __attribute__((always_inline)) {
            return combine_vector<Op>(dst + place, in + place...);
          };
          const Pair made = {combine_at(at), combine_at(at + 16)};
          combine_at(at + 32);
          combine_at(at + 48);
          if (has_behind) count_words(dst + at - blocks_behind * block_bytes);
          return made;
        });
  }
  const size_t end = blocks * block_bytes;
  const size_t counted = end - (blocks < blocks_behind ? blocks : blocks_behind) * block_bytes;
  for (size_t at = counted; at != end; at += group_bytes) count_words(dst + at);
  return total(sums);
}

// dst = Op(in...), vector by vector between single units that lead to an aligned `dst` and past the
// last whole vector. Inputs may be `dst` itself. Returns the set bits among the first `nbits` of
// the result if `counts`, else 0.
template <class Op, class Unit, bool counts, class... In>
COLX_INLINE uint32_t combine_units(uint8_t* dst, uint64_t nbits, const In*... in) {
  const size_t size = vector_bytes<Unit>(nbits);
  size_t at = 0;
  uint32_t count = 0;
  const auto combine_unit = [&]() __attribute__((always_inline)) {
    const Unit unit = static_cast<Unit>(Op::of(uint64_t{load_as<Unit>(in + at)}...));
    store_as(dst + at, unit);
    if constexpr (counts) count += population(unit);
    at += sizeof(Unit);
  };
  while (at != size && !is_aligned(dst + at)) combine_unit();
  if constexpr (counts) {
    if (const size_t blocks = (size - at) / block_bytes; blocks != 0) {
      count += combine_blocks<Op>(dst + at, blocks, in + at...);
      at += blocks * block_bytes;
    }
  }
  for (; size - at >= sizeof(Vec); at += sizeof(Vec)) {
    const Vec result = combine_vector<Op>(dst + at, in + at...);
    if constexpr (counts) count += population(result);
  }
  while (at != size) combine_unit();
  if constexpr (counts) count -= population_above<Unit>(dst, nbits);
  return count;
}

// The exported form: `count` may be null, and then nothing is counted.
template <class Op, class Unit, class... In>
COLX_INLINE void combine(void* dst, uint32_t* count, uint64_t nbits, const In*... in) {
  if (count != nullptr)
    *count = combine_units<Op, Unit, true>(bytes_at(dst, 0), nbits, bytes_at(in, 0)...);
  else
    combine_units<Op, Unit, false>(bytes_at(dst, 0), nbits, bytes_at(in, 0)...);
}

}  // namespace colx

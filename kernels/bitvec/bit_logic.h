// Unit-wise logic on bit vectors, one pattern for both forms. `Unit` is what a vector is made of:
// uint64_t for word bit vectors, uint8_t for byte bit vectors.
//
// A vector of n bits has ceil(n / bits of a unit) units; exactly these are read of every input and
// written to the output, whatever the alignment. The last unit is stored whole, with whatever the
// operation makes of the bits above n; the count covers the first n bits alone.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/frame/bytes.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/vectors.h"

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

template <class Unit>
inline constexpr unsigned bits_of_unit = 8 * sizeof(Unit);

template <class Unit>
constexpr size_t vector_bytes(uint64_t nbits) {
  return (nbits / bits_of_unit<Unit> + (nbits % bits_of_unit<Unit> != 0)) * sizeof(Unit);
}
static_assert(vector_bytes<uint64_t>(64) == 8 && vector_bytes<uint64_t>(65) == 16);
static_assert(vector_bytes<uint8_t>(0) == 0 && vector_bytes<uint8_t>(9) == 2);

COLX_INLINE bool is_aligned(const void* address) {
  return reinterpret_cast<uintptr_t>(address) % sizeof(Vec) == 0;
}

// Set bits of a vector's last unit that lie at or above bit `nbits`.
template <class Unit>
COLX_INLINE uint32_t population_above(const uint8_t* bits, uint64_t nbits) {
  const unsigned used = nbits % bits_of_unit<Unit>;
  if (used == 0) return 0;
  const uint64_t last = load_as<Unit>(bits + vector_bytes<Unit>(nbits) - sizeof(Unit));
  return population(last >> used);
}

// dst = Op(in...), vector by vector between single units that lead to an aligned `dst` and past the
// last whole vector. Inputs may be `dst` itself. Returns the set bits among the first `nbits` of
// the result if `counts`, else 0.
template <class Op, class Unit, bool counts, class... In>
COLX_INLINE uint32_t combine(uint8_t* dst, uint64_t nbits, const In*... in) {
  const size_t size = vector_bytes<Unit>(nbits);
  size_t at = 0;
  uint32_t count = 0;
  const auto combine_unit = [&] {
    const uint64_t unit = Op::of(uint64_t{load_as<Unit>(in + at)}...);
    store_as(dst + at, static_cast<Unit>(unit));
    if constexpr (counts) count += population(static_cast<Unit>(unit));
    at += sizeof(Unit);
  };
  while (at != size && !is_aligned(dst + at)) combine_unit();
  for (; size - at >= sizeof(Vec); at += sizeof(Vec)) {
    const Vec result = Op::of(load(in + at)...);
    store_aligned(dst + at, result);
    if constexpr (counts) count += population(low_half(result)) + population(high_half(result));
  }
  while (at != size) combine_unit();
  if constexpr (counts) count -= population_above<Unit>(dst, nbits);
  return count;
}

// The exported form: `count` may be null, and then nothing is counted.
template <class Op, class Unit, class... In>
COLX_INLINE void combine(void* dst, uint32_t* count, uint64_t nbits, const In*... in) {
  if (count != nullptr)
    *count = combine<Op, Unit, true>(bytes_at(dst, 0), nbits, bytes_at(in, 0)...);
  else
    combine<Op, Unit, false>(bytes_at(dst, 0), nbits, bytes_at(in, 0)...);
}

}  // namespace colx

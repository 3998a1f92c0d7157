// From lane masks to result bits: masks of wide lanes are narrowed to a byte a row, sixteen row
// bytes give sixteen bits, and a step stores its bits with one population count a store.
#pragma once

#include <type_traits>

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

template <unsigned Value>
using Constant = std::integral_constant<unsigned, Value>;

// One vector of narrowed lanes from `Count` vectors of lanes of L bytes; lanes(Constant<v>) makes
// vector v. They are asked for in pairs, so that each is used up as soon as it is made. Signs are
// kept and, if the lanes are `numbers`, what is not 0 stays so.
template <unsigned L, unsigned Count, unsigned First, bool numbers, class Lanes>
COLX_INLINE Vec narrowed_lanes(const Lanes& lanes) {
  if constexpr (Count == 1) {
    return lanes(Constant<First>{});
  } else {
    constexpr unsigned wide = 2 * L / Count;
    const Vec low = narrowed_lanes<L, Count / 2, First, numbers>(lanes);
    const Vec high = narrowed_lanes<L, Count / 2, First + Count / 2, numbers>(lanes);
    // Shuffles have two ports, packing has one. As a number, a lane of 8 bytes is two of 4.
    constexpr unsigned packed = wide == 2 ? 2 : 4;
    if constexpr (wide == 8 && !numbers) return high_halves(low, high);
    return narrowed<packed>(low, high);
  }
}

// A byte a row from the marks or numbers of `Rows` rows, 8 or 16, that begin at vector First.
template <unsigned L, unsigned Rows, unsigned First, bool numbers, class Lanes>
COLX_INLINE Vec row_bytes(const Lanes& lanes) {
  const Vec rows = narrowed_lanes<L, Rows * L / 16, First, numbers>(lanes);
  return Rows == 8 ? narrowed<2>(rows, zeros()) : rows;
}

// How the marks of a step become bits.
struct Marks {
  bool zeros;   // a mark is a 0, not a mask of ones
  bool misses;  // marks stand on the rows that are not selected
  bool out_of_order = false;
  Mask order = {};  // where each of sixteen row bytes is, if they are out of order
};

// Bits of the `Rows` rows, 8 or 16, whose marks begin at vector First.
template <unsigned L, unsigned Rows, Marks marks, unsigned First, class Lanes>
COLX_INLINE uint32_t row_bits(const Lanes& lanes, Vec zero) {
  Vec rows = row_bytes<L, Rows, First, marks.zeros>(lanes);
  if constexpr (marks.out_of_order) rows = shuffle(rows, load(marks.order));
  return top_bits(marks.zeros ? equal<1>(rows, zero) : rows);
}

// One output unit of `Rows` rows, 8, 16, 32 or 64, row 0 in bit 0.
template <unsigned L, unsigned Rows, Marks marks, unsigned First, class Lanes>
COLX_INLINE Unsigned<Rows / 8> unit_bits(const Lanes& lanes, Vec zero) {
  using Unit = Unsigned<Rows / 8>;
  if constexpr (Rows <= 16) {
    return static_cast<Unit>(row_bits<L, Rows, marks, First>(lanes, zero));
  } else {
    const Unit low = unit_bits<L, Rows / 2, marks, First>(lanes, zero);
    const Unit high = unit_bits<L, Rows / 2, marks, First + Rows / 2 * L / 16>(lanes, zero);
    return low | high << (Rows / 2);
  }
}

// Stores the bits of a step of `Rows` rows with plain stores of up to 64 bits and returns how many
// are set. lanes(Constant<v>) makes vector v of marks in lanes of L bytes; if marks are zeros,
// `zero` is the byte that counts as one.
template <unsigned L, unsigned Rows, Marks marks, unsigned First = 0, class Lanes>
COLX_INLINE uint32_t store_rows(uint8_t* out, const Lanes& lanes, Vec zero = zeros()) {
  if constexpr (Rows > 64) {
    const uint32_t low = store_rows<L, 64, marks, First>(out, lanes, zero);
    return low + store_rows<L, Rows - 64, marks, First + 64 * L / 16>(out + 8, lanes, zero);
  } else {
    using Unit = Unsigned<Rows / 8>;
    Unit bits = unit_bits<L, Rows, marks, First>(lanes, zero);
    if constexpr (marks.misses) bits = static_cast<Unit>(~bits);
    store_as<Unit>(out, bits);
    return population(bits);
  }
}

}  // namespace colx

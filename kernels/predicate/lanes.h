// From lane masks to result bits: masks of wide lanes are narrowed to a byte a row, sixteen row
// bytes give sixteen bits, and a step stores its bits with one population count a store.
#pragma once

#include <type_traits>

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

template <unsigned Value>
using Constant = std::integral_constant<unsigned, Value>;

// One vector of narrowed masks from `Count` vectors of masks of L bytes; masks(Constant<v>) makes
// vector v. They are asked for in pairs, so that each is used up as soon as it is made.
template <unsigned L, unsigned Count, unsigned First, class Masks>
COLX_INLINE Vec narrowed_masks(const Masks& masks) {
  if constexpr (Count == 1) {
    return masks(Constant<First>{});
  } else {
    constexpr unsigned wide = 2 * L / Count;
    const Vec low = narrowed_masks<L, Count / 2, First>(masks);
    const Vec high = narrowed_masks<L, Count / 2, First + Count / 2>(masks);
    // A mask of 8 bytes is two of 4, so it is narrowed as such.
    return narrowed < wide == 2 ? 2 : 4 > (low, high);
  }
}

// Bits of the sixteen rows whose masks begin at vector First.
template <unsigned L, unsigned First, class Masks>
COLX_INLINE uint32_t row_bits(const Masks& masks) {
  return top_bits(narrowed_masks<L, L, First>(masks));
}

// One output unit of `Rows` rows, 16, 32 or 64, row 0 in bit 0.
template <unsigned L, unsigned Rows, unsigned First, class Masks>
COLX_INLINE Unsigned<Rows / 8> unit_bits(const Masks& masks) {
  using Unit = Unsigned<Rows / 8>;
  if constexpr (Rows == 16) {
    return static_cast<Unit>(row_bits<L, First>(masks));
  } else {
    const Unit low = unit_bits<L, Rows / 2, First>(masks);
    const Unit high = unit_bits<L, Rows / 2, First + Rows / 2 * L / 16>(masks);
    return low | high << (Rows / 2);
  }
}

// Stores the bits of a step of `Rows` rows with plain stores of up to 64 bits and returns how many
// are set. `misses`: the masks mark the rows that are not selected.
template <unsigned L, unsigned Rows, bool misses, unsigned First = 0, class Masks>
COLX_INLINE uint32_t store_rows(uint8_t* out, const Masks& masks) {
  if constexpr (Rows > 64) {
    const uint32_t low = store_rows<L, 64, misses, First>(out, masks);
    return low + store_rows<L, Rows - 64, misses, First + 64 * L / 16>(out + 8, masks);
  } else {
    using Unit = Unsigned<Rows / 8>;
    Unit bits = unit_bits<L, Rows, First>(masks);
    if constexpr (misses) bits = static_cast<Unit>(~bits);
    store_as<Unit>(out, bits);
    return population(bits);
  }
}

}  // namespace colx

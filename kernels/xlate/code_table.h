// Tables of small codes: elements of 1, 4, 8, 16 or 32 bits, found by a 32-bit index.
//
//   1 bit    bit i & 7 of byte i >> 3, the least significant first
//   4 bits   byte i >> 1, even i in the low half, odd i in the high one
//   others   element i of an array in the machine's byte order
//
// A code vector has the same formats. An element of all ones is the marker of a key without a code.
// Nothing is read but the units of storage, bytes or whole elements, that were asked for.
#pragma once

#include "kernels/bitvec/bit_tables.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/slot_index.h"
#include "kernels/frame/vectors.h"

namespace colx {

// By the width code of a translation.
constexpr unsigned element_bits(uint32_t code) {
  return code == COLX_WIDTH_BIT ? 1 : code == COLX_WIDTH_NIB ? 4 : 8u << (code - COLX_WIDTH_UB1);
}
static_assert(element_bits(COLX_WIDTH_UB1) == 8 && element_bits(COLX_WIDTH_UB4) == 32);

template <unsigned bits>
inline constexpr uint32_t marker = 0xFFFFFFFF >> (32 - bits);

// A unit of storage is one element, or a byte that holds 1 << unit_shift of them.
template <unsigned bits>
inline constexpr unsigned unit_bytes = bits < 8 ? 1 : bits / 8;
template <unsigned bits>
inline constexpr unsigned unit_shift = bits == 1   ? 3
                                       : bits == 4 ? 1
                                                   : 0;
template <unsigned bits>
using Unit = Unsigned<unit_bytes<bits>>;

// Where element `index` lies in its byte.
template <unsigned bits>
constexpr unsigned bit_place(uint32_t index) {
  return index % (1u << unit_shift<bits>)*bits;
}

template <unsigned bits>
COLX_INLINE Unit<bits> unit_at(const uint8_t* table, uint32_t unit) {
  return load_as<Unit<bits>>(table + size_t{unit} * unit_bytes<bits>);
}

template <unsigned bits>
COLX_INLINE uint32_t element_at(const uint8_t* table, uint32_t index) {
  const uint32_t unit = unit_at<bits>(table, index >> unit_shift<bits>);
  if constexpr (bits >= 8) return unit;
  return unit >> bit_place<bits>(index) & marker<bits>;
}

template <unsigned bits>
COLX_INLINE void put_element(uint8_t* codes, uint32_t row, uint32_t element) {
  if constexpr (bits >= 8) return store_as(codes + size_t{row} * (bits / 8), Unit<bits>(element));
  uint8_t& byte = codes[row >> unit_shift<bits>];
  const unsigned place = bit_place<bits>(row);
  byte = static_cast<uint8_t>((byte & ~(marker<bits> << place)) | element << place);
}

// Sixteen elements in lanes of `unit_bytes`. Those of 1 bit are a bit anywhere in their byte.
template <unsigned bits>
struct Elements {
  Vec at[unit_bytes<bits>];
};

// Gathers the even bytes of a vector into its low half.
inline constexpr Mask colx_shuffle_upper_pack16 = [] {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k) mask.bytes[k] = static_cast<uint8_t>(k < 8 ? 2 * k : 0x80);
  return mask;
}();

// Lanes `lane` up to, not including, `end` of `v` filled with the units number `first` on.
template <unsigned bytes, int lane, int end, class UnitOf>
COLX_INLINE Vec with_units(Vec v, unsigned first, const UnitOf& unit_of) {
  if constexpr (lane == end)
    return v;
  else
    return with_units<bytes, lane + 1, end>(with_lane<bytes, lane>(v, unit_of(first)), first + 1,
                                            unit_of);
}

// A vector of the units number `first` on. Bytes are put together in halves, which do not wait for
// each other.
template <unsigned bytes, class UnitOf>
COLX_INLINE Vec unit_vector(unsigned first, const UnitOf& unit_of) {
  if constexpr (bytes == 1)
    return alternated_low<8>(
        with_units<1, 1, 8>(from_halves(unit_of(first), 0), first + 1, unit_of),
        with_units<1, 1, 8>(from_halves(unit_of(first + 8), 0), first + 9, unit_of));
  else
    return with_units<bytes, 1, 16 / bytes>(from_halves(unit_of(first), 0), first + 1, unit_of);
}

// Sixteen elements whose units of storage are unit_of(0) to unit_of(15); the indexes are in lanes
// of 4 bytes.
template <unsigned bits, class UnitOf>
COLX_INLINE Elements<bits> gathered(const Vec (&indexes)[4], const UnitOf& unit_of) {
  Elements<bits> elements;
  for (unsigned v = 0; v < unit_bytes<bits>; ++v)
    elements.at[v] = unit_vector<unit_bytes<bits>>(v * (16 / unit_bytes<bits>), unit_of);
  if constexpr (bits < 8) {
    const Vec in_byte = splat<4>((1 << unit_shift<bits>)-1);
    const Vec low = narrowed<4>(both(indexes[0], in_byte), both(indexes[1], in_byte));
    const Vec high = narrowed<4>(both(indexes[2], in_byte), both(indexes[3], in_byte));
    const Vec places = narrowed<2>(low, high);
    Vec& units = elements.at[0];
    if constexpr (bits == 1) {
      units = both(units, shuffle(load(colx_bit_possible), places));
    } else {
      const Vec odd = shifted_left<2, 7>(places);
      units = both(chosen(odd, shifted_right<2, 4>(units), units), splat<1>(marker<4>));
    }
  }
  return elements;
}

// Bit k says whether element k is none of the marker.
template <unsigned bits>
COLX_INLINE uint32_t unmarked(const Elements<bits>& elements) {
  const Vec(&at)[unit_bytes<bits>] = elements.at;
  const Vec none = splat<unit_bytes<bits>>(marker<bits>);
  if constexpr (bits == 1) return top_bits(equal<1>(at[0], zeros()));
  if constexpr (bits == 4 || bits == 8) return top_bits(equal<1>(at[0], none)) ^ 0xFFFF;
  if constexpr (bits == 16)
    return top_bits(narrowed<2>(equal<2>(at[0], none), equal<2>(at[1], none))) ^ 0xFFFF;
  if constexpr (bits == 32) {
    const Vec low = narrowed<4>(equal<4>(at[0], none), equal<4>(at[1], none));
    const Vec high = narrowed<4>(equal<4>(at[2], none), equal<4>(at[3], none));
    return top_bits(narrowed<2>(low, high)) ^ 0xFFFF;
  }
}

// Elements of 4 bits and more to sixteen rows of a code vector, from a row that is a multiple of 2.
template <unsigned bits>
COLX_INLINE void put_elements(uint8_t* codes, uint32_t row, const Elements<bits>& elements) {
  static_assert(bits >= 4);
  uint8_t* const to = codes + uint64_t{row} * bits / 8;
  if constexpr (bits == 4) {
    const Vec nibbles = elements.at[0];
    const Vec pairs = either(nibbles, shifted_right<2, 4>(nibbles));
    store_low_half(to, shuffle(pairs, load(colx_shuffle_upper_pack16)));
  } else {
    for (unsigned v = 0; v < unit_bytes<bits>; ++v) store(to + 16 * v, elements.at[v]);
  }
}

// Four of the sixteen elements, of 4 bits and more, in lanes of 4 bytes.
template <unsigned four, unsigned bits>
COLX_INLINE Vec wide_elements(const Elements<bits>& elements) {
  static_assert(bits >= 4 && four < 4);
  if constexpr (bits == 32) return elements.at[four];
  if constexpr (bits == 16)
    return four % 2 == 0 ? widened_low<2>(elements.at[four / 2])
                         : widened_high<2>(elements.at[four / 2]);
  return widened(moved_down<4 * four>(elements.at[0]));
}

}  // namespace colx

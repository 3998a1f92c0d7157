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
inline constexpr unsigned unit_shift = bits < 8 ? (bits == 1 ? 3 : 1) : 0;
template <unsigned bits>
using Unit = Unsigned<unit_bytes<bits>>;

// Where element `index` lies in its byte.
template <unsigned bits>
constexpr unsigned bit_place(uint32_t index) {
  return bits * (index & ((1u << unit_shift<bits>)-1));
}

template <unsigned bits>
COLX_INLINE Unit<bits> unit_at(const uint8_t* table, uint64_t unit) {
  return load_as<Unit<bits>>(table + unit * unit_bytes<bits>);
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

// The even bytes of a vector in its low half, or in its high half: the OR of the two joins vectors.
constexpr Mask even_bytes(unsigned half) {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k)
    mask.bytes[k] = static_cast<uint8_t>(k / 8 == half ? 2 * (k % 8) : 0x80);
  return mask;
}
inline constexpr Mask colx_shuffle_upper_pack16 = even_bytes(0);
inline constexpr Mask colx_shuffle_lower_pack16 = even_bytes(1);
static_assert(begins(colx_shuffle_upper_pack16, {0, 2, 4, 6, 8, 10, 12, 14,  //
                                                 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}));

struct FourKeys {
  uint32_t at[4];
};

// Where four units of storage are: number unit[k] behind base[k].
struct FourUnits {
  const uint8_t* base[4];
  uint64_t unit[4];
};

template <unsigned bits, int lane>
COLX_INLINE Vec with_four_units(Vec v, const FourUnits& four) {
  constexpr unsigned bytes = unit_bytes<bits>;
  v = with_lane<bytes, lane>(v, unit_at<bits>(four.base[0], four.unit[0]));
  v = with_lane<bytes, lane + 1>(v, unit_at<bits>(four.base[1], four.unit[1]));
  v = with_lane<bytes, lane + 2>(v, unit_at<bits>(four.base[2], four.unit[2]));
  return with_lane<bytes, lane + 3>(v, unit_at<bits>(four.base[3], four.unit[3]));
}

// Lanes of the units number `first` on; of bytes, the low half only. The table tells where the
// units of four keys are.
template <unsigned bits, class Table, class Keys>
COLX_INLINE Vec unit_lanes(const Table& table, const Keys& keys, unsigned first) {
  Vec units = with_four_units<bits, 0>(zeros(), table.four_units(keys.four_from(first)));
  COLX_MEET_IN_VECTOR(units);
  if constexpr (unit_bytes<bits> < 4) {
    units = with_four_units<bits, 4>(units, table.four_units(keys.four_from(first + 4)));
    COLX_MEET_IN_VECTOR(units);
  }
  return units;
}

// The elements of sixteen keys. Of elements that share a byte, `low` has the low bits of their
// indexes in bytes.
template <unsigned bits, class Table, class Keys>
COLX_INLINE Elements<bits> gathered(const Table& table, const Keys& keys, Vec low) {
  if constexpr (bits == 32)
    return {unit_lanes<32>(table, keys, 0), unit_lanes<32>(table, keys, 4),
            unit_lanes<32>(table, keys, 8), unit_lanes<32>(table, keys, 12)};
  const Vec first = unit_lanes<bits>(table, keys, 0);
  const Vec second = unit_lanes<bits>(table, keys, 8);
  if constexpr (bits == 16) return {first, second};
  const Vec bytes = alternated_low<8>(first, second);
  if constexpr (bits == 8) return {bytes};
  if constexpr (bits == 1) return {both(bytes, shuffle(load(colx_bit_possible), low))};
  if constexpr (bits == 4) {
    const Vec odd = shifted_left<2, 7>(low);  // in the top bit of each byte
    return {both(chosen(odd, shifted_right<2, 4>(bytes), bytes), splat<1>(marker<4>))};
  }
}

// Bit k says whether element k is none of the marker.
template <unsigned bits>
COLX_INLINE uint32_t unmarked(const Elements<bits>& elements) {
  const Vec(&at)[unit_bytes<bits>] = elements.at;
  const Vec none = splat<unit_bytes<bits>>(marker<bits>);
  if constexpr (bits == 1) return top_bits(equal<1>(at[0], zeros()));
  if constexpr (bits == 4 || bits == 8) return top_bits(equal<1>(at[0], none)) ^ 0xFFFF;
  if constexpr (bits == 16)
    return top_bits(either(shuffle(equal<2>(at[0], none), load(colx_shuffle_upper_pack16)),
                           shuffle(equal<2>(at[1], none), load(colx_shuffle_lower_pack16)))) ^
           0xFFFF;
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
#pragma GCC unroll 4
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

// Packed codes as lanes of a vector, in row order, each code a plain number.
//
// One shuffle brings the bytes of a code into its lane as a big-endian number. A product moves the
// code's first bit to the lane's top, and whatever stood before it out of the lane; a shift to the
// right drops what stands behind the code:
//
//   w = 3, row 2   stream   000111 22|2 333 444 5    byte 0 above byte 1
//                  lane     00011122 23334445
//                  * 1 << 6 22233344 45000000
//                  >> 13    00000000 00000222
//
// Codes of up to 16 bits take lanes of two bytes. Where a code can spread over three, its third
// byte comes by a shuffle of its own, and the high half of the same product says how much of it
// belongs below the other two.
#pragma once

#include "kernels/decode/packed_masks.h"
#include "kernels/frame/vectors.h"

namespace colx {

// Factors for the product of a vector. Of a product by known powers of two Clang makes shifts and
// blends, three to five instructions for one: it is not to know them.
COLX_INLINE Vec opaque_factors(const Mask& mask) {
  Vec factors = load(mask);
#ifdef __clang__
  COLX_MEET_IN_VECTOR(factors);
#endif
  return factors;
}

constexpr unsigned narrowest_lane(unsigned width) {
  return width <= 16 ? 2 : 4;
}

template <unsigned width, unsigned lane_size = narrowest_lane(width)>
struct CodeLanes {
  static constexpr unsigned lane = lane_size;
  static constexpr unsigned rows = 16 / lane;  // of a vector
  static constexpr unsigned group_rows = 2 * rows;
  static constexpr unsigned group_bytes = group_rows * width / 8;
  static constexpr bool whole_bytes = width % 8 == 0;
  static constexpr bool three_bytes = lane == 2 && lane_bytes(width) == 4 && !whole_bytes;
  static constexpr bool one_byte = lane_bytes(width) == 1 && !whole_bytes;

  // Where in a group the load for a vector begins. Both share one if the group's bytes fit it.
  static constexpr unsigned load_at(unsigned vector) {
    return group_bytes <= 16 ? 0 : vector * rows * width / 8;
  }
  static_assert(load_at(1) + 16 <= group_bytes + 16, "what the owner of a stream provides");

  // Byte `byte`, from the low end, of the lane for a code at `place`, as a number of the stream.
  static constexpr unsigned no_byte = 0x80;
  static constexpr unsigned lane_byte(CodePlace place, unsigned byte) {
    if (one_byte) return byte == 1 ? place.first : no_byte;  // to the top at once
    const unsigned last = three_bytes && place.last > place.first ? place.first + 1 : place.last;
    return byte <= last - place.first ? last - byte : no_byte;
  }
  static constexpr unsigned third_byte(CodePlace place, unsigned byte) {
    return byte == 1 && place.last - place.first == 2 ? place.last : no_byte;
  }

  template <class ByteRule>
  static constexpr Mask shuffle_of(unsigned vector, ByteRule byte_of) {
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k) {
      const unsigned byte = byte_of(code_place(width, vector * rows + k / lane), k % lane);
      mask.bytes[k] = static_cast<uint8_t>(byte == no_byte ? byte : byte - load_at(vector));
    }
    return mask;
  }
  template <unsigned vector>
  static constexpr Mask shuffle_mask = shuffle_of(vector, lane_byte);
  template <unsigned vector>
  static constexpr Mask third_shuffle_mask = shuffle_of(vector, third_byte);

  // Codes of three bytes have their first at the lane's top from the beginning.
  template <unsigned vector>
  static constexpr Mask factor_mask = [] {
    if (!three_bytes) return colx_unpack_mul_masks[width].half[vector];
    Mask mask{};
    for (unsigned k = 0; k < 16; k += 2)
      mask.bytes[k] = static_cast<uint8_t>(1 << (vector * rows + k / 2) * width % 8);
    return mask;
  }();

  // From lanes with a code's first bit at the top.
  COLX_INLINE static Vec moved_down(Vec lanes) {
    return shifted_right<lane, 8 * lane - width>(lanes);
  }

  // Vector 0 or 1 of the group whose first byte is at `group`.
  template <unsigned vector>
  COLX_INLINE static Vec at(const uint8_t* group) {
    const Vec bytes = load(group + load_at(vector));
    const Vec lanes = shuffle(bytes, load(shuffle_mask<vector>));
    if constexpr (whole_bytes) {
      return lanes;
    } else if constexpr (!three_bytes) {
      return moved_down(product<lane>(lanes, opaque_factors(factor_mask<vector>)));
    } else {
      const Vec factors = opaque_factors(factor_mask<vector>);
      const Vec third = product_high(shuffle(bytes, load(third_shuffle_mask<vector>)), factors);
      return moved_down(either(product<2>(lanes, factors), third));
    }
  }
};

// Codes of 3, 5, 6 and 7 bits as bytes, 16 rows to a vector. Lanes of two bytes have two codes
// each: a product's high half moves the first down to the low byte, another product moves the
// second up to the high one, and what else there is of the stream is cut off at last. Up to 6 bits
// a lane has both codes from one shuffle.
//
//   w = 6, rows 2 and 3   stream  0000 0011 | 1111 2222 | 2233 3333    lane  11112222 22333333
//                         low byte 11222222 from the high half of the lane times 1 << 10
//                         high byte 22333333 from the lane times 1 << 8
template <unsigned width>
struct CodePairs {
  static constexpr bool fit = width < 8 && lane_bytes(width) == 2;
  static constexpr bool share_lane = lane_bytes(2 * width) == 2;

  // Where lane `lane` has its first or second code.
  static constexpr CodePlace place(unsigned lane, bool second) {
    if (!share_lane) return code_place(width, 2 * lane + second);
    CodePlace place = code_place(2 * width, lane);
    if (!second) place.spare += width;
    return place;
  }

  template <bool second>
  static constexpr Mask shuffle_mask = [] {
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k) {
      const CodePlace codes = place(k / 2, second);
      const bool there = k % 2 <= codes.last - codes.first;
      mask.bytes[k] = static_cast<uint8_t>(there ? codes.last - k % 2 : 0x80);
    }
    return mask;
  }();

  template <bool second>
  static constexpr Mask factor_mask = [] {
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k) {
      const unsigned factor = 1u << ((second ? 8 : 16) - place(k / 2, second).spare);
      mask.bytes[k] = static_cast<uint8_t>(factor >> 8 * (k % 2));
    }
    return mask;
  }();

  // Bytes for the 16 rows whose first byte is at `group`.
  COLX_INLINE static Vec at(const uint8_t* group) {
    const Vec bytes = load(group);
    const Vec firsts = shuffle(bytes, load(shuffle_mask<false>));
    const Vec seconds = share_lane ? firsts : shuffle(bytes, load(shuffle_mask<true>));
    const Vec low = product_high(firsts, opaque_factors(factor_mask<false>));
    const Vec high = product<2>(seconds, opaque_factors(factor_mask<true>));
    return both(chosen(splat<2>(0xFF00), high, low), splat<1>((1 << width) - 1));
  }
};
static_assert(CodePairs<3>::fit && CodePairs<5>::fit && CodePairs<6>::fit && CodePairs<7>::fit);
static_assert(CodePairs<6>::share_lane && !CodePairs<7>::share_lane);
static_assert(begins(CodePairs<3>::shuffle_mask<false>,
                     std::to_array(colx_shuffle_masks[6].half[0].bytes)));

static_assert(begins(CodeLanes<3>::shuffle_mask<0>,
                     std::to_array(colx_shuffle_masks[3].half[0].bytes)));
static_assert(begins(CodeLanes<19>::shuffle_mask<1>, std::to_array(colx_shuffle4_masks_19.bytes)));
static_assert(begins(CodeLanes<24>::shuffle_mask<0>, {2, 1, 0, 0x80, 5, 4, 3, 0x80,  //
                                                      8, 7, 6, 0x80, 11, 10, 9, 0x80}));

}  // namespace colx

// Packed codes: a big-endian bit stream without gaps. Code r of width w takes the stream bits from
// r * w on, bit 0 being the top bit of byte 0; a code's first bit is its most significant.
//
//   w = 3   byte 0         byte 1         byte 2
//           000111 22|2 333 444 5|55 666 777     row 2 straddles bytes 0 and 1
//
// A vector step brings codes into lanes with one byte shuffle. A lane receives the stream bytes
// that hold its code as a big-endian number; the code then stands `spare` bits above the lane's
// lowest bit, and one AND leaves nothing else. The tables below say so for each width, two entries
// of 16 bytes for consecutive rows.
#pragma once

#include <array>

#include "kernels/frame/vectors.h"

namespace colx {

// Lane that holds a code wherever its first bit falls in a byte.
constexpr unsigned lane_bytes(unsigned width) {
  switch (width) {
    case 1:
    case 2:
    case 4:
    case 8:
      return 1;
    case 3:
    case 5:
    case 6:
    case 7:
    case 9:
    case 10:
    case 12:
      return 2;
    default:
      return 4;
  }
}

struct CodePlace {
  unsigned first;  // stream bytes of the code, both included
  unsigned last;
  unsigned spare;  // unused low bits of the last byte
};

constexpr CodePlace code_place(unsigned width, unsigned row) {
  const unsigned bit = row * width;
  return {bit / 8, (bit + width - 1) / 8, -(bit + width) & 7};
}

// The two entries of a width: vectors of lanes for consecutive rows.
struct MaskPair {
  Mask half[2];
};

struct MaskTable {
  MaskPair widths[24];  // by width - 1
  constexpr const MaskPair& operator[](unsigned width) const { return widths[width - 1]; }
};

// byte_of(width, place, byte) gives byte `byte`, counted from the low end, of a code's lane.
template <class ByteRule>
constexpr MaskTable mask_table(ByteRule byte_of) {
  MaskTable table{};
  for (unsigned width = 1; width <= 24; ++width) {
    const unsigned lane = lane_bytes(width);
    for (unsigned k = 0; k < 32; ++k)
      table.widths[width - 1].half[k / 16].bytes[k % 16] =
          static_cast<uint8_t>(byte_of(width, code_place(width, k / lane), k % lane));
  }
  return table;
}

// A lane's bytes from low to high are the code's stream bytes from last to first, then zeros.
inline constexpr MaskTable colx_shuffle_masks =
    mask_table([](unsigned, CodePlace place, unsigned byte) {
      return byte <= place.last - place.first ? place.last - byte : 0x80;
    });

// The code's bits in its lane.
inline constexpr MaskTable colx_and_masks =
    mask_table([](unsigned width, CodePlace place, unsigned byte) {
      return ((uint64_t{1} << width) - 1) << place.spare >> (8 * byte) & 0xFF;
    });

// How far above the lane's lowest bit the code stands.
inline constexpr MaskTable colx_shift_masks = mask_table(
    [](unsigned, CodePlace place, unsigned byte) { return byte == 0 ? place.spare : 0; });

// The power of two that moves a code's first bit to the top of its lane, and what is before it out
// of the lane; a shift right then leaves the code alone. Codes of lanes of one byte are multiplied
// in lanes of two, having been shuffled into their high bytes: 8 lanes, twice.
inline constexpr MaskTable colx_unpack_mul_masks = [] {
  MaskTable table{};
  for (unsigned width = 1; width <= 24; ++width) {
    const bool widened = lane_bytes(width) == 1;
    const unsigned lane = widened ? 2 : lane_bytes(width);
    for (unsigned k = 0; k < 32; ++k) {
      const unsigned row = (widened ? k % 16 : k) / lane;
      const CodePlace place = code_place(width, row);
      const unsigned above = widened ? 0 : lane - (place.last - place.first + 1);  // bytes
      const uint64_t factor = uint64_t{1} << (8 * above + row * width % 8);
      table.widths[width - 1].half[k / 16].bytes[k % 16] =
          static_cast<uint8_t>(factor >> 8 * (k % lane));
    }
  }
  return table;
}();

// A shuffle for data that was loaded `distance` bytes behind the place it counts from.
constexpr Mask rebased(Mask mask, unsigned distance) {
  for (uint8_t& byte : mask.bytes)
    if (byte < 0x80) byte = static_cast<uint8_t>(byte - distance);
  return mask;
}

// Second entry of width 19 with its bytes counted from the first byte of row 4, where a load for
// the rows 4 to 7 begins. Loads of all other widths begin where an entry's count does.
inline constexpr Mask colx_shuffle4_masks_19 =
    rebased(colx_shuffle_masks[19].half[1], code_place(19, 4).first);

static_assert(begins(colx_shuffle_masks[3].half[0], {0, 0x80, 0, 0x80, 1, 0, 1, 0x80,  //
                                                     1, 0x80, 2, 1, 2, 0x80, 2, 0x80}));
static_assert(begins(colx_and_masks[3].half[0], {0xE0, 0, 0x1C, 0, 0x80, 0x03, 0x70, 0,  //
                                                 0x0E, 0, 0xC0, 0x01, 0x38, 0, 0x07, 0}));
static_assert(begins(colx_shift_masks[3].half[0], {5, 0, 2, 0, 7, 0, 4, 0,  //
                                                   1, 0, 6, 0, 3, 0, 0, 0}));
static_assert(begins(colx_shuffle_masks[11].half[0], {1, 0, 0x80, 0x80, 2, 1, 0x80, 0x80,  //
                                                      4, 3, 2, 0x80, 5, 4, 0x80, 0x80}));
static_assert(begins(colx_and_masks[11].half[0], {0xE0, 0xFF, 0, 0, 0xFC, 0x1F, 0, 0,  //
                                                  0x80, 0xFF, 0x03, 0, 0xF0, 0x7F, 0, 0}));
static_assert(begins(colx_unpack_mul_masks[1].half[0], {1, 0, 2, 0, 4, 0, 8, 0,  //
                                                        16, 0, 32, 0, 64, 0, 128, 0}));
static_assert(begins(colx_unpack_mul_masks[3].half[0], {0, 1, 0, 8, 0x40, 0, 0, 2,  //
                                                        0, 0x10, 0x80, 0, 0, 4, 0, 0x20}));
static_assert(begins(colx_unpack_mul_masks[11].half[0], {0, 0, 1, 0, 0, 0, 8, 0,  //
                                                         0, 0x40, 0, 0, 0, 0, 2, 0}));
static_assert(begins(colx_shuffle4_masks_19, {2, 1, 0, 0x80, 5, 4, 3, 2,  //
                                              7, 6, 5, 0x80, 9, 8, 7, 0x80}));

}  // namespace colx

// Packed codes as lanes of a vector, in row order, each code a plain number.
//
// One shuffle brings the bytes of a code into its lane as a big-endian number. A product moves the
// code's first bit to the lane's top, and whatever else its first byte held out of the lane; a
// shift to the right drops what its last byte held behind the code:
//
//   w = 3, row 2   stream   000111 22|2 333 444 5    byte 0 as high byte, byte 1 as low byte
//                  lane     00011122 23334445
//                  * 1 << 6 22233344 45000000
//                  >> 13    00000000 00000222
//
// A group is the rows of two vectors and begins at a byte of the stream: rows that are a multiple
// of 8.
#pragma once

#include "kernels/decode/packed_masks.h"
#include "kernels/frame/vectors.h"

namespace colx {

template <unsigned width>
struct CodeLanes {
  // Single bytes are spread to lanes of two, for products; aligned codes are lanes as they are.
  static constexpr unsigned lane = width == 16   ? 2
                                   : width == 32 ? 4
                                                 : (lane_bytes(width) == 1 ? 2 : lane_bytes(width));
  static constexpr unsigned rows = 16 / lane;  // of a vector
  static constexpr unsigned group_rows = 2 * rows;
  static constexpr unsigned group_bytes = group_rows * width / 8;
  static constexpr bool aligned = width == 8 || width == 16 || width == 24 || width == 32;

  // Both vectors of a group share a load if its bytes fit one.
  static constexpr unsigned load_at(unsigned vector) {
    return group_bytes <= 16 ? 0 : vector * rows * width / 8;
  }
  static_assert(load_at(1) + 16 <= (8 * width + 7) / 8 + 16);

  // Stream bytes of a vector's lanes, counted from its load.
  template <unsigned vector>
  static constexpr Mask shuffle_mask = [] {
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k) {
      const CodePlace place = code_place(width, vector * rows + k / lane);
      const unsigned byte = k % lane;
      const bool within = byte <= place.last - place.first;
      mask.bytes[k] = static_cast<uint8_t>(within ? place.last - byte - load_at(vector) : 0x80);
      if (lane_bytes(width) == 1 && width != 8)  // the high byte of the lane, not the low one
        mask.bytes[k] = static_cast<uint8_t>(byte == 1 ? place.first - load_at(vector) : 0x80);
    }
    return mask;
  }();

  // Vector 0 or 1 of the group whose first byte is at `group`.
  template <unsigned vector>
  COLX_INLINE static Vec at(const uint8_t* group) {
    const Vec bytes = shuffle(load(group + load_at(vector)), load(shuffle_mask<vector>));
    if constexpr (aligned) return bytes;
    const Vec moved = product<lane>(bytes, load(colx_unpack_mul_masks[width].half[vector]));
    return shifted_right<lane, 8 * lane - width>(moved);
  }
};

}  // namespace colx

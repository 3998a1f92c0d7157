// Packed codes by their row numbers, four at a time.
//
// Each code's four bytes go into a lane of its own, as a big-endian number. A product moves the
// code's first bit to the lane's top, and a shift drops what stands behind the code; where the code
// begins in its first byte repeats every eight rows. Codes of 8 and 16 bits are read alone.
#pragma once

#include "kernels/decode/packed_code.h"
#include "kernels/frame/vectors.h"

namespace colx {

template <unsigned width>
struct ListedCodes {
  static constexpr bool whole_bytes = width % 8 == 0;
  static constexpr unsigned read_bytes = width == 8 ? 1 : width == 16 ? 2 : 4;
  using Read = Unsigned<read_bytes>;

  // Stream bytes of a lane to a number, and at whole bytes to the code.
  static constexpr Mask number_mask = [] {
    constexpr unsigned bytes = whole_bytes ? width / 8 : 4;
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k)
      mask.bytes[k] = static_cast<uint8_t>(k % 4 < bytes ? k / 4 * 4 + bytes - 1 - k % 4 : 0x80);
    return mask;
  }();

  // By the row modulo 8.
  static constexpr Mask factors = [] {
    Mask mask{};
    for (unsigned row = 0; row < 8; ++row)
      mask.bytes[row] = static_cast<uint8_t>(1 << row * width % 8);
    return mask;
  }();

  COLX_INLINE static Read read(const uint8_t* stream, uint32_t row) {
    return load_as<Read>(stream + (uint64_t{row} * width >> 3));
  }

  // The codes of rows[0] to rows[3], in lanes of 4 bytes. Reads what code_at reads.
  COLX_INLINE static Vec four(const uint8_t* stream, const uint32_t* rows) {
    constexpr int lane = 4 / read_bytes;
    Vec bytes = in_low_lane(read(stream, rows[0]));
    bytes = with_lane<read_bytes, lane>(bytes, read(stream, rows[1]));
    bytes = with_lane<read_bytes, 2 * lane>(bytes, read(stream, rows[2]));
    bytes = with_lane<read_bytes, 3 * lane>(bytes, read(stream, rows[3]));
    const Vec numbers = shuffle(bytes, load(number_mask));
    if constexpr (whole_bytes) return numbers;
    const Vec rows_of_8 = either(both(load(rows), splat<4>(7)), splat<4>(0x80808000));
    const Vec factor = shuffle(load(factors), rows_of_8);
    return shifted_right<4, 32 - width % 32>(product<4>(numbers, factor));
  }
};
static_assert(begins(ListedCodes<24>::number_mask, {2, 1, 0, 0x80, 6, 5, 4, 0x80,  //
                                                    10, 9, 8, 0x80, 14, 13, 12, 0x80}));
static_assert(begins(ListedCodes<3>::factors, {1, 8, 64, 2, 16, 128, 4, 32}));

}  // namespace colx

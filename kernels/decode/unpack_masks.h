// Shuffles that move the selected lanes of a vector to its front, in order, indexed by a selection
// bit a lane, bit 0 the first lane.
#pragma once

#include <array>

#include "kernels/decode/unpack_lanes.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

// Of every selected lane its low `kept` bytes; then 0x80, which shuffles to 0.
template <unsigned lane, unsigned kept>
struct SelectionMasks {
  static constexpr unsigned lanes = 16 / lane;

  alignas(16) std::array<uint8_t, lanes * kept> masks[1 << lanes];

  constexpr SelectionMasks() : masks{} {
    for (unsigned selected = 0; selected < 1u << lanes; ++selected) {
      unsigned at = 0;
      for (unsigned k = 0; k < lanes; ++k)
        for (unsigned byte = 0; byte < kept && selected >> k & 1; ++byte)
          masks[selected][at++] = static_cast<uint8_t>(k * lane + byte);
      while (at < lanes * kept) masks[selected][at++] = 0x80;
    }
  }
};

inline constexpr SelectionMasks<4, 4> colx_unpack_sel4x32_masks;
inline constexpr SelectionMasks<2, 2> colx_unpack_sel8x16_masks;
inline constexpr SelectionMasks<2, 1> colx_unpack_sel8x16_low_masks;

static_assert(colx_unpack_sel4x32_masks.masks[0] ==
              std::array<uint8_t, 16>{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,  //
                                      0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80});
static_assert(colx_unpack_sel4x32_masks.masks[5] ==
              std::array<uint8_t, 16>{0, 1, 2, 3, 8, 9, 10, 11,  //
                                      0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80});
static_assert(colx_unpack_sel4x32_masks.masks[15] ==
              std::array<uint8_t, 16>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
static_assert(colx_unpack_sel8x16_low_masks.masks[0xFF] ==
              std::array<uint8_t, 8>{0, 2, 4, 6, 8, 10, 12, 14});

// Codes of 17 bits and more: four rows are unpacked and selected by one shuffle. Its masks and the
// factors of the lanes that it makes are those of CodeLanes, selected while compiling.
struct WideSelection {
  Mask shuffles[16];
  Mask factors[16];

  // By the byte where an entry begins.
  COLX_INLINE Vec shuffle_at(size_t byte) const { return load_aligned(bytes_at(shuffles, byte)); }
  COLX_INLINE Vec factors_at(size_t byte) const { return load_aligned(bytes_at(factors, byte)); }
};

template <unsigned width, unsigned vector>
inline constexpr WideSelection wide_selection = [] {
  using Lanes = CodeLanes<width>;
  WideSelection table{};
  for (unsigned selected = 0; selected < 16; ++selected)
    for (unsigned k = 0; k < 16; ++k) {
      const unsigned from = colx_unpack_sel4x32_masks.masks[selected][k];
      if (from == 0x80) {
        table.shuffles[selected].bytes[k] = 0x80;
        continue;
      }
      table.shuffles[selected].bytes[k] = Lanes::template shuffle_mask<vector>.bytes[from];
      if constexpr (!Lanes::whole_bytes)
        table.factors[selected].bytes[k] = Lanes::template factor_mask<vector>.bytes[from];
    }
  return table;
}();

}  // namespace colx

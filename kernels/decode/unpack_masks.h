// Shuffles that move the selected lanes of a vector to its front, in order, indexed by a selection
// bit a lane, bit 0 the first lane.
#pragma once

#include <array>

#include "kernels/decode/packed_masks.h"
#include "kernels/frame/vectors.h"

namespace colx {

// Entry k of the result is the k-th selected lane; its bytes from byte 0 of the lane on.
template <unsigned lane, unsigned kept_bytes, unsigned mask_bytes>
constexpr std::array<uint8_t, mask_bytes> selection_shuffle(unsigned selected) {
  std::array<uint8_t, mask_bytes> shuffle{};
  unsigned at = 0;
  for (unsigned k = 0; k < 16 / lane; ++k)
    if (selected >> k & 1)
      for (unsigned byte = 0; byte < kept_bytes; ++byte)
        shuffle[at++] = static_cast<uint8_t>(k * lane + byte);
  while (at < mask_bytes) shuffle[at++] = 0x80;
  return shuffle;
}

template <unsigned lane, unsigned kept_bytes>
struct SelectionShuffles {
  static constexpr unsigned lanes = 16 / lane;
  static constexpr unsigned mask_bytes = lanes * kept_bytes;

  alignas(16) std::array<uint8_t, mask_bytes> entries[1 << lanes];

  constexpr const uint8_t* operator[](unsigned selected) const { return entries[selected].data(); }
};

template <unsigned lane, unsigned kept_bytes>
constexpr SelectionShuffles<lane, kept_bytes> selection_shuffles() {
  SelectionShuffles<lane, kept_bytes> table{};
  for (unsigned selected = 0; selected < 1u << table.lanes; ++selected)
    table.entries[selected] = selection_shuffle<lane, kept_bytes, table.mask_bytes>(selected);
  return table;
}

// Four lanes of 4 bytes; eight lanes of 2 bytes, and of these the low bytes alone.
inline constexpr auto colx_unpack_sel4x32_masks = selection_shuffles<4, 4>();
inline constexpr auto selected_of_8x16 = selection_shuffles<2, 2>();
inline constexpr auto selected_low_bytes_of_8x16 = selection_shuffles<2, 1>();

static_assert(colx_unpack_sel4x32_masks.entries[0][0] == 0x80 &&
              colx_unpack_sel4x32_masks.entries[0][15] == 0x80);
static_assert(colx_unpack_sel4x32_masks.entries[5] ==
              std::array<uint8_t, 16>{0, 1, 2, 3, 8, 9, 10, 11,  //
                                      0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80});
static_assert(colx_unpack_sel4x32_masks.entries[15] ==
              std::array<uint8_t, 16>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
static_assert(selected_low_bytes_of_8x16.entries[0xFF] ==
              std::array<uint8_t, 8>{0, 2, 4, 6, 8, 10, 12, 14});

}  // namespace colx

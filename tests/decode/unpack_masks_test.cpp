// The shuffles that move selected lanes to the front, whole, against their rule.
#include "kernels/decode/unpack_masks.h"

#include <gtest/gtest.h>

#include <iterator>
#include <vector>

namespace colx::test {
namespace {

// Entry `selected` moves the lanes whose bits are set, `kept` bytes of each, in order; 0x80
// follows.
template <class Table>
void expect_rule(const Table& table, unsigned lane_bytes, unsigned kept) {
  const unsigned lanes = 16 / lane_bytes;
  for (unsigned selected = 0; selected < 1u << lanes; ++selected) {
    std::vector<unsigned> expected;
    for (unsigned lane = 0; lane < lanes; ++lane) {
      if ((selected >> lane & 1) == 0) continue;
      for (unsigned b = 0; b < kept; ++b) expected.push_back(lane * lane_bytes + b);
    }
    expected.resize(lanes * kept, 0x80);
    const auto& mask = table.masks[selected];
    EXPECT_EQ(std::vector<unsigned>(std::begin(mask), std::end(mask)), expected) << selected;
  }
}

TEST(UnpackMasks, FourLanesOf32BitsAreCompressedWhole) {
  expect_rule(colx_unpack_sel4x32_masks, 4, 4);
}

TEST(UnpackMasks, EightLanesOf16BitsAreCompressedWholeOrToTheirLowBytes) {
  expect_rule(colx_unpack_sel8x16_masks, 2, 2);
  expect_rule(colx_unpack_sel8x16_low_masks, 2, 1);
}

TEST(UnpackMasks, EntryZeroOfFourLanesIsAll0x80) {
  for (const uint8_t byte : colx_unpack_sel4x32_masks.masks[0]) EXPECT_EQ(byte, 0x80);
}

TEST(UnpackMasks, EntryFiveTakesTheFirstAndTheThirdLane) {
  const uint8_t expected[] = {0x00, 0x01, 0x02, 0x03, 0x08, 0x09, 0x0A, 0x0B,
                              0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
  for (unsigned b = 0; b < 16; ++b) {
    EXPECT_EQ(colx_unpack_sel4x32_masks.masks[5][b], expected[b]);
  }
}

TEST(UnpackMasks, EntryFifteenIsTheIdentity) {
  for (unsigned b = 0; b < 16; ++b) EXPECT_EQ(colx_unpack_sel4x32_masks.masks[15][b], b);
}

}  // namespace
}  // namespace colx::test

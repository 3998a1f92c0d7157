// The mask tables of packed codes, whole, against their rule worked out bit by bit.
#include "kernels/decode/packed_masks.h"

#include <gtest/gtest.h>

namespace colx::test {
namespace {

// Lane bytes by code width, from 1 on.
constexpr unsigned lanes[24] = {1, 1, 2, 1, 2, 2, 2, 1, 2, 2, 4, 2,
                                4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4};

uint64_t lane_number(const Mask& mask, unsigned lane_bytes, unsigned lane) {
  uint64_t number = 0;
  for (unsigned b = lane_bytes; b-- > 0;) number = number << 8 | mask.bytes[lane * lane_bytes + b];
  return number;
}

// Calls body(width, entry, lane, row) for every lane of every entry.
template <class Body>
void for_each_lane(Body body) {
  for (unsigned width = 1; width <= 24; ++width) {
    const unsigned per_entry = 16 / lanes[width - 1];
    for (unsigned row = 0; row < 2 * per_entry; ++row) {
      body(width, row / per_entry, row % per_entry, row);
    }
  }
}

TEST(PackedMasks, ShuffleBringsTheCodesBytesFromLastToFirstAndThenZeros) {
  for_each_lane([](unsigned width, unsigned entry, unsigned lane, unsigned row) {
    const unsigned bytes = lanes[width - 1];
    const unsigned first = row * width / 8;
    const unsigned last = (row * width + width - 1) / 8;
    for (unsigned b = 0; b < bytes; ++b) {
      const unsigned is = colx_shuffle_masks[width].half[entry].bytes[lane * bytes + b];
      ASSERT_EQ(is, b <= last - first ? last - b : 0x80u) << width << " row " << row;
    }
  });
}

TEST(PackedMasks, AndLeavesTheCodesBitsAlone) {
  for_each_lane([](unsigned width, unsigned entry, unsigned lane, unsigned row) {
    // Walk the code's stream bits and note where each lies in the big-endian number of its bytes.
    const unsigned last = (row * width + width - 1) / 8;
    uint64_t expected = 0;
    for (unsigned bit = row * width; bit < (row + 1) * width; ++bit) {
      expected |= uint64_t{1} << (8 * (last - bit / 8) + 7 - bit % 8);
    }
    ASSERT_EQ(lane_number(colx_and_masks[width].half[entry], lanes[width - 1], lane), expected)
        << width << " row " << row;
  });
}

TEST(PackedMasks, ShiftIsTheNumberOfUnusedBitsBelowTheCode) {
  for_each_lane([](unsigned width, unsigned entry, unsigned lane, unsigned row) {
    const uint64_t spare = (8 - (row + 1) * width % 8) % 8;
    ASSERT_EQ(lane_number(colx_shift_masks[width].half[entry], lanes[width - 1], lane), spare)
        << width << " row " << row;
  });
}

TEST(PackedMasks, FirstEntryOf3Bits) {
  const uint8_t shuffle[] = {0x00, 0x80, 0x00, 0x80, 0x01, 0x00, 0x01, 0x80,
                             0x01, 0x80, 0x02, 0x01, 0x02, 0x80, 0x02, 0x80};
  const uint16_t masks[] = {0x00E0, 0x001C, 0x0380, 0x0070, 0x000E, 0x01C0, 0x0038, 0x0007};
  const uint16_t shifts[] = {5, 2, 7, 4, 1, 6, 3, 0};
  for (unsigned b = 0; b < 16; ++b) EXPECT_EQ(colx_shuffle_masks[3].half[0].bytes[b], shuffle[b]);
  for (unsigned lane = 0; lane < 8; ++lane) {
    EXPECT_EQ(lane_number(colx_and_masks[3].half[0], 2, lane), masks[lane]);
    EXPECT_EQ(lane_number(colx_shift_masks[3].half[0], 2, lane), shifts[lane]);
  }
}

TEST(PackedMasks, FirstEntryOf11Bits) {
  const uint8_t shuffle[] = {0x01, 0x00, 0x80, 0x80, 0x02, 0x01, 0x80, 0x80,
                             0x04, 0x03, 0x02, 0x80, 0x05, 0x04, 0x80, 0x80};
  const uint32_t masks[] = {0xFFE0, 0x1FFC, 0x3FF80, 0x7FF0};
  for (unsigned b = 0; b < 16; ++b) EXPECT_EQ(colx_shuffle_masks[11].half[0].bytes[b], shuffle[b]);
  for (unsigned lane = 0; lane < 4; ++lane) {
    EXPECT_EQ(lane_number(colx_and_masks[11].half[0], 4, lane), masks[lane]);
  }
}

TEST(PackedMasks, SecondEntryOf19BitsCountedFromRow4) {
  const uint8_t shuffle[] = {0x02, 0x01, 0x00, 0x80, 0x05, 0x04, 0x03, 0x02,
                             0x07, 0x06, 0x05, 0x80, 0x09, 0x08, 0x07, 0x80};
  for (unsigned b = 0; b < 16; ++b) EXPECT_EQ(colx_shuffle4_masks_19.bytes[b], shuffle[b]);
}

}  // namespace
}  // namespace colx::test

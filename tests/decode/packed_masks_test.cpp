// The mask tables of packed codes, whole, against their rule worked out bit by bit.
#include "kernels/decode/packed_masks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/oracle/packed_codes_oracle.h"

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

// Widths whose codes are moved by a multiplication, and the bits of its lanes.
constexpr unsigned multiplied_widths[] = {1,  2,  3,  4,  5,  6,  7,  9,  10,
                                          11, 12, 13, 14, 15, 17, 18, 19, 20};

unsigned multiplied_lane_bytes(unsigned width) {
  return std::max(lanes[width - 1], 2u);
}

TEST(PackedMasks, MultiplyMovesTheFirstBitOfACodeToTheTopOfItsLane) {
  for (const unsigned width : multiplied_widths) {
    if (lanes[width - 1] == 1) continue;
    const unsigned bytes = lanes[width - 1];
    for (unsigned row = 0; row < 32 / bytes; ++row) {
      const unsigned code_bytes = (row * width + width - 1) / 8 - row * width / 8 + 1;
      const uint64_t factor = uint64_t{1} << (8 * bytes - 8 * code_bytes + row * width % 8);
      const Mask& mask = colx_unpack_mul_masks[width].half[row * bytes / 16];
      ASSERT_EQ(lane_number(mask, bytes, row % (16 / bytes)), factor) << width << " row " << row;
    }
  }
}

// Codes of one-byte lanes are widened first; an entry holds its eight lanes twice.
TEST(PackedMasks, MultiplyOfOneByteLanesMovesACodeWithinItsByte) {
  for (const unsigned width : {1u, 2u, 4u}) {
    for (unsigned row = 0; row < 8; ++row) {
      const uint64_t factor = uint64_t{1} << row * width % 8;
      for (const Mask& mask : colx_unpack_mul_masks[width].half) {
        ASSERT_EQ(lane_number(mask, 2, row), factor) << width << " row " << row;
      }
    }
  }
}

TEST(PackedMasks, FirstMultiplyEntryOf3Bits) {
  const uint16_t factors[] = {0x0100, 0x0800, 0x0040, 0x0200, 0x1000, 0x0080, 0x0400, 0x2000};
  for (unsigned lane = 0; lane < 8; ++lane) {
    EXPECT_EQ(lane_number(colx_unpack_mul_masks[3].half[0], 2, lane), factors[lane]);
  }
}

TEST(PackedMasks, FirstMultiplyEntryOf11Bits) {
  const uint32_t factors[] = {0x10000, 0x80000, 0x4000, 0x20000};
  for (unsigned lane = 0; lane < 4; ++lane) {
    EXPECT_EQ(lane_number(colx_unpack_mul_masks[11].half[0], 4, lane), factors[lane]);
  }
}

TEST(PackedMasks, EntriesOf1Bit) {
  for (unsigned lane = 0; lane < 8; ++lane) {
    EXPECT_EQ(colx_shuffle_masks[1].half[0].bytes[lane], 0u);
    EXPECT_EQ(colx_shuffle_masks[1].half[0].bytes[8 + lane], 1u);
    EXPECT_EQ(colx_and_masks[1].half[0].bytes[lane], 0x80 >> lane);
    EXPECT_EQ(lane_number(colx_unpack_mul_masks[1].half[0], 2, lane), uint64_t{1} << lane);
  }
}

// Shuffle, AND, multiply and a shift by what the lane has above the code: all four tables at work
// on a stream whose codes are known.
TEST(PackedMasks, ShuffleAndMultiplyShiftGiveTheCode) {
  for (const unsigned width : multiplied_widths) {
    const unsigned bytes = multiplied_lane_bytes(width);
    const unsigned shuffled = lanes[width - 1];
    std::vector<uint8_t> stream(96);
    for (size_t i = 0; i < stream.size(); ++i) stream[i] = static_cast<uint8_t>(i * 167 + 59);
    for (unsigned row = 0; row < 32 / shuffled; ++row) {
      const unsigned entry = row * shuffled / 16;
      const unsigned lane = row % (16 / shuffled);
      uint64_t number = 0;
      for (unsigned b = shuffled; b-- > 0;) {
        const uint8_t from = colx_shuffle_masks[width].half[entry].bytes[lane * shuffled + b];
        number = number << 8 | (from < 0x80 ? stream[from] : 0);
      }
      number &= lane_number(colx_and_masks[width].half[entry], shuffled, lane);
      number *= lane_number(colx_unpack_mul_masks[width].half[shuffled == 1 ? 0 : entry], bytes,
                            shuffled == 1 ? row % 8 : lane);
      number &= ~uint64_t{0} >> (64 - 8 * bytes);
      const unsigned above = 8 * shuffled - width;
      const uint64_t code = shuffled == 1 ? (number & 0xFF) >> above : number >> above;
      ASSERT_EQ(code, oracle::packed_code(stream, width, row)) << width << " row " << row;
    }
  }
}

}  // namespace
}  // namespace colx::test

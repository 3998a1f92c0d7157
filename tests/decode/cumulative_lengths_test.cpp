// colx_build_cla_1_ub1 and _ub2: cumulative arrays of lengths.
#include <gtest/gtest.h>

#include <cstring>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/run_length_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/assertion_text.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

struct Builder {
  const char* name;
  colx_build_cla_call* build;
  unsigned length_bytes;
  unsigned assertion_line;
};

constexpr Builder builders[] = {{"colx_build_cla_1_ub1", colx_build_cla_1_ub1, 1, 1558},
                                {"colx_build_cla_1_ub2", colx_build_cla_1_ub2, 2, 1580}};

GuardedPages& lengths_pages() {
  static GuardedPages pages;
  return pages;
}

void expect_right(const Builder& builder, std::span<const uint32_t> lengths) {
  static GuardedOutput output;
  const Bytes stored = oracle::big_endian_array(lengths, builder.length_bytes);
  const Bytes expected = oracle::cumulative_array(lengths);
  const auto count = static_cast<uint32_t>(lengths.size());
  for (const Place place : {Place::end, Place::begin, Place::middle}) {
    const Edge edge = place == Place::begin ? Edge::begin : Edge::end;
    const uint8_t* const at = lengths_pages().place(stored, 0, edge);
    uint8_t* const out = output.bytes(expected.size(), place, 4);
    // Room to spare is no concern of the builder.
    for (const uint32_t room : {count + 1, count + 7, 0xFFFFFFFFu}) {
      EXPECT_EQ(builder.build(out, room, at, count), count + 1) << builder.name;
      EXPECT_EQ(Bytes(out, out + expected.size()), expected) << builder.name << ", " << count;
      EXPECT_EQ(output.damage(), "") << builder.name << ", " << count;
    }
    EXPECT_TRUE(stored.empty() || std::memcmp(at, stored.data(), stored.size()) == 0);
  }
}

TEST(CumulativeLengths, NoLengthsGiveOneEntryOfZero) {
  for (const Builder& builder : builders) {
    static GuardedPages nowhere;
    static GuardedOutput output;
    uint8_t* const out = output.bytes(4, Place::end);
    EXPECT_EQ(builder.build(out, 1, nowhere.unreadable(), 0), 1u) << builder.name;
    EXPECT_EQ(Bytes(out, out + 4), (Bytes{0, 0, 0, 0})) << builder.name;
  }
}

TEST(CumulativeLengths, TheLengthBytes0100Are256) {
  const uint8_t lengths[] = {0x01, 0x00};
  uint8_t out[8];
  EXPECT_EQ(colx_build_cla_1_ub2(out, 2, lengths, 1), 2u);
  EXPECT_EQ(Bytes(out, out + 8), (Bytes{0, 0, 0, 0, 0, 0, 1, 0}));
}

TEST(CumulativeLengths, BytesAreSummedBigEndian) {
  const uint8_t lengths[] = {255, 1, 0, 2};
  uint8_t out[20];
  EXPECT_EQ(colx_build_cla_1_ub1(out, 5, lengths, 4), 5u);
  EXPECT_EQ(Bytes(out, out + 20),
            (Bytes{0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 2}));
}

TEST(CumulativeLengths, EveryCountAtTheEdgeOfAPage) {
  Random random(3);
  for (const Builder& builder : builders) {
    for (size_t count = 0; count <= 70; ++count) {
      std::vector<uint32_t> lengths(count);
      for (uint32_t& length : lengths) {
        length = static_cast<uint32_t>(random.bits(8 * builder.length_bytes));
      }
      expect_right(builder, lengths);
    }
  }
}

TEST(CumulativeLengths, SumsPassAllFourBytes) {
  for (const Builder& builder : builders) {
    expect_right(builder, std::vector<uint32_t>(70001, builder.length_bytes == 1 ? 255 : 65535));
  }
}

TEST(CumulativeLengthsDeathTest, AssertRoomForOneEntryMoreThanLengths) {
  const uint8_t lengths[8] = {};
  uint8_t out[64];
  for (const Builder& builder : builders) {
    EXPECT_DEATH(builder.build(out, 3, lengths, 3),
                 assertion_text("res_len >= (src_len + 1)", builder.assertion_line, builder.name));
    EXPECT_DEATH(builder.build(out, 0, lengths, 0),
                 assertion_text("res_len >= (src_len + 1)", builder.assertion_line, builder.name));
  }
}

}  // namespace
}  // namespace colx::test

#include "host/row_bits.h"

#include <gtest/gtest.h>

namespace colx::host {
namespace {

TEST(RowBits, StartClearAlignedWithASpareWord) {
  for (const uint64_t bits : {0, 1, 63, 64, 65, 128, 65536}) {
    RowBits rows(bits);
    EXPECT_EQ(rows.size(), bits);
    EXPECT_EQ(rows.word_count(), (bits + 63) / 64) << bits;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(rows.data()) % 64, 0u) << bits;
    EXPECT_EQ(rows.count(), 0u) << bits;
    EXPECT_EQ(rows.data()[rows.word_count()], 0u) << bits;
    rows.data()[rows.word_count()] = 1;  // the spare word may be written
  }
}

TEST(RowBits, SetTestAndClearOneRow) {
  RowBits rows(130);
  rows.set(0);
  rows.set(64);
  rows.set(129);
  EXPECT_EQ(rows.words()[0], 1u);
  EXPECT_EQ(rows.words()[1], 1u);
  EXPECT_EQ(rows.words()[2], 2u);
  EXPECT_TRUE(rows.test(129));
  EXPECT_FALSE(rows.test(128));
  rows.clear(64);
  EXPECT_FALSE(rows.test(64));
  EXPECT_EQ(rows.count(), 2u);
}

TEST(RowBits, SetAllLeavesTheBitsAboveClear) {
  RowBits rows(70);
  rows.set_all();
  EXPECT_EQ(rows.words()[0], ~uint64_t{0});
  EXPECT_EQ(rows.words()[1], 0x3Fu);
  EXPECT_EQ(rows.count(), 70u);
  rows.clear_all();
  EXPECT_EQ(rows.count(), 0u);
}

TEST(RowBits, CountIgnoresBitsAboveTheLastRow) {
  RowBits rows(65);
  rows.words()[1] = ~uint64_t{0};
  EXPECT_EQ(rows.count(), 1u);
}

TEST(RowBits, ACopyIsApart) {
  RowBits rows(10);
  rows.set(3);
  RowBits same = rows.copy();
  same.set(4);
  EXPECT_FALSE(rows.test(4));
  EXPECT_TRUE(same.test(3));
  EXPECT_EQ(RowBits().copy().size(), 0u);
}

TEST(RowBits, MovingKeepsTheRows) {
  RowBits rows(10);
  rows.set(3);
  const RowBits moved = std::move(rows);
  EXPECT_TRUE(moved.test(3));
  EXPECT_EQ(moved.size(), 10u);
}

}  // namespace
}  // namespace colx::host

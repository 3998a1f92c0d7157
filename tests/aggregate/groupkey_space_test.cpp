// The key space of group keys: both sides of 2^32 in both forms, and columns that have no codes.
#include <gtest/gtest.h>

#include "tests/support/group_key_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t dict = 0x100;

// One row whose codes are all 0, with these numbers of symbols and shifts.
struct Size {
  uint32_t symbols;
  uint32_t shift;
};

GroupKeyBatch batch_of(const std::vector<Size>& sizes, uint32_t form) {
  std::vector<GroupedColumn> columns;
  for (const Size& size : sizes) {
    columns.push_back(key_column(1, {0}));
    columns.back().symbols = size.symbols;
    columns.back().shift = size.shift;
  }
  return group_key_batch(std::move(columns), form);
}

GroupKeyRun checked_run(const GroupKeyBatch& batch) {
  EXPECT_EQ(group_key_difference(batch), "");
  return run_group_keys(batch);
}

GroupKeyRun multiplied(const std::vector<Size>& sizes) {
  return checked_run(batch_of(sizes, COLX_KCTX_MULTIPLY_KEYS));
}

GroupKeyRun shifted(const std::vector<Size>& sizes) {
  return checked_run(batch_of(sizes, 0));
}

TEST(GroupkeySpace, AProductOf2ToThe32IsTooLarge) {
  EXPECT_EQ(multiplied({{65536, 16}, {65536, 16}}).status, 3u);
}

TEST(GroupkeySpace, AProductOf4294901760IsAccepted) {
  const GroupKeyRun run = multiplied({{65536, 16}, {65535, 16}});
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.key_space, 4294901760u);
}

TEST(GroupkeySpace, TheLargestProductIs0xFFFFFFFF) {
  EXPECT_EQ(multiplied({{65537, 17}, {65535, 16}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(multiplied({{3, 2}, {5, 3}, {17, 5}, {257, 9}, {65537, 17}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(multiplied({{0xFFFFFFFF, 32}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(multiplied({{0xFFFFFFFF, 32}, {1, 1}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(multiplied({{0xFFFFFFFF, 32}, {2, 1}}).status, 3u);
}

// The product of the last step alone has more than 64 bits in it: each step is checked.
TEST(GroupkeySpace, AProductThatComesBackBelow2ToThe32IsStillTooLarge) {
  EXPECT_EQ(multiplied({{65536, 16}, {65536, 16}, {0, 1}}).status, 3u);
  EXPECT_EQ(multiplied({{1u << 31, 31}, {1u << 31, 31}, {4, 2}, {1, 1}}).status, 3u);
}

TEST(GroupkeySpace, ShiftedTheSpaceIsOneAboveTheLargestKey) {
  EXPECT_EQ(shifted({{3, 2}, {5, 3}}).key_space, 21u);
  EXPECT_EQ(shifted({{3, 2}, {5, 3}, {2, 4}}).key_space, (20u << 4) + 2);
}

TEST(GroupkeySpace, ShiftedASpaceOf2ToThe32IsTooLarge) {
  EXPECT_EQ(shifted({{65536, 16}, {65536, 16}}).status, 3u);
  const GroupKeyRun below = shifted({{65536, 16}, {65535, 16}});
  EXPECT_EQ(below.status, 0u);
  EXPECT_EQ(below.key_space, 0xFFFFFFFFu);
}

// The products of these fit, but shifted keys have gaps; and the other way round no product that
// is too large fits shifted.
TEST(GroupkeySpace, ShiftedSpacesAreLargerThanProducts) {
  const std::vector<Size> sizes = {{65535, 16}, {3, 17}};
  EXPECT_EQ(multiplied(sizes).key_space, 196605u);
  EXPECT_EQ(shifted(sizes).status, 3u);
  EXPECT_EQ(shifted({{32768, 15}, {3, 17}}).key_space, (32767u << 17) + 3);
  EXPECT_EQ(shifted({{32769, 16}, {3, 17}}).status, 3u);
}

TEST(GroupkeySpace, ShiftedTheLastColumnAloneDecides) {
  EXPECT_EQ(shifted({{2, 1}, {0xFFFFFFFF, 32}}).status, 3u);
  EXPECT_EQ(shifted({{1, 1}, {0xFFFFFFFF, 32}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(shifted({{2, 1}, {0x7FFFFFFF, 31}}).key_space, 0xFFFFFFFFu);
  EXPECT_EQ(shifted({{2, 1}, {0x80000000, 31}}).status, 3u);
}

TEST(GroupkeySpace, AColumnWithoutSymbols) {
  EXPECT_EQ(multiplied({{5, 3}, {0, 1}}).key_space, 0u);
  EXPECT_EQ(multiplied({{0, 1}, {5, 3}}).status, 0u);
  EXPECT_EQ(shifted({{0, 1}}).key_space, 0u);
  EXPECT_EQ(shifted({{5, 3}, {0, 1}}).key_space, 8u);
  EXPECT_EQ(shifted({{0, 1}, {5, 3}}).status, 3u);  // one below no symbol is a very large number
}

TEST(GroupkeySpace, AColumnWithoutDictionaryCodesIsNotServed) {
  for (const uint32_t form : {0u, uint32_t{COLX_KCTX_MULTIPLY_KEYS}}) {
    for (size_t which = 0; which < 3; ++which) {
      GroupKeyBatch batch = batch_of({{3, 2}, {4, 2}, {5, 3}}, form);
      batch.columns[which].dict = false;
      batch.columns[which].other_flags = ~dict & ~uint32_t{COLX_RLE | COLX_COMPRESSED};
      EXPECT_EQ(checked_run(batch).status, 2u);
    }
  }
}

TEST(GroupkeySpace, TheFirstColumnThatFailsDecidesBetween2And3) {
  for (const uint32_t form : {0u, uint32_t{COLX_KCTX_MULTIPLY_KEYS}}) {
    GroupKeyBatch batch = batch_of({{65536, 16}, {65536, 16}, {5, 3}}, form);
    batch.columns[2].dict = false;
    EXPECT_EQ(checked_run(batch).status, 3u);
    batch.columns[1].dict = false;
    EXPECT_EQ(checked_run(batch).status, 2u);
    batch.columns = {batch.columns[0], batch.columns[2], batch.columns[0]};
    EXPECT_EQ(checked_run(batch).status, 2u);
  }
}

TEST(GroupkeySpace, Statuses2And3WriteNothingAndAskNothingOfTheHost) {
  for (const uint32_t form : {0u, uint32_t{COLX_KCTX_MULTIPLY_KEYS}}) {
    for (const bool too_large : {false, true}) {
      GroupKeyBatch batch = batch_of({{65536, 16}, {too_large ? 65536u : 2u, 16}}, form);
      batch.columns[1].dict = too_large;
      const GroupKeyRun run = checked_run(batch);
      const uint8_t dirt = GuardedOutput::dirty_byte(0);
      EXPECT_EQ(run.status, too_large ? 3u : 2u);
      EXPECT_EQ(run.key_space & 0xFF, dirt);
      EXPECT_EQ(run.num_set, 0xA5A5A5A5u);
      EXPECT_TRUE(group_key_stage().host.order.empty());
    }
  }
}

TEST(GroupkeySpace, IsWrittenAlsoWhenTheRoomRunsOut) {
  GroupKeyBatch batch = batch_of({{3, 2}, {5, 3}}, 0);
  batch.room = 0;
  const GroupKeyRun run = checked_run(batch);
  EXPECT_EQ(run.status, 9u);
  EXPECT_EQ(run.key_space, 21u);
}

}  // namespace
}  // namespace colx::test

// Group keys in chunks: scratches that are smaller than the rows, run-length columns that go on
// where they were, chosen rows, and more columns than have a place remembered.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "tests/support/group_key_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t both_forms[] = {0, COLX_KCTX_MULTIPLY_KEYS};
constexpr uint32_t both_ways[] = {0, COLX_KCTX_SELECTIVE};

Numbers numbers_up_to(uint32_t rows) {
  Numbers numbers(rows);
  std::iota(numbers.begin(), numbers.end(), 0u);
  return numbers;
}

// A plain column, one with short runs and one with runs longer than most chunks.
std::vector<GroupedColumn> mixed_columns(uint32_t rows, Random& random) {
  return {random_key_column(11, rows, random), random_run_column(5, rows, 4, random),
          random_run_column(900, rows, 300, random)};
}

TEST(GroupkeyChunks, EveryScratchDeliversWhatOneChunkDelivers) {
  Random random(1);
  for (const uint32_t form : both_forms) {
    GroupKeyBatch batch = group_key_batch(mixed_columns(150, random), form);
    const Numbers whole = run_group_keys(batch).keys;
    for (batch.scratch_rows = 1; batch.scratch_rows <= 151; ++batch.scratch_rows) {
      EXPECT_EQ(run_group_keys(batch).keys, whole) << batch.scratch_rows;
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

TEST(GroupkeyChunks, TheOrderOfPlainAndRunLengthColumnsDoesNotMatter) {
  Random random(2);
  for (int order = 0; order < 8; ++order) {
    std::vector<GroupedColumn> columns;
    for (int c = 0; c < 3; ++c) {
      columns.push_back((order >> c & 1) != 0 ? random_run_column(9, 200, 30, random)
                                              : random_key_column(9, 200, random));
    }
    GroupKeyBatch batch = group_key_batch(columns);
    for (const uint32_t scratch : {1u, 7u, 64u, 199u}) {
      batch.scratch_rows = scratch;
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

TEST(GroupkeyChunks, ARunGoesOnInTheNextChunk) {
  GroupedColumn runs = key_column(4, {3, 1, 2});
  runs.lengths = Numbers{7, 1, 4};
  runs.rows = 12;
  GroupKeyBatch batch = group_key_batch({runs, key_column(16, numbers_up_to(12))});
  batch.scratch_rows = 5;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.keys, (Numbers{48, 49, 50, 51, 52, 53, 54, 23, 40, 41, 42, 43}));
  EXPECT_EQ(group_key_difference(batch), "");
}

TEST(GroupkeyChunks, ARunLengthColumnBegunInTheMiddleWalksFromItsFirstRun) {
  Random random(3);
  GroupKeyBatch batch = group_key_batch(mixed_columns(150, random));
  const Numbers whole = run_group_keys(batch).keys;
  for (const uint32_t scratch : {10u, 150u}) {
    batch.scratch_rows = scratch;
    for (batch.position = 1; batch.position < 150; ++batch.position) {
      batch.state1 = 77;  // of some other column; not this call's
      batch.state2 = 1000;
      EXPECT_EQ(run_group_keys(batch).keys, Numbers(whole.begin() + batch.position, whole.end()));
    }
  }
}

TEST(GroupkeyChunks, RoomAndScratchRunOutIndependently) {
  Random random(4);
  GroupKeyBatch batch = group_key_batch(mixed_columns(60, random), COLX_KCTX_MULTIPLY_KEYS);
  for (batch.room = 0; batch.room <= 63; batch.room += 3) {
    for (batch.scratch_rows = 1; batch.scratch_rows <= 64; batch.scratch_rows += 4) {
      for (const uint32_t position : {0u, 1u, 30u}) {
        batch.position = position;
        EXPECT_EQ(group_key_difference(batch), "");
      }
    }
  }
}

TEST(GroupkeyChunks, RowsChunksAndKeysHaveMoreThan16Bits) {
  Random random(16);
  for (const uint32_t rows : {65536u, 70001u}) {
    GroupKeyBatch batch =
        group_key_batch({random_key_column(300, rows, random), random_key_column(9, rows, random),
                         random_run_column(30, rows, 200, random)});
    for (const uint32_t scratch : {1000u, 65536u, rows}) {
      batch.scratch_rows = scratch;
      for (const uint32_t position : {0u, 65535u}) {
        batch.position = position;
        EXPECT_EQ(group_key_difference(batch), "");
        EXPECT_EQ(run_group_keys(batch).num_set, rows - position);
      }
    }
  }
}

TEST(GroupkeyChunks, TheCallersRecordIsNeverWritten) {
  Random random(5);
  GroupKeyBatch batch = group_key_batch(mixed_columns(100, random));
  batch.scratch_rows = 30;
  batch.selection = random.words(2);
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  group_key_stage().set(batch);
  const colx_kctx before = group_key_stage().kctx;
  group_key_stage().call(colx_groupkey_dydi);
  const colx_kctx& after = group_key_stage().kctx;
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

// --- chosen rows

TEST(GroupkeyRows, KeysOfSelectedRowsInTheirOrder) {
  const GroupedColumn rows = key_column(128, numbers_up_to(100));
  for (const uint32_t way : both_ways) {
    GroupKeyBatch batch = group_key_batch({rows, key_column(2, Numbers(100, 1))}, way);
    batch.selection = Words{1 << 3 | 1 << 5 | 1ull << 63, 1 << 20};
    for (const uint32_t scratch : {1u, 2u, 100u}) {
      batch.scratch_rows = scratch;
      const GroupKeyRun run = run_group_keys(batch);
      EXPECT_EQ(run.keys, (Numbers{7, 11, 127, 169}));
      EXPECT_EQ(run.status, 0u);
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

TEST(GroupkeyRows, EverySelectionScratchAndRoom) {
  Random random(6);
  for (const uint32_t form : both_forms) {
    for (const uint32_t way : both_ways) {
      for (const unsigned sparsity : {0u, 1u, 3u, 6u}) {
        GroupKeyBatch batch = group_key_batch(mixed_columns(300, random), form | way);
        batch.selection = random.words(5, std::max(sparsity, 1u));
        if (sparsity == 0) batch.selection->assign(5, ~uint64_t{0});
        for (const uint32_t scratch : {1u, 9u, 40u, 299u, 300u, 400u}) {
          batch.scratch_rows = scratch;
          for (const uint32_t room : {1u, 20u, 90u, 300u}) {
            batch.room = room;
            batch.position = room % 7;
            EXPECT_EQ(group_key_difference(batch), "");
          }
        }
      }
    }
  }
}

TEST(GroupkeyRows, ASelectionWithoutRowsHasStatus0AndNoKey) {
  Random random(7);
  for (const uint32_t way : both_ways) {
    GroupKeyBatch batch = group_key_batch(mixed_columns(200, random), way);
    batch.selection = Words(4, 0);
    const GroupKeyRun run = run_group_keys(batch);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

// Rows are left behind the last selected one, and nobody has looked whether they are selected.
TEST(GroupkeyRows, ARoomThatIsFilledWithTheLastSelectedRowHasStatus9) {
  Random random(8);
  for (const uint32_t way : both_ways) {
    GroupKeyBatch batch = group_key_batch(mixed_columns(200, random), way);
    batch.selection = Words{0x10, 0x20, 0, 0};
    batch.room = 2;
    EXPECT_EQ(run_group_keys(batch).status, 9u);
    EXPECT_EQ(run_group_keys(batch).num_set, 2u);
    EXPECT_EQ(group_key_difference(batch), "");
    batch.room = 3;
    EXPECT_EQ(run_group_keys(batch).status, 0u);
    EXPECT_EQ(group_key_difference(batch), "");
    (*batch.selection)[3] = 1 << 7;  // row 199, the last
    EXPECT_EQ(run_group_keys(batch).status, 0u);
    EXPECT_EQ(run_group_keys(batch).num_set, 3u);
  }
}

TEST(GroupkeyRows, ARowListUpToTheLastRow) {
  Random random(9);
  for (const uint32_t form : both_forms) {
    GroupKeyBatch batch = group_key_batch(mixed_columns(100, random), form);
    const Numbers whole = run_group_keys(batch).keys;
    batch.list = Numbers{0, 4, 5, 50, 51, 98, 99};
    batch.room = batch.scratch_rows = 7;
    const GroupKeyRun run = run_group_keys(batch);
    Numbers expected;
    for (const uint32_t row : *batch.list) expected.push_back(whole[row]);
    EXPECT_EQ(run.keys, expected);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

// The decoder goes by the list alone: with rows left behind its last entry it comes again.
TEST(GroupkeyRows, ARowListThatEndsEarlyComesAgainUntilTheRoomIsFilled) {
  Random random(10);
  GroupKeyBatch batch =
      group_key_batch({random_key_column(10, 100, random), random_key_column(7, 100, random)});
  const Numbers whole = run_group_keys(batch).keys;
  batch.list = Numbers{2, 9};
  batch.room = 6;
  batch.scratch_rows = 2;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.keys, (Numbers{whole[2], whole[9], whole[2], whole[9], whole[2], whole[9]}));
  EXPECT_EQ(run.status, 9u);
  EXPECT_EQ(group_key_difference(batch), "");
}

// --- whose count and whose place

TEST(GroupkeyRows, TheFirstColumnHasTheRowsAndTheCountsOfTheOthersAreNotRead) {
  Random random(11);
  GroupKeyBatch batch =
      group_key_batch({random_key_column(10, 50, random), random_key_column(7, 90, random)});
  batch.scratch_rows = 90;
  batch.room = 90;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.num_set, 50u);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(group_key_difference(batch), "");
}

// A last column that ends before the first leaves the place at its own end: the rest of the first
// column comes again until the room is filled.
TEST(GroupkeyRows, TheNextChunkBeginsBehindTheRowThatTheLastColumnCameTo) {
  Random random(12);
  GroupKeyBatch batch =
      group_key_batch({random_key_column(10, 10, random), random_key_column(7, 8, random)});
  batch.scratch_rows = 8;
  batch.room = 16;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.num_set, 16u);
  EXPECT_EQ(run.status, 9u);
  EXPECT_EQ(group_key_difference(batch), "");
}

// --- more than 32 columns

std::vector<GroupedColumn> columns_of_one_value(size_t count, uint32_t rows) {
  GroupedColumn column = key_column(1, Numbers(rows, 0));
  column.shift = 0;
  return std::vector<GroupedColumn>(count, column);
}

TEST(GroupkeyManyColumns, FortyPlainColumnsInChunks) {
  Random random(13);
  for (const uint32_t form : both_forms) {
    std::vector<GroupedColumn> columns = columns_of_one_value(40, 100);
    for (const size_t c : {0u, 15u, 31u, 32u, 33u, 39u}) {
      columns[c] = random_key_column(9, 100, random);
    }
    GroupKeyBatch batch = group_key_batch(columns, form);
    for (const uint32_t scratch : {7u, 64u, 100u}) {
      batch.scratch_rows = scratch;
      EXPECT_EQ(group_key_difference(batch), "");
    }
    const GroupKeyRun run = run_group_keys(batch);
    for (uint32_t row = 0; row < 100; ++row) {
      uint32_t key = 0;
      for (const size_t c : {0u, 15u, 31u, 32u, 33u, 39u}) {
        key = form == 0 ? key << 4 | columns[c].codes[row] : key * 9 + columns[c].codes[row];
      }
      ASSERT_EQ(run.keys[row], key);
    }
  }
}

TEST(GroupkeyManyColumns, TheFirst32RunLengthColumnsEachKeepTheirPlace) {
  Random random(14);
  std::vector<GroupedColumn> columns;
  for (int c = 0; c < 32; ++c) columns.push_back(random_run_column(1, 120, 1 + c, random));
  columns[0] = random_run_column(30, 120, 11, random);
  columns[17] = random_run_column(20, 120, 3, random);
  columns[31] = random_run_column(50, 120, 7, random);
  for (GroupedColumn& column : columns) {
    if (column.symbols == 1) column.shift = 0;
  }
  GroupKeyBatch batch = group_key_batch(columns);
  const Numbers whole = run_group_keys(batch).keys;
  for (const uint32_t scratch : {1u, 10u, 50u}) {
    batch.scratch_rows = scratch;
    EXPECT_EQ(run_group_keys(batch).keys, whole);
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

// Two columns beyond the 32nd with runs of 2 and of 5 rows, and more runs than they need.
GroupKeyBatch two_columns_beyond_the_32nd() {
  std::vector<GroupedColumn> columns = columns_of_one_value(34, 20);
  for (const size_t c : {32u, 33u}) {
    columns[c] = key_column(16, numbers_up_to(16));
    columns[c].rows = 20;
    columns[c].lengths = Numbers(16, c == 32 ? 2 : 5);
  }
  return group_key_batch(columns);
}

// In one chunk they are like any other; from chunk to chunk each goes on from where the one before
// it stopped.
TEST(GroupkeyManyColumns, APlaceBeyondThe32ndColumnIsNotCarriedFromChunkToChunk) {
  GroupKeyBatch batch = two_columns_beyond_the_32nd();
  Numbers expected;
  for (uint32_t row = 0; row < 20; ++row) expected.push_back(row / 2 << 4 | row / 5);
  EXPECT_EQ(run_group_keys(batch).keys, expected);
  EXPECT_EQ(group_key_difference(batch), "");
  batch.scratch_rows = 10;
  for (uint32_t row = 10; row < 20; ++row) expected[row] = ((row - 10) / 2 + 2) << 4 | 6;
  EXPECT_EQ(run_group_keys(batch).keys, expected);
  EXPECT_EQ(group_key_difference(batch), "");
}

// Alone beyond the 32nd it finds in the record what it left there itself.
TEST(GroupkeyManyColumns, OneRunLengthColumnAloneBeyondThe32ndGoesOn) {
  GroupKeyBatch batch = two_columns_beyond_the_32nd();
  batch.columns[32] = batch.columns[0];
  Numbers expected;
  for (uint32_t row = 0; row < 20; ++row) expected.push_back(row / 5);
  for (const uint32_t scratch : {1u, 3u, 10u, 20u}) {
    batch.scratch_rows = scratch;
    EXPECT_EQ(run_group_keys(batch).keys, expected);
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

// Begun in the middle it believes the state that the caller's record happens to hold.
TEST(GroupkeyManyColumns, BeyondThe32ndTheFirstChunkTakesTheCallersState) {
  GroupKeyBatch batch = two_columns_beyond_the_32nd();
  batch.columns[32] = batch.columns[0];
  batch.position = 10;
  batch.state1 = 6;
  batch.state2 = 13;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.keys, (Numbers{6, 6, 6, 7, 7, 7, 7, 7, 8, 8}));
  EXPECT_EQ(group_key_difference(batch), "");
}

// --- anything

GroupKeyBatch random_group_keys(Random& random) {
  const auto rows = static_cast<uint32_t>(1 + random.below(400));
  std::vector<GroupedColumn> columns;
  for (size_t count = 1 + random.below(5); columns.size() < count;) {
    const auto symbols = static_cast<uint32_t>(1 + random.bits(1 + unsigned(random.below(9))));
    columns.push_back(random.one_in(2) ? random_key_column(symbols, rows, random)
                                       : random_run_column(symbols, rows, 40, random));
  }
  GroupKeyBatch batch = group_key_batch(columns);
  // Any other flag means nothing here or to the decoder.
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  if (random.one_in(2)) batch.selection = random.words(words_of(rows), 1 + random.below(4));
  batch.position = random.one_in(2) ? 0 : static_cast<uint32_t>(random.below(rows + 1));
  batch.room = random.one_in(2) ? rows : static_cast<uint32_t>(random.below(rows + 3));
  batch.scratch_rows = 1 + static_cast<uint32_t>(random.below(rows + 3));
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  return batch;
}

TEST(GroupkeyAnything, TwentyThousandRandomCalls) {
  for (uint64_t seed = 0; seed < 20'000; ++seed) {
    Random random(seed);
    const GroupKeyBatch batch = random_group_keys(random);
    ASSERT_EQ(group_key_difference(batch), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace colx::test

// Group keys: codes of several columns folded into one number a row, in both forms; rooms and
// places to begin; what is asked of the host and what is left alone.
#include <gtest/gtest.h>

#include "tests/support/group_key_stage.h"
#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t both_forms[] = {0, COLX_KCTX_MULTIPLY_KEYS};

// Columns of 3 and 5 values whose codes have 2 and 3 bits.
std::vector<GroupedColumn> columns_of_3_and_5() {
  return {key_column(3, {0, 1, 2, 2, 0, 1}), key_column(5, {4, 0, 4, 3, 1, 2})};
}

TEST(Groupkey, TwoColumnsMultiplied) {
  const GroupKeyRun run =
      run_group_keys(group_key_batch(columns_of_3_and_5(), COLX_KCTX_MULTIPLY_KEYS));
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.key_space, 15u);
  EXPECT_EQ(run.num_set, 6u);
  EXPECT_EQ(run.keys, (Numbers{4, 5, 14, 13, 1, 7}));
}

TEST(Groupkey, TwoColumnsShifted) {
  const std::vector<GroupedColumn> columns = columns_of_3_and_5();
  EXPECT_EQ(columns[0].shift, 2u);
  EXPECT_EQ(columns[1].shift, 3u);
  const GroupKeyRun run = run_group_keys(group_key_batch(columns));
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.key_space, 21u);
  EXPECT_EQ(run.num_set, 6u);
  EXPECT_EQ(run.keys, (Numbers{4, 8, 20, 19, 1, 10}));
}

TEST(Groupkey, TheLastColumnLiesInTheLowestPart) {
  const std::vector<GroupedColumn> columns = {key_column(4, {3}), key_column(8, {5}),
                                              key_column(16, {9})};
  EXPECT_EQ(run_group_keys(group_key_batch(columns)).keys, Numbers{3 << 7 | 5 << 4 | 9});
  EXPECT_EQ(run_group_keys(group_key_batch(columns, COLX_KCTX_MULTIPLY_KEYS)).keys,
            Numbers{(3 * 8 + 5) * 16 + 9});
}

// The factors of column 0 are never used, whatever they are.
TEST(Groupkey, OneColumnGivesItsCodesAndItsNumberOfSymbolsInBothForms) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    GroupedColumn column;
    column.code_bits = width;
    column.shift = 17;
    column.symbols = width == 32 ? 0xFFFFFFFF : uint32_t{1} << width;
    column.rows = 300;
    for (int row = 0; row < 300; ++row) {
      column.codes.push_back(static_cast<uint32_t>(random.below(column.symbols)));
    }
    for (const uint32_t form : both_forms) {
      const GroupKeyBatch batch = group_key_batch({column}, form);
      const GroupKeyRun run = run_group_keys(batch);
      EXPECT_EQ(run.keys, column.codes) << width;
      EXPECT_EQ(run.key_space, column.symbols) << width;
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

TEST(Groupkey, EveryKeyIsBelowTheKeySpaceAndTheLargestIsOneBelowIt) {
  for (const uint32_t form : both_forms) {
    const GroupKeyRun run = run_group_keys(group_key_batch(
        {key_column(7, {0, 6}), key_column(100, {0, 99}), key_column(33, {0, 32})}, form));
    EXPECT_EQ(run.keys[0], 0u);
    EXPECT_EQ(run.keys[1], run.key_space - 1);
  }
}

TEST(Groupkey, ColumnsOfAllWidthsBesideEachOther) {
  Random random(1);
  for (const unsigned width : unpack_widths) {
    for (const uint32_t form : both_forms) {
      const uint32_t symbols = width == 32 ? 0xFFFFFFFF : (uint32_t{1} << width);
      const uint32_t other = width >= 20 ? 1 : width >= 16 ? 12 : 200;
      GroupedColumn wide = random_key_column(symbols, 500, random);
      GroupedColumn narrow = random_key_column(other, 500, random);
      EXPECT_EQ(group_key_difference(group_key_batch({wide, narrow}, form)), "");
      EXPECT_EQ(group_key_difference(group_key_batch({narrow, wide}, form)), "");
    }
  }
}

TEST(Groupkey, EveryNumberOfColumnsAndRowsAtBothEdgesOfAPage) {
  Random random(2);
  for (size_t count = 1; count <= 8; ++count) {
    for (uint32_t rows = 0; rows <= 70; rows += 1 + rows / 20) {
      std::vector<GroupedColumn> columns;
      for (size_t c = 0; c < count; ++c) {
        const auto symbols = 2 + static_cast<uint32_t>(random.below(13));
        columns.push_back(random.one_in(3) ? random_run_column(symbols, rows, 9, random)
                                           : random_key_column(symbols, rows, random));
      }
      for (const uint32_t form : both_forms) {
        GroupKeyBatch batch = group_key_batch(columns, form);
        EXPECT_EQ(group_key_difference(batch), "");
        batch.edge = Edge::begin;
        batch.place = Place::begin;
        EXPECT_EQ(group_key_difference(batch), "");
        batch.place = Place::middle;
        batch.room += 5;
        batch.scratch_rows += 9;
        EXPECT_EQ(group_key_difference(batch), "");
      }
    }
  }
}

TEST(Groupkey, KeysWrapIn32BitsWhenCodesAreNotBelowTheirNumberOfSymbols) {
  for (const uint32_t form : both_forms) {
    GroupedColumn first = key_column(2, {0x12345678, 0xFFFFFFFF, 3});
    GroupedColumn second = key_column(300, {5, 299, 0});
    first.code_bits = 32;
    const GroupKeyBatch batch = group_key_batch({first, second}, form);
    const uint32_t factor = form == 0 ? 512 : 300;
    EXPECT_EQ(run_group_keys(batch).keys,
              (Numbers{0x12345678 * factor + 5, 0xFFFFFFFF * factor + 299, 3 * factor}));
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

// With one value in column 0 a second column of 32 bits has room.
TEST(Groupkey, AShiftOf32IsTakenModulo32) {
  GroupedColumn first = key_column(1, {0, 7});
  first.code_bits = 3;
  GroupedColumn second = key_column(0xFFFFFFFF, {9, 100});
  EXPECT_EQ(second.shift, 32u);
  const GroupKeyRun run = run_group_keys(group_key_batch({first, second}));
  EXPECT_EQ(run.key_space, 0xFFFFFFFFu);
  EXPECT_EQ(run.keys, (Numbers{9, 107}));
}

TEST(Groupkey, TheShiftIsTheWidthInTheRecordAndTheFactorTheNumberOfSymbols) {
  GroupedColumn first = key_column(4, {1, 2, 3});
  GroupedColumn second = key_column(5, {4, 0, 2});
  second.code_bits = 8;
  second.shift = 10;
  EXPECT_EQ(run_group_keys(group_key_batch({first, second})).keys, (Numbers{1028, 2048, 3074}));
  EXPECT_EQ(run_group_keys(group_key_batch({first, second}, COLX_KCTX_MULTIPLY_KEYS)).keys,
            (Numbers{9, 10, 17}));
}

// --- rooms and places to begin

GroupKeyBatch hundred_rows(uint32_t form) {
  Random random(3);
  return group_key_batch({random_key_column(10, 100, random), random_run_column(6, 100, 8, random),
                          random_key_column(300, 100, random)},
                         form);
}

TEST(Groupkey, ARoomForFewerKeysThanRowsIsFilledAndTheStatusIs9) {
  for (const uint32_t form : both_forms) {
    GroupKeyBatch batch = hundred_rows(form);
    const Numbers whole = run_group_keys(batch).keys;
    for (batch.room = 1; batch.room < 100; ++batch.room) {
      const GroupKeyRun run = run_group_keys(batch);
      EXPECT_EQ(run.status, 9u);
      EXPECT_EQ(run.num_set, batch.room);
      EXPECT_EQ(run.keys, Numbers(whole.begin(), whole.begin() + batch.room));
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

TEST(Groupkey, ARoomForExactlyTheRowsHasStatus0) {
  GroupKeyBatch batch = hundred_rows(0);
  EXPECT_EQ(batch.room, 100u);
  EXPECT_EQ(run_group_keys(batch).status, 0u);
  batch.position = 60;
  batch.room = 40;
  EXPECT_EQ(run_group_keys(batch).status, 0u);
  EXPECT_EQ(run_group_keys(batch).num_set, 40u);
  batch.room = 39;
  EXPECT_EQ(run_group_keys(batch).status, 9u);
}

TEST(Groupkey, WithoutRoomNothingIsDecodedAndRowsLeftGiveStatus9) {
  GroupKeyBatch batch = hundred_rows(0);
  batch.room = 0;
  const GroupKeyRun run = run_group_keys(batch);
  EXPECT_EQ(run.status, 9u);
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(group_key_difference(batch), "");
  batch.position = 100;
  EXPECT_EQ(run_group_keys(batch).status, 0u);
  EXPECT_EQ(group_key_difference(batch), "");
}

TEST(Groupkey, AStartAtOrPastTheLastRowDecodesNothingAndHasStatus0) {
  for (const uint32_t position : {100u, 101u, 0xFFFFFFFFu}) {
    GroupKeyBatch batch = hundred_rows(COLX_KCTX_MULTIPLY_KEYS);
    batch.position = position;
    const GroupKeyRun run = run_group_keys(batch);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.key_space, 18000u);
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

TEST(Groupkey, EveryPlaceToBegin) {
  for (const uint32_t form : both_forms) {
    GroupKeyBatch batch = hundred_rows(form);
    const Numbers whole = run_group_keys(batch).keys;
    for (batch.position = 0; batch.position <= 100; ++batch.position) {
      EXPECT_EQ(run_group_keys(batch).keys, Numbers(whole.begin() + batch.position, whole.end()));
      EXPECT_EQ(group_key_difference(batch), "");
    }
  }
}

// The caller goes on by the number of keys: the record it passed has not moved.
TEST(Groupkey, CalledAgainBehindTheKeysItDeliversWhatOneCallDelivers) {
  GroupKeyBatch batch = hundred_rows(0);
  const Numbers whole = run_group_keys(batch).keys;
  Numbers pieces;
  batch.room = 7;
  uint32_t status = COLX_OUT_OF_ROOM;
  while (status == COLX_OUT_OF_ROOM) {
    batch.position = static_cast<uint32_t>(pieces.size());
    const GroupKeyRun run = run_group_keys(batch);
    EXPECT_EQ(group_key_stage().kctx.colx_kctx_position, batch.position);
    pieces.insert(pieces.end(), run.keys.begin(), run.keys.end());
    status = run.status;
  }
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(pieces, whole);
}

// --- what is asked of the host

TEST(Groupkey, TwelveBytesAColumnAreAllocatedAndReleased) {
  Random random(4);
  for (const size_t count : {1u, 2u, 3u, 32u, 33u, 40u}) {
    std::vector<GroupedColumn> columns(count, key_column(1, Numbers(10, 0)));
    run_group_keys(group_key_batch(columns));
    const RecordingHost& host = group_key_stage().host;
    ASSERT_EQ(host.scratch_allocations.size(), 1u);
    const ScratchAllocation& a = host.scratch_allocations[0];
    EXPECT_EQ(a.bytes, 12 * count);
    EXPECT_EQ(a.label, "colx_groupkey_dydi: temp column info");
    EXPECT_EQ(a.unit, 4u);
    EXPECT_EQ(a.zero, 0u);
    EXPECT_EQ(a.host, host.handle);
    EXPECT_TRUE(a.released);
    EXPECT_EQ(host.order, (std::vector<std::string>{"alloc", "free"}));
    EXPECT_TRUE(host.misuse.empty());
  }
}

TEST(Groupkey, AlsoWhenNothingWillBeDecoded) {
  GroupKeyBatch batch = hundred_rows(0);
  for (const bool past_the_rows : {false, true}) {
    batch.room = past_the_rows ? 100 : 0;
    batch.position = past_the_rows ? 100 : 0;
    run_group_keys(batch);
    const RecordingHost& host = group_key_stage().host;
    EXPECT_EQ(host.order, (std::vector<std::string>{"alloc", "free"}));
    EXPECT_EQ(host.scratch_allocations[0].bytes, 36u);
  }
}

TEST(Groupkey, ACompressedColumnIsExpandedOnceUnderItsDecodersName) {
  Random random(5);
  for (const size_t which : {0u, 1u}) {
    GroupKeyBatch batch =
        group_key_batch({random_key_column(6, 100, random), random_key_column(2000, 100, random)});
    batch.columns[which].store = Store::compressed;
    batch.scratch_rows = 30;
    EXPECT_EQ(group_key_difference(batch), "");
    batch.columns[1 - which].store = Store::decompressed;
    EXPECT_EQ(group_key_difference(batch), "");
    batch.columns[which] = random_run_column(6, 100, 5, random);
    batch.columns[which].store = Store::compressed;
    EXPECT_EQ(group_key_difference(batch), "");
  }
}

}  // namespace
}  // namespace colx::test

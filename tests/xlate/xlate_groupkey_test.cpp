// Group-key translation: a column's share added to running keys, through a table of any element.
#include <gtest/gtest.h>

#include "tests/support/key_share.h"
#include "tests/support/row_counts.h"

namespace colx::test {
namespace {

TEST(XlateGroupkey, FourKernelsUnderTheirNames) {
  EXPECT_STREQ(key_share_kernel(4).name, "colx_xlate_groupkey_nib_c2d");
  EXPECT_STREQ(key_share_kernel(8).name, "colx_xlate_groupkey_ub1_c2d");
  EXPECT_STREQ(key_share_kernel(16).name, "colx_xlate_groupkey_ub2_c2d");
  EXPECT_STREQ(key_share_kernel(32).name, "colx_xlate_groupkey_ub4_c2d");
}

TEST(XlateGroupkey, ExistsWithTheFlagAlone) {
  for (uint32_t code = COLX_WIDTH_BIT; code <= COLX_WIDTH_UB4; ++code) {
    EXPECT_EQ(colx_dispatch_table[colx_slot_index(COLX_OPC_XLATE, COLX_XLATE_GROUPKEY, code, 0)],
              nullptr);
  }
  EXPECT_EQ(
      colx_dispatch_table[colx_slot_index(COLX_OPC_XLATE, COLX_XLATE_GROUPKEY, COLX_WIDTH_BIT, 1)],
      nullptr);
}

TEST(XlateGroupkey, EveryRowCountAtBothEdgesOfAPage) {
  Random random(1);
  for (const unsigned bits : share_element_bits) {
    const KeyShareKernel kernel = key_share_kernel(bits);
    for (uint32_t rows = 0; rows <= 100; ++rows) {
      for (int i = 0; i < 5; ++i) {
        KeyShareBatch batch = random_key_share(bits, rows, random);
        EXPECT_EQ(key_share_difference(kernel, batch), "");
        batch.edge = Edge::begin;
        batch.place = i % 2 == 0 ? Place::begin : Place::middle;
        batch.third_is_null = false;
        EXPECT_EQ(key_share_difference(kernel, batch), "");
      }
    }
  }
}

TEST(XlateGroupkey, NoRowsHaveStatus1AndTouchNothing) {
  for (const unsigned bits : share_element_bits) {
    const KeyShareBatch batch;
    const KeyShareRun run = run_key_share(key_share_kernel(bits), batch);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(run.damage, "");
  }
}

TEST(XlateGroupkey, ABlockOf16RowsAndOneMore) {
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch;
    batch.elements = {4, 9, 2};
    batch.multiplier = 10;
    Numbers expected;
    for (uint32_t row = 0; row < 17; ++row) {
      batch.keys.push_back(1000 + row);
      batch.codes.push_back(row % 3);
      expected.push_back(1000 + row + 10 * batch.elements[row % 3]);
    }
    const KeyShareRun run = run_key_share(key_share_kernel(bits), batch);
    EXPECT_EQ(run.status, 0u);
    EXPECT_EQ(run.keys, expected);
    EXPECT_EQ(run.damage, "");
  }
}

TEST(XlateGroupkey, AMultiplierOf1RaisesAKeyByItsElement) {
  KeyShareBatch batch;
  batch.elements = {0x12345678, 0x80000000, 0xFFFFFFFF};
  batch.keys = {1, 1, 1};
  batch.codes = {0, 1, 2};
  EXPECT_EQ(run_key_share(key_share_kernel(32), batch).keys,
            (Numbers{0x12345679, 0x80000001, 0x00000000}));
}

TEST(XlateGroupkey, KeysAndProductsWrapIn32Bits) {
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch;
    batch.elements = {3, 0};
    batch.multiplier = 0x80000001;
    batch.keys.assign(19, 0xFFFFFFFE);
    batch.codes.assign(19, 0);
    batch.codes[4] = batch.codes[17] = 1;
    Numbers expected(19, 0x80000001);  // -2 + 3 * 0x80000001
    expected[4] = expected[17] = 0xFFFFFFFE;
    EXPECT_EQ(run_key_share(key_share_kernel(bits), batch).keys, expected);
  }
}

TEST(XlateGroupkey, AMultiplierOf0LeavesTheKeys) {
  Random random(2);
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch = random_key_share(bits, 40, random);
    batch.multiplier = 0;
    EXPECT_EQ(run_key_share(key_share_kernel(bits), batch).keys, batch.keys);
  }
}

TEST(XlateGroupkey, TheMarkerIsANumberLikeAnyOther) {
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch;
    batch.elements = {oracle::no_mapping(bits)};
    batch.multiplier = 3;
    batch.keys.assign(20, 100);
    batch.codes.assign(20, 0);
    const uint32_t expected = 100 + 3 * oracle::no_mapping(bits);
    EXPECT_EQ(run_key_share(key_share_kernel(bits), batch).keys, Numbers(20, expected));
  }
}

TEST(XlateGroupkey, EveryNibbleInEveryLaneUnderEvenAndOddCodes) {
  const KeyShareKernel kernel = key_share_kernel(4);
  for (uint32_t turn = 0; turn < 32; ++turn) {
    KeyShareBatch batch;
    for (uint32_t i = 0; i < 32; ++i) batch.elements.push_back(i * 7 % 16);
    for (uint32_t row = 0; row < 35; ++row) {
      batch.codes.push_back((row + turn) % 32);
      batch.keys.push_back(row << 8);
    }
    EXPECT_EQ(key_share_difference(kernel, batch), "");
  }
}

TEST(XlateGroupkey, CodesUpToAMillion) {
  Random random(3);
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch;
    batch.elements.resize(1'000'003);
    for (uint32_t& element : batch.elements) element = static_cast<uint32_t>(random.bits(bits));
    batch.keys.assign(50, 7);
    for (int row = 0; row < 49; ++row) {
      batch.codes.push_back(static_cast<uint32_t>(random.below(1'000'003)));
    }
    batch.codes.push_back(1'000'002);
    batch.multiplier = 5;
    EXPECT_EQ(key_share_difference(key_share_kernel(bits), batch), "");
  }
}

// A selection, a first row, a position: the record's pointers lead nowhere and its numbers are any.
TEST(XlateGroupkey, EveryRowFromTheFirstOnWhateverTheRecordSays) {
  for (const unsigned bits : share_element_bits) {
    KeyShareBatch batch;
    batch.elements = {1};
    batch.keys.assign(33, 0);
    batch.codes.assign(33, 0);
    const KeyShareRun run = run_key_share(key_share_kernel(bits), batch);
    EXPECT_EQ(run.keys, Numbers(33, 1));
    EXPECT_EQ(run.damage, "");
  }
}

// Three columns of 3, 4 and 5 values become one number below 60.
TEST(XlateGroupkey, ColumnByColumnTheKeysBecomeAMixedRadixNumber) {
  Random random(4);
  for (const unsigned bits : share_element_bits) {
    const KeyShareKernel kernel = key_share_kernel(bits);
    constexpr uint32_t values[] = {3, 4, 5}, multipliers[] = {20, 5, 1};
    Numbers keys(75, 0), expected(75, 0);
    for (int column = 0; column < 3; ++column) {
      KeyShareBatch batch;
      for (uint32_t code = 0; code < 2 * values[column]; ++code) {
        batch.elements.push_back(code % values[column]);
      }
      for (uint32_t row = 0; row < 75; ++row) {
        batch.codes.push_back(static_cast<uint32_t>(random.below(batch.elements.size())));
        expected[row] = expected[row] * values[column] + batch.codes[row] % values[column];
      }
      batch.multiplier = multipliers[column];
      batch.keys = keys;
      keys = run_key_share(kernel, batch).keys;
    }
    EXPECT_EQ(keys, expected);
  }
}

}  // namespace
}  // namespace colx::test

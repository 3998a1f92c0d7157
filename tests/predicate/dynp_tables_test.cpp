// The six tables of the dynp form: their telling rows, and the rule for every row.
#include "kernels/predicate/dynp_tables.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "tests/oracle/value_rows_oracle.h"

namespace colx::test {
namespace {

using Row = std::array<unsigned, 16>;

template <class Table>
Row shuffle_row(const Table& table, unsigned length_byte) {
  Row row;
  for (unsigned k = 0; k < 16; ++k) row[k] = table[length_byte].bytes[k];
  return row;
}

Row maxwidth2(unsigned length_byte) {
  return shuffle_row(colx_shuffle_masks_dynp_maxwidth2, length_byte);
}
Row maxwidth4(unsigned length_byte) {
  return shuffle_row(colx_shuffle_masks_dynp_maxwidth4, length_byte);
}
Row maxwidth8(unsigned length_byte) {
  return shuffle_row(colx_shuffle_masks_dynp_maxwidth8, length_byte);
}

unsigned length2(unsigned length_byte) {
  return colx_length_consumed_dynp_maxwidth2[length_byte];
}
unsigned length4(unsigned length_byte) {
  return colx_length_consumed_dynp_maxwidth4[length_byte];
}
unsigned length8(unsigned length_byte) {
  return colx_length_consumed_dynp_maxwidth8[length_byte];
}

constexpr unsigned z = 0x80;  // a zero byte
constexpr Row zeros = {z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z};

// What shuffling the group's bytes has to give, lane by lane, from the oracle's reading of codes.
Row row_by_rule(unsigned length_byte, unsigned word_bits) {
  const uint8_t codes[] = {static_cast<uint8_t>(length_byte)};
  const unsigned lane = word_bits / 8;
  Row row = zeros;
  unsigned from = 0;
  for (unsigned j = 0; j < 16 / lane; ++j) {
    const unsigned code = oracle::code_at(codes, word_bits, j);
    if (code >= lane) return zeros;
    for (unsigned m = 0; m <= code; ++m) row[(j + 1) * lane - 1 - m] = from + m;
    from += code + 1;
  }
  return row;
}

// --- every row

TEST(DynpTables, EveryRowOfMaxwidth2FollowsTheRule) {
  for (unsigned i = 0; i < 256; ++i) {
    EXPECT_EQ(maxwidth2(i), row_by_rule(i, 16)) << i;
    EXPECT_EQ(length2(i), oracle::group_bytes(static_cast<uint8_t>(i), 16)) << i;
  }
}

TEST(DynpTables, EveryRowOfMaxwidth4FollowsTheRule) {
  for (unsigned i = 0; i < 256; ++i) {
    EXPECT_EQ(maxwidth4(i), row_by_rule(i, 32)) << i;
    EXPECT_EQ(length4(i), oracle::group_bytes(static_cast<uint8_t>(i), 32)) << i;
  }
}

TEST(DynpTables, EveryRowOfMaxwidth8FollowsTheRule) {
  for (unsigned i = 0; i < 256; ++i) {
    EXPECT_EQ(maxwidth8(i), row_by_rule(i, 64)) << i;
    EXPECT_EQ(length8(i), oracle::group_bytes(static_cast<uint8_t>(i), 64)) << i;
  }
}

TEST(DynpTables, EveryByteWithANibbleOf8OrMoreIsZerosAndTakes16Bytes) {
  for (unsigned i = 0; i < 256; ++i) {
    if (i >> 4 < 8 && i % 16 < 8) continue;
    EXPECT_EQ(maxwidth8(i), zeros) << i;
    EXPECT_EQ(length8(i), 16u) << i;
  }
}

// --- rows written out

TEST(DynpTables, Maxwidth2Row00) {
  EXPECT_EQ(maxwidth2(0x00), (Row{z, 0, z, 1, z, 2, z, 3, z, 4, z, 5, z, 6, z, 7}));
  EXPECT_EQ(length2(0x00), 8u);
}

TEST(DynpTables, Maxwidth2Row80) {
  EXPECT_EQ(maxwidth2(0x80), (Row{1, 0, z, 2, z, 3, z, 4, z, 5, z, 6, z, 7, z, 8}));
  EXPECT_EQ(length2(0x80), 9u);
}

TEST(DynpTables, Maxwidth2RowFFSwapsLanesAndTakesAll16Bytes) {
  EXPECT_EQ(maxwidth2(0xFF), (Row{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14}));
  EXPECT_EQ(length2(0xFF), 16u);
}

TEST(DynpTables, Maxwidth4Row00) {
  EXPECT_EQ(maxwidth4(0x00), (Row{z, z, z, 0, z, z, z, 1, z, z, z, 2, z, z, z, 3}));
  EXPECT_EQ(length4(0x00), 4u);
}

TEST(DynpTables, Maxwidth4Row1B) {
  EXPECT_EQ(maxwidth4(0x1B), (Row{z, z, z, 0, z, z, 2, 1, z, 5, 4, 3, 9, 8, 7, 6}));
  EXPECT_EQ(length4(0x1B), 10u);
}

TEST(DynpTables, Maxwidth4RowAAReadsRowsOf3Bytes) {
  EXPECT_EQ(maxwidth4(0xAA), (Row{z, 2, 1, 0, z, 5, 4, 3, z, 8, 7, 6, z, 11, 10, 9}));
  EXPECT_EQ(length4(0xAA), 12u);
}

TEST(DynpTables, Maxwidth4RowFFSwapsLanes) {
  EXPECT_EQ(maxwidth4(0xFF), (Row{3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12}));
  EXPECT_EQ(length4(0xFF), 16u);
}

TEST(DynpTables, Maxwidth8Row00) {
  EXPECT_EQ(maxwidth8(0x00), (Row{z, z, z, z, z, z, z, 0, z, z, z, z, z, z, z, 1}));
  EXPECT_EQ(length8(0x00), 2u);
}

TEST(DynpTables, Maxwidth8Row44ReadsRowsOf5Bytes) {
  EXPECT_EQ(maxwidth8(0x44), (Row{z, z, z, 4, 3, 2, 1, 0, z, z, z, 9, 8, 7, 6, 5}));
  EXPECT_EQ(length8(0x44), 10u);
}

TEST(DynpTables, Maxwidth8Rows55And66ReadRowsOf6And7Bytes) {
  EXPECT_EQ(maxwidth8(0x55), (Row{z, z, 5, 4, 3, 2, 1, 0, z, z, 11, 10, 9, 8, 7, 6}));
  EXPECT_EQ(length8(0x55), 12u);
  EXPECT_EQ(maxwidth8(0x66), (Row{z, 6, 5, 4, 3, 2, 1, 0, z, 13, 12, 11, 10, 9, 8, 7}));
  EXPECT_EQ(length8(0x66), 14u);
}

TEST(DynpTables, Maxwidth8Row77SwapsLanes) {
  EXPECT_EQ(maxwidth8(0x77), (Row{7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8}));
  EXPECT_EQ(length8(0x77), 16u);
}

TEST(DynpTables, Maxwidth8Row08IsAllZerosAndTakes16Bytes) {
  EXPECT_EQ(maxwidth8(0x08), zeros);
  EXPECT_EQ(length8(0x08), 16u);
}

// --- shape

TEST(DynpTables, ShuffleTablesAre4096BytesAndLengthTables256) {
  EXPECT_EQ(sizeof(colx_shuffle_masks_dynp_maxwidth2), 4096u);
  EXPECT_EQ(sizeof(colx_shuffle_masks_dynp_maxwidth4), 4096u);
  EXPECT_EQ(sizeof(colx_shuffle_masks_dynp_maxwidth8), 4096u);
  EXPECT_EQ(sizeof(colx_length_consumed_dynp_maxwidth2), 256u);
  EXPECT_EQ(sizeof(colx_length_consumed_dynp_maxwidth4), 256u);
  EXPECT_EQ(sizeof(colx_length_consumed_dynp_maxwidth8), 256u);
}

}  // namespace
}  // namespace colx::test

// Predicates on packed dictionary codes of 2 to 7, 9 to 15, 17 to 20 and 24 bits.
#include "tests/predicate/dict_checks.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint64_t>;
using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

Codes codes_of(uint32_t rows, uint64_t code) {
  return Codes(rows, code);
}

// `rows` codes that are 0 but for one.
Codes one_code(uint32_t rows, uint32_t row, uint64_t code) {
  Codes codes = codes_of(rows, 0);
  codes[row] = code;
  return codes;
}

// --- sweeps

TEST(DictPacked, EveryStepEdge) {
  for_each_scan(packed_widths, false, [](const auto& scan) { check_step_edges(scan); });
}

TEST(DictPacked, EveryPatternAgainstEveryBound) {
  for_each_scan(packed_widths, false, [](const auto& scan) { check_patterns_and_bounds(scan); });
}

TEST(DictPacked, EveryCombinationOfConditions) {
  for_each_scan(packed_widths, false, [](const auto& scan) { check_conditions(scan); });
}

TEST(DictPacked, TailAgreesWithStep) {
  for_each_scan(packed_widths, false, [](const auto& scan) {
    for (const Bounds b : telling_bounds(scan.width_bits)) check_tail_against_step(scan, b);
  });
}

TEST(DictPacked, EveryCodeAgainstEveryConstantUpTo6Bits) {
  for (const unsigned width : {2u, 3u, 4u, 5u, 6u}) {
    const uint64_t codes = top_code(width) + 1;
    Codes column;
    while (column.size() < 150) column.push_back(column.size() * 5 % codes);
    for (const uint32_t opc : predicate_opcs) {
      const auto scan = dict_scan(opc, width);
      for (uint64_t lo = 0; lo < codes; ++lo) {
        for (uint64_t hi = 0; hi < (oracle::is_range(opc) ? codes : 1); hi += 1 + codes / 16) {
          ASSERT_EQ(dict_difference(scan, dict_batch(scan, column, lo, hi)), "");
        }
      }
    }
  }
}

// --- the layout of the stream

TEST(DictPacked, CodesAreABigEndianBitStream) {
  // 3 bits: 101 001 11|1 000 110 0|01 010 100 = 5 1 7 0 6 1 2 4
  const auto scan = dict_scan(COLX_OPC_EQ, 3);
  const Codes codes = {5, 1, 7, 0, 6, 1, 2, 4};
  for (uint64_t constant = 0; constant < 8; ++constant) {
    ScanBatch batch = dict_batch(scan, {}, constant);
    batch.set_rows(8);
    batch.stream = {0b10100111, 0b10001100, 0b01010100};
    uint64_t expected = 0;
    for (uint32_t r = 0; r < 8; ++r) expected |= uint64_t{codes[r] == constant} << r;
    EXPECT_EQ(run_dict(scan, batch).bits, Words{expected}) << constant;
  }
}

TEST(DictPacked, RowsOf11BitsStraddleUpToThreeBytes) {
  // Rows of 0x7FF, 0, 0x555: 11111111 111|00000 000000|10 10101010 1
  const auto scan = dict_scan(COLX_OPC_EQ, 11);
  ScanBatch batch = dict_batch(scan, {}, 0x555);
  batch.set_rows(3);
  batch.stream = {0xFF, 0xE0, 0x02, 0xAA, 0x80};
  EXPECT_EQ(run_dict(scan, batch).bits, Words{4});
}

TEST(DictPacked, BelowOneStepEveryRowGoesThroughTheTail) {
  for (const unsigned width : packed_widths) {
    const uint32_t rows = dict_rows_per_step(width) - 1;
    const auto scan = dict_scan(COLX_OPC_NE, width);
    const ScanRun run = run_dict(scan, dict_batch(scan, codes_of(rows, 1), 0));
    EXPECT_EQ(run.num_set, rows) << width;
    EXPECT_EQ(run.bits.back(), all_ones >> (63 & (0 - rows))) << width;
    EXPECT_EQ(run.damage, "");
  }
}

TEST(DictPacked, OneStepOf3BitsFindsStraddlingRows2And5And10And13) {
  const auto scan = dict_scan(COLX_OPC_EQ, 3);
  Codes codes = codes_of(64, 2);
  Rows rows = {2, 5, 10, 13};
  for (const uint32_t row : rows) codes[row] = 5;
  EXPECT_EQ(hits(scan, codes, 5), rows);
  EXPECT_EQ(hits(scan, codes, 2).size(), 60u);
}

TEST(DictPacked, OneStepOf19BitsFindsRow5AcrossFourBytes) {
  // Row 5 lies in stream bits 95 to 113: the last bit of byte 11, bytes 12 and 13, two of byte 14.
  for (const uint64_t code : {0x7FFFFu, 0x40001u, 0x2AAAAu}) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_EQ, 19), one_code(32, 5, code), code), Rows{5});
  }
}

TEST(DictPacked, At24BitsEveryCodeIsThreeBytesAndRow1BeginsAtByte3) {
  const auto scan = dict_scan(COLX_OPC_EQ, 24);
  ScanBatch batch = dict_batch(scan, {}, 0x010203);
  batch.set_rows(3);
  batch.stream = {9, 9, 9, 1, 2, 3, 3, 2, 1};
  EXPECT_EQ(run_dict(scan, batch).bits, Words{2});
}

TEST(DictPacked, At24BitsAStepAgrees) {
  EXPECT_EQ(hits(dict_scan(COLX_OPC_EQ, 24), one_code(32, 1, 0x010203), 0x010203), Rows{1});
}

TEST(DictPacked, Ge256At9BitsSelects511WhereItFillsTheLanesTopBit) {
  // Row 0 of each eight has seven unused bits below it, so its code ends in the lane's top bit.
  for (const uint32_t row : {0u, 8u, 56u}) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE, 9), one_code(64, row, 511), 256), Rows{row});
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, 9), one_code(64, row, 511), 256).size(), 63u);
  }
}

TEST(DictPacked, TopBitOfTheLaneIsNoSignAtAnyWidth) {
  for (const unsigned width : packed_widths) {
    const uint64_t middle = top_code(width) / 2 + 1;
    const uint32_t rows = dict_rows_per_step(width);
    for (uint32_t row = 0; row < rows; row += 1 + rows / 16) {
      const Codes codes = one_code(rows, row, top_code(width));
      EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, width), codes, middle), Rows{row}) << width;
      EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LE, width), codes, middle, top_code(width)), Rows{row});
    }
  }
}

TEST(DictPacked, Lt1At12BitsSelectsExactlyTheRowsOfCode0) {
  Codes codes;
  Rows zeros;
  for (uint32_t r = 0; r < 150; ++r) {
    codes.push_back(r % 7 == 3 ? 0 : 1 + r * 27 % 4095);
    if (r % 7 == 3) zeros.push_back(r);
  }
  EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, 12), codes, 1), zeros);
}

TEST(DictPacked, EveryRowOfAStepIsItsOwnBit) {
  for (const unsigned width : packed_widths) {
    const uint32_t rows = dict_rows_per_step(width);
    for (uint32_t row = 0; row < rows; ++row) {
      const uint64_t code = top_code(width) - row % 2;
      ASSERT_EQ(hits(dict_scan(COLX_OPC_EQ, width), one_code(rows, row, code), code), Rows{row})
          << width;
    }
  }
}

// --- constants

TEST(DictPacked, ReversedBoundsSelectNothing) {
  for (const unsigned width : packed_widths) {
    Codes codes;
    const uint64_t top = top_code(width);
    while (codes.size() < 150) codes.push_back(codes.size() * 3 % (top + 1));
    for (uint32_t opc = COLX_OPC_GT_LT; opc <= COLX_OPC_GE_LE; ++opc) {
      EXPECT_EQ(hits(dict_scan(opc, width), codes, top, 0), Rows{}) << width;
      EXPECT_EQ(hits(dict_scan(opc, width), codes, top / 2 + 1, top / 2), Rows{}) << width;
    }
  }
}

TEST(DictPacked, LimitsOfTheCodeRangeNeedNoSpecialCase) {
  for (const unsigned width : packed_widths) {
    Codes codes;
    const uint64_t top = top_code(width);
    while (codes.size() < 150) codes.push_back(codes.size() % 2 == 0 ? top : codes.size() % top);
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LE, width), codes, top).size(), 150u) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE, width), codes, 0).size(), 150u) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, width), codes, 0), Rows{}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, width), codes, top), Rows{}) << width;
  }
}

TEST(DictPacked, AllFourBytesOfAConstantAreReadAndNoMore) {
  // A tail row is compared with the whole number: the low bits alone would be equal.
  for (const unsigned width : packed_widths) {
    const auto scan = dict_scan(COLX_OPC_EQ, width);
    ScanBatch batch = dict_batch(scan, codes_of(1, 1), 1);
    ASSERT_EQ(batch.args.at(0).size(), 4u);
    EXPECT_EQ(run_dict(scan, batch).num_set, 1u);
    set_dict_constants(batch, scan, 0x80000001, 0);
    EXPECT_EQ(run_dict(scan, batch).num_set, 0u) << width;
  }
}

// Results are undefined then; memory and the bits above the rows are not.
TEST(DictPacked, AConstantThatDoesNotFitTouchesNothingItShouldNot) {
  for_each_scan(packed_widths, false, [](const auto& scan) {
    for (const uint64_t wide : {top_code(scan.width_bits) + 1, uint64_t{0xFFFFFFFF}}) {
      for (const uint32_t rows : row_counts(dict_rows_per_step(scan.width_bits))) {
        Random random(rows);
        const Codes codes = pattern_codes(Pattern::random, scan.width_bits, rows, 0, random);
        const ScanRun run = run_dict(scan, dict_batch(scan, codes, wide, wide));
        ASSERT_EQ(run.damage, "");
        ASSERT_LE(run.num_set, rows);
        const uint64_t above = rows % 64 == 0 ? 0 : run.bits.back() >> rows % 64;
        ASSERT_EQ(above, 0u);
      }
    }
  });
}

// --- what may be read behind the rows

TEST(DictPacked, ReadsNoMoreThan8BytesBehindTheRows) {
  for_each_scan(packed_widths, false, [](const auto& scan) {
    for (const uint32_t rows : row_counts(dict_rows_per_step(scan.width_bits))) {
      const ScanBatch batch = dict_batch(scan, codes_of(rows, 1), 1, 2);
      ASSERT_EQ(batch.slack_bytes, 8u);
      ASSERT_EQ(batch.stream.size(), (uint64_t{rows} * scan.width_bits + 7) / 8);
      ASSERT_EQ(dict_difference(scan, batch), "");
    }
  });
}

TEST(DictPacked, WhatLiesBehindTheRowsHasNoInfluence) {
  for_each_scan(packed_widths, false, [](const auto& scan) {
    for (const uint32_t rows : {1u, 31u, 33u, 65u, 130u}) {
      ScanBatch batch = dict_batch(scan, codes_of(rows, 1), 1, 2);
      const ScanRun first = run_dict(scan, batch);
      batch.slack_bytes = 0;
      batch.stream.insert(batch.stream.end(), 8, 0);
      const ScanRun second = run_dict(scan, batch);
      ASSERT_EQ(first.bits, second.bits) << rows;
    }
  });
}

}  // namespace
}  // namespace colx::test

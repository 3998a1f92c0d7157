// Predicates on dictionary codes of 8, 16, 32 and 64 bits.
#include "tests/predicate/dict_checks.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint64_t>;
using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

Codes codes_of(uint32_t rows, uint64_t code) {
  return Codes(rows, code);
}

// --- sweeps

TEST(DictAligned, EveryStepEdge) {
  for_each_scan(aligned_widths, false, [](const auto& scan) { check_step_edges(scan); });
}

TEST(DictAligned, EveryPatternAgainstEveryBound) {
  for_each_scan(aligned_widths, false, [](const auto& scan) { check_patterns_and_bounds(scan); });
}

TEST(DictAligned, EveryCombinationOfConditions) {
  for_each_scan(aligned_widths, false, [](const auto& scan) { check_conditions(scan); });
}

TEST(DictAligned, TailAgreesWithStep) {
  for_each_scan(aligned_widths, false, [](const auto& scan) {
    for (const Bounds b : telling_bounds(scan.width_bits)) check_tail_against_step(scan, b);
  });
}

TEST(DictAligned, EveryCodeAgainstEveryConstantAt8Bits) {
  Codes codes(256);
  for (uint32_t code = 0; code < 256; ++code) codes[code] = code;
  for (const uint32_t opc : predicate_opcs) {
    const auto scan = dict_scan(opc, 8);
    for (uint64_t lo = 0; lo < 256; ++lo) {
      for (const uint64_t hi : {lo, (lo + 1) & 255, (lo + 100) & 255, uint64_t{255} - lo}) {
        ASSERT_EQ(dict_difference(scan, dict_batch(scan, codes, lo, hi)), "") << lo << " " << hi;
        if (!oracle::is_range(opc)) break;
      }
    }
  }
}

// --- row counts

TEST(DictAligned, NoRowsReadNothingAndGiveStatusOne) {
  for_each_scan(aligned_widths, false, [](const auto& scan) {
    ScanBatch batch = dict_batch(scan, {}, 0, 0);
    batch.stream_readable = false;
    const ScanRun run = run_dict(scan, batch);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.damage, "");
  });
}

TEST(DictAligned, Of130RowsAt8BitsTwoAreTestedSinglyAndTheThirdWordIsClearAbove) {
  const auto scan = dict_scan(COLX_OPC_EQ, 8);
  const ScanRun run = run_dict(scan, dict_batch(scan, codes_of(130, 4), 4));
  EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 3}));
  EXPECT_EQ(run.num_set, 130u);
}

TEST(DictAligned, Of100RowsAt32BitsTheLastFourLandInBits32To35OfWord1) {
  const auto scan = dict_scan(COLX_OPC_EQ, 32);
  Codes codes = codes_of(100, 0);
  std::fill(codes.begin() + 96, codes.end(), 0xABCDEF01);
  const ScanRun run = run_dict(scan, dict_batch(scan, codes, 0xABCDEF01));
  EXPECT_EQ(run.bits, (Words{0, uint64_t{0xF} << 32}));
  EXPECT_EQ(run.num_set, 4u);
}

TEST(DictAligned, Of100RowsAt32BitsTheUpperHalfOfWord1IsClearedBehindThreeSteps) {
  const auto scan = dict_scan(COLX_OPC_EQ, 32);
  Codes codes = codes_of(100, 9);
  std::fill(codes.begin() + 96, codes.end(), 8);
  const ScanRun run = run_dict(scan, dict_batch(scan, codes, 9));
  EXPECT_EQ(run.bits, (Words{all_ones, 0xFFFFFFFF}));
}

TEST(DictAligned, Of40RowsAt64BitsEightGoBitByBit) {
  const auto scan = dict_scan(COLX_OPC_EQ, 64);
  Codes codes = codes_of(40, 1);
  std::fill(codes.begin() + 32, codes.end(), all_ones);
  EXPECT_EQ(run_dict(scan, dict_batch(scan, codes, all_ones)).bits, Words{uint64_t{0xFF} << 32});
  EXPECT_EQ(run_dict(scan, dict_batch(scan, codes, 1)).bits, Words{0xFFFFFFFF});
}

// --- codes and constants

TEST(DictAligned, SixteenBitCode0102IsMatchedByConstant258) {
  const auto scan = dict_scan(COLX_OPC_EQ, 16);
  ScanBatch batch = dict_batch(scan, {}, 258);
  batch.set_rows(2);
  batch.stream = {0x01, 0x02, 0x02, 0x01};
  EXPECT_EQ(run_dict(scan, batch).bits, Words{1});
}

TEST(DictAligned, SixteenBitCodesAreBigEndianInAStepToo) {
  const auto scan = dict_scan(COLX_OPC_EQ, 16);
  ScanBatch batch = dict_batch(scan, {}, 258);
  batch.set_rows(64);
  for (int pair = 0; pair < 32; ++pair) {
    batch.stream.insert(batch.stream.end(), {0x01, 0x02, 0x02, 0x01});
  }
  EXPECT_EQ(run_dict(scan, batch).bits, Words{0x5555555555555555});
}

TEST(DictAligned, WiderCodesAreBigEndian) {
  const auto eq32 = dict_scan(COLX_OPC_EQ, 32);
  ScanBatch batch = dict_batch(eq32, {}, 0x01020304);
  batch.set_rows(2);
  batch.stream = {4, 3, 2, 1, 1, 2, 3, 4};
  EXPECT_EQ(run_dict(eq32, batch).bits, Words{2});
  const auto eq64 = dict_scan(COLX_OPC_EQ, 64);
  batch = dict_batch(eq64, {}, 0x0102030405060708);
  batch.set_rows(2);
  batch.stream = {8, 7, 6, 5, 4, 3, 2, 1, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(run_dict(eq64, batch).bits, Words{2});
}

TEST(DictAligned, NeOnAFullBlockSelectsAllRowsWithoutAMatch) {
  for (const unsigned width : aligned_widths) {
    const auto scan = dict_scan(COLX_OPC_NE, width);
    const ScanRun run = run_dict(scan, dict_batch(scan, codes_of(128, 3), 4));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones})) << width;
    EXPECT_EQ(run.num_set, 128u);
  }
}

TEST(DictAligned, NeInTheTailLeavesBitsAboveTheRowsClear) {
  for (const unsigned width : aligned_widths) {
    const auto scan = dict_scan(COLX_OPC_NE, width);
    const ScanRun run = run_dict(scan, dict_batch(scan, codes_of(131, 3), 4));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 7})) << width;
    EXPECT_EQ(run.num_set, 131u);
  }
}

// A column of every telling code, long enough for steps and tail.
Codes telling_codes(unsigned width) {
  const uint64_t top = top_code(width);
  Codes codes;
  for (int i = 0; i < 50; ++i) {
    codes.insert(codes.end(), {0, 1, top / 2, top / 2 + 1, top - 1, top});
  }
  return codes;
}

TEST(DictAligned, LtWith0SelectsNone) {
  for (const unsigned width : aligned_widths) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, width), telling_codes(width), 0), Rows{}) << width;
  }
}

TEST(DictAligned, GtWithTheTopCodeSelectsNone) {
  for (const unsigned width : aligned_widths) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, width), telling_codes(width), top_code(width)), Rows{})
        << width;
  }
}

TEST(DictAligned, LeWithTheTopCodeSelectsAll) {
  for (const unsigned width : aligned_widths) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LE, width), telling_codes(width), top_code(width)).size(),
              300u)
        << width;
  }
}

TEST(DictAligned, GeWith0SelectsAll) {
  for (const unsigned width : aligned_widths) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE, width), telling_codes(width), 0).size(), 300u) << width;
  }
}

TEST(DictAligned, GtLtWithBoundsThatMeetOrCrossSelectsNone) {
  for (const unsigned width : aligned_widths) {
    const uint64_t middle = top_code(width) / 2 + 1;
    const auto scan = dict_scan(COLX_OPC_GT_LT, width);
    EXPECT_EQ(hits(scan, telling_codes(width), middle, middle), Rows{}) << width;
    EXPECT_EQ(hits(scan, telling_codes(width), middle, middle - 1), Rows{}) << width;
    EXPECT_EQ(hits(scan, telling_codes(width), top_code(width), 0), Rows{}) << width;
  }
}

TEST(DictAligned, GeLeWithReversedBoundsSelectsNone) {
  for (const unsigned width : aligned_widths) {
    const uint64_t middle = top_code(width) / 2 + 1;
    const auto scan = dict_scan(COLX_OPC_GE_LE, width);
    EXPECT_EQ(hits(scan, telling_codes(width), middle, middle - 1), Rows{}) << width;
    EXPECT_EQ(hits(scan, telling_codes(width), top_code(width), 0), Rows{}) << width;
  }
}

TEST(DictAligned, GeLeWithEqualBoundsActsAsEq) {
  for (const unsigned width : aligned_widths) {
    const uint64_t middle = top_code(width) / 2 + 1;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LE, width), telling_codes(width), middle, middle),
              hits(dict_scan(COLX_OPC_EQ, width), telling_codes(width), middle))
        << width;
  }
}

TEST(DictAligned, GtSelects80Against7FAt8Bits) {
  EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, 8), {0x80, 0x7F, 0x7E}, 0x7F), Rows{0});
  EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, 8), codes_of(128, 0x80), 0x7F).size(), 128u);
}

TEST(DictAligned, OrderIsUnsignedAcrossTheTopBitAtEveryWidth) {
  for (const unsigned width : aligned_widths) {
    const uint64_t middle = top_code(width) / 2 + 1;
    const Codes codes = {middle - 1, middle, middle + 1};
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, width), codes, middle), Rows{0}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LE, width), codes, middle), (Rows{0, 1})) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT, width), codes, middle), Rows{2}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE, width), codes, middle), (Rows{1, 2})) << width;
  }
}

TEST(DictAligned, RangesTakeTheirBoundsOpenOrClosed) {
  for (const unsigned width : aligned_widths) {
    const Codes codes = {10, 11, 12, 13, 14};
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT_LT, width), codes, 11, 13), Rows{2});
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT_LE, width), codes, 11, 13), (Rows{2, 3}));
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LT, width), codes, 11, 13), (Rows{1, 2}));
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LE, width), codes, 11, 13), (Rows{1, 2, 3}));
  }
}

// --- what may be read

TEST(DictAligned, ReadsNothingBehindTheRowsAndNoMoreThanTheConstants) {
  for_each_scan(aligned_widths, false, [](const auto& scan) {
    for (const uint32_t rows : row_counts(dict_rows_per_step(scan.width_bits))) {
      const ScanBatch batch = dict_batch(scan, codes_of(rows, 5), 5, 6);
      ASSERT_EQ(batch.slack_bytes, 0u);
      ASSERT_EQ(batch.args.at(0).size(), scan.width_bits / 8);
      ASSERT_EQ(dict_difference(scan, batch), "");
    }
  });
}

}  // namespace
}  // namespace colx::test

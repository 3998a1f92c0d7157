// Predicates on fixed rows of 1 to 8 bytes.
#include "tests/predicate/value_checks.h"

namespace colx::test {
namespace {

using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

ValueRows rows_of(size_t count, uint64_t value) {
  return ValueRows(count, ValueRow{value});
}

ValueRows rows_of(std::initializer_list<uint64_t> values) {
  ValueRows rows;
  for (const uint64_t value : values) rows.push_back({value});
  return rows;
}

uint64_t top_of(unsigned width_bits) {
  return ~uint64_t{0} << (64 - width_bits);
}

// --- sweeps

TEST(Fixed, EveryStepEdge) {
  for_each_fixed(false, [](const auto& scan, unsigned width) { check_step_edges(scan, width); });
}

TEST(Fixed, EveryPatternAgainstEveryBound) {
  for_each_fixed(false, [](const auto& scan, unsigned w) { check_patterns_and_bounds(scan, w); });
}

TEST(Fixed, EveryCombinationOfConditions) {
  for_each_fixed(false, [](const auto& scan, unsigned width) { check_conditions(scan, width); });
}

TEST(Fixed, EveryRowAgainstEveryConstantAt8Bits) {
  ValueRows rows;
  for (uint64_t row = 0; row < 256; ++row) rows.push_back({row << 56});
  for (const uint32_t opc : predicate_opcs) {
    const ValueScan scan = fixed_scan(opc, 8);
    for (uint64_t lo = 0; lo < 256; ++lo) {
      for (const uint64_t hi : {lo, (lo + 1) & 255, (lo + 100) & 255, uint64_t{255} - lo}) {
        const ScanBatch batch = value_batch(scan, 8, rows, {lo << 56}, {hi << 56});
        ASSERT_EQ(value_difference(scan, batch), "") << lo << " " << hi;
        if (!oracle::is_range(opc)) break;
      }
    }
  }
}

// Each byte of the row decides alone, in steps and in the tail.
TEST(Fixed, EveryByteOfARowCounts) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    const uint64_t centre =
        stored({0x80, 0x7F, 0x80, 0x7F, 0x80, 0x7F, 0x80, 0x7F}) & top_of(width);
    ValueRows rows;
    for (size_t i = 0; i < oracle::rows_per_step(scan) + 3 * size_t{width / 8}; ++i) {
      const unsigned up = 56 - 8 * static_cast<unsigned>(i % (width / 8));
      rows.push_back({centre + ((i / (width / 8) % 3 - 1) << up)});
    }
    ASSERT_EQ(value_difference(scan, value_batch(scan, width, rows, {centre}, {centre})), "");
  });
}

// --- row counts

TEST(Fixed, NoRowsReadAndWriteNothingAndGiveStatusOne) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    ScanBatch batch = value_batch(scan, width, {}, {}, {});
    batch.stream_readable = false;
    batch.src_rows = 100;  // room in the output that has to stay as it is
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.status, 1u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.bits, (Words{GuardedOutput::dirty_word(0), GuardedOutput::dirty_word(1)}));
    ASSERT_EQ(run.damage, "");
  });
}

TEST(Fixed, BelowOneStepTheOutputIsClearedFromItsFirstByte) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    if (scan.opc != COLX_OPC_GT) return;
    const uint32_t rows = oracle::rows_per_step(scan) - 1;
    const ScanRun run = run_value_scan(scan, value_batch(scan, width, rows_of(rows, 0), {0}));
    ASSERT_EQ(run.bits, Words(words_of(rows), 0)) << value_kernel(scan).name;
    ASSERT_EQ(run.num_set, 0u);
  });
}

TEST(Fixed, Of64RowsAt8BitsAllAreTestedInTheTail) {
  const ValueScan scan = fixed_scan(COLX_OPC_EQ, 8);
  ValueRows rows = rows_of(64, 0);
  rows[0].value = rows[63].value = stored({9});
  const ScanRun run = run_value_scan(scan, value_batch(scan, 8, rows, {stored({9})}));
  EXPECT_EQ(run.bits, Words{1 | uint64_t{1} << 63});
  EXPECT_EQ(run.num_set, 2u);
}

TEST(Fixed, Of65RowsAt32BitsTheLastLandsInBit0OfWord1AndItsWordIsClearAbove) {
  const ValueScan scan = fixed_scan(COLX_OPC_EQ, 32);
  const ValueRows rows = rows_of(65, stored({1, 2, 3, 4}));
  const ScanRun run = run_value_scan(scan, value_batch(scan, 32, rows, {stored({1, 2, 3, 4})}));
  EXPECT_EQ(run.bits, (Words{all_ones, 1}));
  EXPECT_EQ(run.num_set, 65u);
}

// --- values

TEST(Fixed, RowFFIsGreaterThan7FAt8Bits) {
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_GT, 8), 8, rows_of({stored({0xFF}), stored({0x7F})}),
                 {stored({0x7F})}),
            Rows{0});
}

TEST(Fixed, Row8000IsGreaterThan00FFAt16Bits) {
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_GT, 16), 16, rows_of({stored({0x80, 0}), stored({0, 0xFF})}),
                 {stored({0, 0xFF})}),
            Rows{0});
}

TEST(Fixed, RowsWithTheTopBitOrderAboveAllOthersAtEveryWidthInStepAndTail) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    if (scan.opc != COLX_OPC_GT) return;
    ValueRows rows;
    for (uint32_t r = 0; r < oracle::rows_per_step(scan) + 2; ++r) {
      rows.push_back({r % 2 == 0 ? stored({0x80}) : top_of(width) >> 1 & top_of(width)});
    }
    const Rows found =
        hits(scan, width, rows, {stored({0x7F}) | (top_of(width) & ~(uint64_t{255} << 56))});
    ASSERT_EQ(found.size(), rows.size() / 2) << value_kernel(scan).name << " " << width;
    ASSERT_EQ(found[0], 0u);
  });
}

TEST(Fixed, Row0102EqualsConstant0102At16Bits) {
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, 16), 16, rows_of({stored({1, 2}), stored({2, 1})}),
                 {stored({1, 2})}),
            Rows{0});
}

TEST(Fixed, Row0102IsLessThan0201At16Bits) {
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_LT, 16), 16, rows_of({stored({1, 2}), stored({2, 1})}),
                 {stored({2, 1})}),
            Rows{0});
}

TEST(Fixed, RowOfThreeBytesMatchesItsBytesFollowedByZeroInStepAndTail) {
  const ValueScan eq = fixed_scan(COLX_OPC_EQ, 24);
  const ValueRows rows = rows_of(33, stored({0x12, 0x34, 0x56}));
  ScanBatch batch = value_batch(eq, 24, rows, {});
  batch.args[0] = {0x12, 0x34, 0x56, 0x00};
  EXPECT_EQ(hits(eq, batch).size(), 33u);
}

TEST(Fixed, RowOfThreeBytesDoesNotMatchZeroFollowedByItsBytes) {
  const ValueScan eq = fixed_scan(COLX_OPC_EQ, 24);
  const ValueRows rows = rows_of(33, stored({0x12, 0x34, 0x56}));
  ScanBatch batch = value_batch(eq, 24, rows, {});
  batch.args[0] = {0x00, 0x12, 0x34, 0x56};
  EXPECT_EQ(hits(eq, batch), Rows{});
}

TEST(Fixed, RowOfThreeBytesIsLeftJustifiedInItsWord) {
  // As 0x12345600 it lies above 0x12345500 and below 0x12345700.
  const ValueRows rows = rows_of(33, stored({0x12, 0x34, 0x56}));
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_GT_LT, 24), 24, rows, {stored({0x12, 0x34, 0x55})},
                 {stored({0x12, 0x34, 0x57})})
                .size(),
            33u);
}

TEST(Fixed, GtLtWithEqualBoundsSetsNoBit) {
  for (const unsigned width : fixed_widths) {
    const ValueScan scan = fixed_scan(COLX_OPC_GT_LT, width);
    EXPECT_EQ(hits(scan, width, rows_of(131, stored({7})), {stored({7})}, {stored({7})}), Rows{})
        << width;
  }
}

TEST(Fixed, GeLeWithEqualBoundsActsAsEq) {
  for (const unsigned width : fixed_widths) {
    ValueRows rows;
    for (uint64_t r = 0; r < 131; ++r) rows.push_back({stored({6}) + (r % 3 << 56)});
    EXPECT_EQ(hits(fixed_scan(COLX_OPC_GE_LE, width), width, rows, {stored({7})}, {stored({7})}),
              hits(fixed_scan(COLX_OPC_EQ, width), width, rows, {stored({7})}))
        << width;
  }
}

TEST(Fixed, ReversedBoundsAreNotLookedAtAndSelectNothing) {
  for (const unsigned width : fixed_widths) {
    for (const uint32_t opc : {COLX_OPC_GT_LT, COLX_OPC_GT_LE, COLX_OPC_GE_LT, COLX_OPC_GE_LE}) {
      EXPECT_EQ(hits(fixed_scan(opc, width), width, rows_of(131, stored({7})), {stored({8})},
                     {stored({6})}),
                Rows{});
    }
  }
}

TEST(Fixed, NeSetsNoBitAtOrPastTheRows) {
  for (const unsigned width : fixed_widths) {
    const ValueScan scan = fixed_scan(COLX_OPC_NE, width);
    const ScanRun run =
        run_value_scan(scan, value_batch(scan, width, rows_of(131, stored({3})), {stored({4})}));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 7})) << width;
    EXPECT_EQ(run.num_set, 131u);
  }
}

// --- where the row width comes from

TEST(Fixed, WidthIsThatOfTheThirdArgumentAndNotOfTheSource) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    if (!scan.reads_width()) return;
    Random random(width);
    ScanBatch batch = random_value_batch(scan, width, Pattern::random, 70,
                                         {stored({0x80}), top_of(width)}, random);
    batch.width_bits = 64;  // misleads whoever reads it
    ASSERT_EQ(value_difference(scan, batch), "") << width;
    batch.width_bits = 0;
    ASSERT_EQ(value_difference(scan, batch), "") << width;
  });
}

TEST(Fixed, OnlyTheLowByteOfTheWidthCounts) {
  static_assert(noisy_width(24) != 24 && (noisy_width(24) & 0xFF) == 24);
  const ValueScan eq = fixed_scan(COLX_OPC_EQ, 24);
  ScanBatch batch = value_batch(eq, 24, rows_of(40, stored({1, 2, 3})), {stored({1, 2, 3})});
  set_value_constants(batch, eq, 0xFFFFFF00 | 24, {stored({1, 2, 3})});
  EXPECT_EQ(hits(eq, batch).size(), 40u);
}

TEST(Fixed, At8And16BitsNoWidthIsReadAndItsPlaceMayBeNull) {
  for (const unsigned width : {8u, 16u}) {
    for (const uint32_t opc : predicate_opcs) {
      const ValueScan scan = fixed_scan(opc, width);
      const ScanBatch batch =
          value_batch(scan, width, rows_of(131, stored({7})), {stored({7})}, {stored({7})});
      ScanStage& stage = scan_stage();
      stage.set(batch);
      const void* const with_nulls[] = {stage.args[0], nullptr, nullptr, nullptr};
      stage.args = with_nulls;
      EXPECT_EQ(stage.call(value_kernel(scan)).damage, "");
    }
  }
}

TEST(Fixed, SecondStreamIsNotRead) {
  for (const unsigned width : fixed_widths) {
    const ValueScan scan = fixed_scan(COLX_OPC_GE, width);
    const ScanBatch batch = value_batch(scan, width, rows_of(131, stored({7})), {stored({7})});
    ASSERT_TRUE(batch.aux.empty());  // null in the call
    EXPECT_EQ(hits(scan, batch).size(), 131u);
  }
}

// --- constants with bytes beyond the row width, which ought to be zero

// One full step and a tail of rows whose bytes are those of the constant's front.
struct LooseConstant {
  unsigned width_bits;
  uint32_t step;
  ScanBatch batch;

  LooseConstant(uint32_t opc, unsigned width) : width_bits(width) {
    const ValueScan scan = fixed_scan(opc, width);
    step = oracle::rows_per_step(scan);
    const uint64_t value = stored({1, 2, 3, 4, 5, 6, 7, 8}) & top_of(width);
    const uint64_t loose = value | uint64_t{1} << (64 - scan.word_bits);
    batch = value_batch(scan, width, rows_of(step + 3, value), {loose});
  }
  Rows found(uint32_t opc) const { return hits(fixed_scan(opc, width_bits), batch); }
};

TEST(FixedLooseConstant, EqInStepsMatchesNothing) {
  for (const unsigned width : {24u, 40u, 48u, 56u}) {
    const LooseConstant loose(COLX_OPC_EQ, width);
    for (const uint32_t row : loose.found(COLX_OPC_EQ)) EXPECT_GE(row, loose.step) << width;
  }
}

TEST(FixedLooseConstant, EqInThe32BitTailMatchesNothing) {
  EXPECT_EQ(LooseConstant(COLX_OPC_EQ, 24).found(COLX_OPC_EQ), Rows{});
}

TEST(FixedLooseConstant, NeInThe32BitTailSetsEveryRow) {
  EXPECT_EQ(LooseConstant(COLX_OPC_NE, 24).found(COLX_OPC_NE).size(), 35u);
}

TEST(FixedLooseConstant, EqInThe64BitTailDropsThoseBytes) {
  for (const unsigned width : {40u, 48u, 56u}) {
    EXPECT_EQ(LooseConstant(COLX_OPC_EQ, width).found(COLX_OPC_EQ), (Rows{16, 17, 18})) << width;
  }
}

TEST(FixedLooseConstant, OrderInTheTailDropsThoseBytesAndInStepsComparesThem) {
  for (const unsigned width : {24u, 40u, 48u, 56u}) {
    const LooseConstant loose(COLX_OPC_LT, width);
    EXPECT_EQ(loose.found(COLX_OPC_LT).size(), loose.step) << width;  // below it in steps only
    EXPECT_EQ(LooseConstant(COLX_OPC_GE, width).found(COLX_OPC_GE),
              (Rows{loose.step, loose.step + 1, loose.step + 2}))
        << width;
  }
}

// The bounds cross in those bytes alone: no row lies between them, but the tail sees equal bounds.
TEST(FixedLooseConstant, BoundsThatCrossInThoseBytesFindTheirRowInTheTailOnly) {
  for (const unsigned width : {24u, 40u, 48u, 56u}) {
    const ValueScan scan = fixed_scan(COLX_OPC_GE_LE, width);
    const uint32_t step = oracle::rows_per_step(scan);
    const uint64_t value = stored({1, 2, 3, 4, 5, 6, 7, 8}) & top_of(width);
    const uint64_t last_byte = uint64_t{1} << (64 - scan.word_bits);
    const ScanBatch batch = value_batch(scan, width, rows_of(step + 3, value),
                                        {value + 2 * last_byte}, {value + last_byte});
    EXPECT_EQ(hits(scan, batch), (Rows{step, step + 1, step + 2})) << width;
    EXPECT_EQ(value_difference(scan, batch), "") << width;
  }
}

TEST(FixedLooseConstant, EveryOperationAgreesWithTheOracle) {
  for_each_fixed(false, [](const auto& scan, unsigned width) {
    if (width == scan.word_bits) return;
    for (const uint32_t rows : row_counts(oracle::rows_per_step(scan))) {
      Random random(mixed_seed(width, rows));
      ScanBatch batch = random_value_batch(scan, width, Pattern::near, rows,
                                           {stored({0x80}), stored({0x90})}, random);
      batch.args[0].back() = 1;
      if (!batch.hi_args.empty()) batch.hi_args[0].back() = 0xFF;
      ASSERT_EQ(value_difference(scan, batch), "") << width;
    }
  });
}

// --- slack

TEST(Fixed, ReadsNoFurtherThanTheGrantedSlack) {
  const struct {
    unsigned width_bits;
    size_t slack_bytes;
  } granted[] = {{8, 0}, {16, 0}, {24, 4}, {32, 0}, {40, 6}, {48, 4}, {56, 2}, {64, 0}};
  for (const auto& [width, slack] : granted) {
    for (const uint32_t opc : predicate_opcs) {
      const ValueScan scan = fixed_scan(opc, width);
      for (const uint32_t rows : row_counts(oracle::rows_per_step(scan))) {
        ScanBatch batch =
            value_batch(scan, width, rows_of(rows, stored({5})), {stored({5})}, {stored({5})});
        ASSERT_EQ(batch.slack_bytes, rows == 0 ? 0 : slack);
        ASSERT_EQ(value_difference(scan, batch), "") << width;
      }
    }
  }
}

// --- names

TEST(Fixed, LabelsAndTextsBearTheKernelsName) {
  for (const unsigned width : fixed_widths) {
    const ValueScan scan = fixed_scan(COLX_OPC_LT, width);
    ScanBatch batch = value_batch(scan, width, rows_of(131, stored({7})), {stored({8})});
    batch.store = Store::compressed;
    batch.decode_status = 3;
    ASSERT_EQ(value_difference(scan, batch), "");
    const std::string name = "colx_lt_fixed_" + std::to_string(scan.word_bits) + "bit";
    EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label, name + ": vec1_decomp");
    EXPECT_EQ(scan_stage().host.raised.at(0).text, name + ": colx_wpak_decode failed");
  }
}

}  // namespace
}  // namespace colx::test

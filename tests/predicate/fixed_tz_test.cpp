// Predicates on fixed rows whose ties a code per row breaks.
#include "tests/predicate/value_checks.h"

namespace colx::test {
namespace {

using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

// Rows of one value with these codes, over and over.
ValueRows tied_rows(uint32_t count, uint64_t value, std::initializer_list<uint8_t> codes) {
  const std::vector<uint8_t> all(codes);
  ValueRows rows;
  for (uint32_t r = 0; r < count; ++r) rows.push_back({value, all[r % all.size()]});
  return rows;
}

constexpr unsigned widths_with_codes[] = {16, 24, 32, 40, 48, 56, 64};

// --- sweeps

TEST(FixedTz, EveryStepEdge) {
  for_each_fixed(true, [](const auto& scan, unsigned width) { check_step_edges(scan, width); });
}

TEST(FixedTz, EveryPatternAgainstEveryBound) {
  for_each_fixed(true, [](const auto& scan, unsigned w) { check_patterns_and_bounds(scan, w); });
}

TEST(FixedTz, EveryCombinationOfConditions) {
  for_each_fixed(true, [](const auto& scan, unsigned width) { check_conditions(scan, width); });
}

// All codes of a row against all bytes of a constant, in step and tail, for rows of its value and
// beside it. Rows of 64 bits have codes up to 15 here.
TEST(FixedTz, EveryCodeAgainstEveryTieByte) {
  for (const unsigned width : widths_with_codes) {
    for (const uint32_t opc : predicate_opcs) {
      const ValueScan scan = fixed_scan(opc, width, true);
      const unsigned codes = 1u << oracle::code_bits(scan.word_bits);
      ValueRows rows;
      const uint64_t one = uint64_t{1} << (64 - width);
      for (uint32_t r = 0; r < 4 * oracle::rows_per_step(scan) - 1; ++r) {
        const uint64_t value = stored({0x80}) + (r % 5 == 0 ? one : r % 7 == 0 ? 0 - one : 0);
        rows.push_back({value, static_cast<uint8_t>(r * 7 / 3 % codes)});
      }
      for (unsigned tie = 0; tie < 256; ++tie) {
        const auto byte = static_cast<uint8_t>(tie);
        const auto other = static_cast<uint8_t>(tie * 5 + 1);
        const ScanBatch batch =
            value_batch(scan, width, rows, {stored({0x80}), byte}, {stored({0x80}), other});
        ASSERT_EQ(value_difference(scan, batch), "") << "width " << width << " tie " << tie;
      }
    }
  }
}

// --- what ties decide

TEST(FixedTz, ShorterCodesSortFirstAmongEqualValues) {
  for (const unsigned width : widths_with_codes) {
    const uint64_t value = stored({0x12});
    const ValueRows rows = {{value, 0}, {value, 1}, {stored({0x11}), 1}, {stored({0x13}), 0}};
    const auto found = [&](uint32_t opc) {
      return hits(fixed_scan(opc, width, true), width, rows, {value, 1});
    };
    EXPECT_EQ(found(COLX_OPC_EQ), Rows{1}) << width;
    EXPECT_EQ(found(COLX_OPC_NE), (Rows{0, 2, 3})) << width;
    EXPECT_EQ(found(COLX_OPC_LT), (Rows{0, 2})) << width;
    EXPECT_EQ(found(COLX_OPC_LE), (Rows{0, 1, 2})) << width;
    EXPECT_EQ(found(COLX_OPC_GT), Rows{3}) << width;
    EXPECT_EQ(found(COLX_OPC_GE), (Rows{1, 3})) << width;
  }
}

TEST(FixedTz, RangesTakeTheirTiesOpenOrClosed) {
  for (const unsigned width : {24u, 32u, 40u, 64u}) {
    const uint64_t value = stored({0x12});
    const ValueRows rows = {{value, 0}, {value, 1}, {value, 2}, {value, 3}};
    const auto found = [&](uint32_t opc) {
      return hits(fixed_scan(opc, width, true), width, rows, {value, 1}, {value, 2});
    };
    EXPECT_EQ(found(COLX_OPC_GT_LT), Rows{}) << width;
    EXPECT_EQ(found(COLX_OPC_GT_LE), Rows{2}) << width;
    EXPECT_EQ(found(COLX_OPC_GE_LT), Rows{1}) << width;
    EXPECT_EQ(found(COLX_OPC_GE_LE), (Rows{1, 2})) << width;
  }
}

TEST(FixedTz, Tie3At32BitsAgainstCodesOfZeroMatchesNothing) {
  const uint64_t value = stored({0x12});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, 32, true), 32, tied_rows(33, value, {0}), {value, 3}),
            Rows{});
}

// --- ties above the largest code, which fixed kernels do not refuse

TEST(FixedTz, TieAboveTheLargestCodeIsNotRefused) {
  for (const unsigned width : widths_with_codes) {
    const ValueScan scan = fixed_scan(COLX_OPC_LT, width, true);
    const uint64_t value = stored({0x12});
    const ScanBatch batch = value_batch(scan, width, tied_rows(3, value, {1}), {value, 255});
    EXPECT_EQ(run_value_scan(scan, batch).status, 0u) << width;
  }
}

TEST(FixedTz, Tie4At32BitsComparesAs0WithTheFirstCodeOfEachByteInAStepAndWholeInTheTail) {
  const uint64_t value = stored({0x12});
  const Rows found =
      hits(fixed_scan(COLX_OPC_LT, 32, true), 32, tied_rows(18, value, {0, 1, 2, 3}), {value, 4});
  EXPECT_EQ(found, (Rows{1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 16, 17}));
}

TEST(FixedTz, Tie5At32BitsComparesAs1WithTheFirstCodeOfEachByteInAStep) {
  const uint64_t value = stored({0x12});
  const ValueRows rows = tied_rows(20, value, {1});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, 32, true), 32, rows, {value, 5}), (Rows{0, 4, 8, 12}));
}

TEST(FixedTz, Tie2At16BitsComparesAs0WithTheFirstCodeOfEachByteInAStep) {
  const uint64_t value = stored({0x12});
  const ValueRows rows = tied_rows(34, value, {0});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, 16, true), 16, rows, {value, 2}), (Rows{0, 8, 16, 24}));
}

TEST(FixedTz, Tie16At64BitsComparesAs0WithTheFirstCodeOfEachByteInAStep) {
  const uint64_t value = stored({0x12});
  const ValueRows rows = tied_rows(10, value, {0});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, 64, true), 64, rows, {value, 16}), (Rows{0, 2, 4, 6}));
}

TEST(FixedTz, Codes8To15At64BitsAreOrdinary) {
  const uint64_t value = stored({0x12});
  for (const unsigned width : {40u, 48u, 56u, 64u}) {
    const ValueRows rows = tied_rows(18, value, {7, 8, 15});
    EXPECT_EQ(hits(fixed_scan(COLX_OPC_EQ, width, true), width, rows, {value, 8}),
              (Rows{1, 4, 7, 10, 13, 16}))
        << width;
    EXPECT_EQ(hits(fixed_scan(COLX_OPC_GT, width, true), width, rows, {value, 8}),
              (Rows{2, 5, 8, 11, 14, 17}))
        << width;
  }
}

// --- 8 bits

TEST(FixedTz, At8BitsTheKernelIsThePlainOneAndNeedsNeitherCodesNorTie) {
  for (const uint32_t opc : predicate_opcs) {
    const ValueScan scan = fixed_scan(opc, 8, true);
    for (const uint32_t rows : row_counts(128)) {
      Random random(mixed_seed(opc, rows));
      const ScanBatch batch = random_value_batch(scan, 8, Pattern::random, rows,
                                                 {stored({0x40}), stored({0xC0})}, random);
      ASSERT_TRUE(batch.aux.empty());  // null in the call
      const ScanRun plain = run_value_scan(fixed_scan(opc, 8), batch);
      ScanStage& stage = scan_stage();
      stage.set(batch);
      const void* const lo[] = {stage.args[0], nullptr, nullptr, nullptr};
      const void* const hi[] = {oracle::is_range(opc) ? stage.hi_args[0] : nullptr, nullptr};
      stage.args = lo;
      stage.hi_args = hi;
      const ScanRun tz = stage.call(value_kernel(scan));
      ASSERT_EQ(tz.bits, plain.bits);
      ASSERT_EQ(tz.num_set, plain.num_set);
      ASSERT_EQ(tz.status, plain.status);
      ASSERT_EQ(tz.damage, "");
    }
  }
}

TEST(FixedTz, At8BitsTheTextsBearTheTzName) {
  const ValueScan scan = fixed_scan(COLX_OPC_LT, 8, true);
  ScanBatch batch = value_batch(scan, 8, tied_rows(3, stored({1}), {0}), {stored({2})});
  batch.store = Store::compressed;
  batch.decode_status = 1;
  run_value_scan(scan, batch);
  EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label, "colx_lt_fixed_8bit_tz: vec1_decomp");
  EXPECT_EQ(scan_stage().host.raised.at(0).text, "colx_lt_fixed_8bit_tz: colx_wpak_decode failed");
}

// --- row counts

TEST(FixedTz, Of15RowsAt32BitsAllAreTestedInTheTail) {
  // A step would take tie 4 for 0 with the first code of a byte.
  const uint64_t value = stored({0x12});
  const ValueRows rows = tied_rows(15, value, {0});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_LT, 32, true), 32, rows, {value, 4}).size(), 15u);
}

TEST(FixedTz, Of16RowsAt32BitsAllAreTestedInAStep) {
  const uint64_t value = stored({0x12});
  const ValueRows rows = tied_rows(16, value, {0});
  EXPECT_EQ(hits(fixed_scan(COLX_OPC_LT, 32, true), 32, rows, {value, 4}),
            (Rows{1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15}));
}

TEST(FixedTz, NoRowsReadAndWriteNothing) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    ScanBatch batch = value_batch(scan, width, {}, {}, {});
    batch.stream_readable = false;
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.status, 1u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.damage, "");
  });
}

TEST(FixedTz, NeSetsNoBitAtOrPastTheRows) {
  for (const unsigned width : widths_with_codes) {
    const ValueScan scan = fixed_scan(COLX_OPC_NE, width, true);
    const uint64_t value = stored({3});
    const ScanRun run =
        run_value_scan(scan, value_batch(scan, width, tied_rows(131, value, {1}), {value, 0}));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 7})) << width;
    EXPECT_EQ(run.num_set, 131u);
  }
}

// --- where the row width comes from

ScanBatch batch_of_two_widths(const ValueScan& scan, unsigned width, uint32_t of_src,
                              uint32_t of_args) {
  Random random(width);
  const ValueConstant lo = {stored({0x40}), 1};
  const ValueConstant hi = {stored({0xC0}), 2};
  ScanBatch batch =
      value_batch(scan, width, pattern_rows(scan, width, Pattern::random, 70, 0, random), lo, hi);
  batch.width_bits = of_src;
  set_value_constants(batch, scan, of_args, lo, hi);
  return batch;
}

TEST(FixedTz, WidthIsThatOfTheSourceAndNotOfTheThirdArgument) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    if (!scan.reads_width()) return;
    ASSERT_EQ(value_difference(scan, batch_of_two_widths(scan, width, noisy_width(width), 8)), "")
        << width;
  });
}

TEST(FixedTz, ThirdArgumentNeedNotBeThereForAFullScan) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    ScanBatch batch = batch_of_two_widths(scan, width, noisy_width(width), 0);
    if (scan.reads_width()) batch.args.resize(2);  // the array ends behind the tie code
    ASSERT_EQ(value_difference(scan, batch), "") << width;
  });
}

TEST(FixedTz, TwinTakesTheWidthFromTheThirdArgumentAndNotFromTheSource) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    if (!scan.reads_width()) return;
    const ScanBatch batch = batch_of_two_widths(scan, width, 8, noisy_width(width));
    ASSERT_EQ(value_difference(scan, walked(batch, {all_ones, all_ones})), "") << width;
  });
}

TEST(FixedTz, At64BitsWidth40IsReadFromTheSourceAndInTheTwinFromTheArgument) {
  const ValueScan eq = fixed_scan(COLX_OPC_EQ, 40, true);
  const uint64_t value = stored({1, 2, 3, 4, 5});
  ScanBatch batch = value_batch(eq, 40, tied_rows(20, value, {1}), {value, 1});
  batch.width_bits = 40;
  set_value_constants(batch, eq, 64, {value, 1});
  EXPECT_EQ(hits(eq, batch).size(), 20u);
  batch.width_bits = 64;
  set_value_constants(batch, eq, 40, {value, 1});
  EXPECT_EQ(hits(eq, walked(batch, {all_ones})).size(), 20u);
}

// --- constants with bytes beyond the row width, which ought to be zero

TEST(FixedTzLooseConstant, EveryOperationAgreesWithTheOracle) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    if (width == scan.word_bits || scan.word_bits == 8) return;
    for (const uint32_t rows : row_counts(oracle::rows_per_step(scan))) {
      for (const uint8_t loose : {1, 0xFF}) {
        Random random(mixed_seed(width, rows));
        ScanBatch batch = random_value_batch(scan, width, Pattern::near, rows,
                                             {stored({0x80}), stored({0x80})}, random);
        batch.args[0].back() = loose;
        if (!batch.hi_args.empty()) batch.hi_args[0].back() = loose;
        ASSERT_EQ(value_difference(scan, batch), "") << width;
      }
    }
  });
}

// --- slack

TEST(FixedTz, CodesAreFollowedByTwelveBytesAndRowsByThoseOfThePlainForm) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    for (uint32_t steps = 1; steps <= 3; ++steps) {
      const uint32_t rows = steps * oracle::rows_per_step(scan);
      const uint64_t value = stored({5});
      const ScanBatch batch =
          value_batch(scan, width, tied_rows(rows, value, {1}), {value, 1}, {value, 1});
      ASSERT_EQ(batch.aux_slack_bytes, width == 8 ? 0u : 12u);
      ASSERT_EQ(batch.aux.size(), width == 8 ? 0u : 4u * steps);
      ASSERT_EQ(value_difference(scan, batch), "") << width;
    }
  });
}

TEST(FixedTz, TailAloneReadsNothingBehindTheCodes) {
  for_each_fixed(true, [](const auto& scan, unsigned width) {
    const uint64_t value = stored({5});
    ScanBatch batch =
        value_batch(scan, width, tied_rows(oracle::rows_per_step(scan) - 1, value, {1}), {value, 1},
                    {value, 1});
    batch.aux_slack_bytes = 0;
    ASSERT_EQ(value_difference(scan, batch), "") << width;
  });
}

}  // namespace
}  // namespace colx::test

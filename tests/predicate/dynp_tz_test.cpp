// Predicates on dynamically packed rows whose ties the stored length breaks.
#include "tests/predicate/value_checks.h"

namespace colx::test {
namespace {

using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

// Rows of one value, which one byte holds, stored with these codes over and over.
ValueRows tied_rows(uint32_t count, uint64_t value, std::initializer_list<uint8_t> codes) {
  const std::vector<uint8_t> all(codes);
  ValueRows rows;
  for (uint32_t r = 0; r < count; ++r) rows.push_back({value, all[r % all.size()]});
  return rows;
}

const uint64_t twelve = stored({0x12});

// --- sweeps

TEST(DynpTz, EveryStepEdge) {
  for_each_dynp(true, [](const auto& scan, unsigned word) { check_step_edges(scan, word); });
}

TEST(DynpTz, EveryPatternAgainstEveryBound) {
  for_each_dynp(true,
                [](const auto& scan, unsigned word) { check_patterns_and_bounds(scan, word); });
}

TEST(DynpTz, EveryCombinationOfConditions) {
  for_each_dynp(true, [](const auto& scan, unsigned word) { check_conditions(scan, word); });
}

// Every byte at args[1], refused ones among them, on both sides.
TEST(DynpTz, EveryCodeAgainstEveryTieByte) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    ValueRows rows;
    for (uint32_t r = 0; r < 2 * oracle::rows_per_step(scan) - 1; ++r) {
      const uint8_t first = r % 5 == 0 ? 0x13 : r % 7 == 0 ? 0x11 : 0x12;
      rows.push_back({stored({first}), static_cast<uint8_t>(r * 7 / 3 % (word / 8))});
    }
    for (unsigned tie = 0; tie < 256; ++tie) {
      for (const unsigned other : {tie, tie + 1, word / 8, word / 8 + 1}) {
        const ScanBatch batch = value_batch(scan, word, rows, {twelve, static_cast<uint8_t>(tie)},
                                            {twelve, static_cast<uint8_t>(other)});
        ASSERT_EQ(value_difference(scan, batch), "") << tie << " " << other;
      }
    }
  });
}

// --- Stored 12 and stored 12 00 at 32 bits

Rows found_of_12_and_1200(uint32_t opc, uint8_t tie) {
  return hits(dynp_scan(opc, 32, true), 32, {dynp_row({0x12}), dynp_row({0x12, 0x00})},
              {twelve, tie});
}

TEST(DynpTz, EqWithTie1SetsThe1200Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_EQ, 1), Rows{1});
}
TEST(DynpTz, LtWithTie1SetsThe12Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_LT, 1), Rows{0});
}
TEST(DynpTz, LeWithTie1SetsBoth) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_LE, 1), (Rows{0, 1}));
}
TEST(DynpTz, GtWithTie1SetsNone) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_GT, 1), Rows{});
}
TEST(DynpTz, GeWithTie1SetsThe1200Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_GE, 1), Rows{1});
}
TEST(DynpTz, NeWithTie1SetsThe12Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_NE, 1), Rows{0});
}
TEST(DynpTz, EqWithTie0SetsThe12Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_EQ, 0), Rows{0});
}
TEST(DynpTz, GtWithTie0SetsThe1200Only) {
  EXPECT_EQ(found_of_12_and_1200(COLX_OPC_GT, 0), Rows{1});
}

TEST(DynpTz, TheShorterSortsFirstInAStepToo) {
  for (const unsigned word : dynp_words) {
    const ValueRows rows = tied_rows(64, twelve, {0, 1});
    const uint64_t evens = 0x5555555555555555;
    const auto bits = [&](uint32_t opc, uint8_t tie) {
      const ValueScan scan = dynp_scan(opc, word, true);
      return run_value_scan(scan, value_batch(scan, word, rows, {twelve, tie})).bits[0];
    };
    EXPECT_EQ(bits(COLX_OPC_EQ, 1), ~evens);
    EXPECT_EQ(bits(COLX_OPC_LT, 1), evens);
    EXPECT_EQ(bits(COLX_OPC_LE, 1), all_ones);
    EXPECT_EQ(bits(COLX_OPC_GT, 1), 0u);
    EXPECT_EQ(bits(COLX_OPC_GE, 1), ~evens);
    EXPECT_EQ(bits(COLX_OPC_NE, 1), evens);
  }
}

TEST(DynpTz, GeLtOfOneValueWithTies0And2SetsItsRowsOfCodes0And1) {
  for (const unsigned word : {32u, 64u}) {
    ValueRows rows = tied_rows(34, twelve, {0, 1, 2, 3});
    rows.push_back(dynp_row({0x11}));
    rows.push_back(dynp_row({0x13}));
    Rows expected;
    for (uint32_t r = 0; r < 34; ++r) {
      if (rows[r].code <= 1) expected.push_back(r);
    }
    EXPECT_EQ(hits(dynp_scan(COLX_OPC_GE_LT, word, true), word, rows, {twelve, 0}, {twelve, 2}),
              expected);
  }
}

// --- the entry check

TEST(DynpTz, Tie5At32BitsGivesStatus2AndLeavesTheOutputAsItWas) {
  const ValueScan scan = dynp_scan(COLX_OPC_EQ, 32, true);
  const ScanRun run =
      run_value_scan(scan, value_batch(scan, 32, tied_rows(70, twelve, {0}), {twelve, 5}));
  EXPECT_EQ(run.status, 2u);
  EXPECT_EQ(run.bits, (Words{GuardedOutput::dirty_word(0), GuardedOutput::dirty_word(1)}));
  EXPECT_EQ(run.num_set, ScanStage::dirty_num_set);
  EXPECT_EQ(run.damage, "");
}

TEST(DynpTz, EachBoundIsChecked) {
  for (const unsigned word : dynp_words) {
    const auto longest = static_cast<uint8_t>(word / 8);
    const auto above = static_cast<uint8_t>(longest + 1);
    for (const uint32_t opc : {COLX_OPC_GT_LT, COLX_OPC_GT_LE, COLX_OPC_GE_LT, COLX_OPC_GE_LE}) {
      const ValueScan scan = dynp_scan(opc, word, true);
      const ValueRows rows = tied_rows(3, twelve, {0});
      const auto status = [&](uint8_t lo, uint8_t hi) {
        return run_value_scan(scan, value_batch(scan, word, rows, {0, lo}, {all_ones, hi})).status;
      };
      EXPECT_EQ(status(above, 0), 2u);
      EXPECT_EQ(status(0, above), 2u);
      EXPECT_EQ(status(255, 255), 2u);
      EXPECT_NE(status(longest, longest), 2u);
    }
  }
}

TEST(DynpTz, TieAtTheLongestRowIsAcceptedAndOneAboveRefused) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    const auto status = [&](unsigned tie) {
      return run_value_scan(scan, value_batch(scan, word, tied_rows(3, twelve, {0}),
                                              {twelve, static_cast<uint8_t>(tie)}, {twelve, 0}))
          .status;
    };
    ASSERT_NE(status(word / 8), 2u);
    ASSERT_EQ(status(word / 8 + 1), 2u);
  });
}

TEST(DynpTz, TheCheckComesBeforeTheSelectiveTwinTheColumnAndTheRows) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    const auto above = static_cast<uint8_t>(word / 8 + 1);
    for (const Store store : {Store::plain, Store::compressed}) {
      for (const bool run_length : {false, true}) {
        for (const uint32_t kctx_flags : {uint32_t{0}, uint32_t{COLX_KCTX_SELECTIVE}}) {
          ScanBatch batch =
              value_batch(scan, word, tied_rows(70, twelve, {0}), {twelve, above}, {twelve, 0});
          batch.store = store;
          batch.run_length = run_length;
          batch.selection = Words{all_ones, all_ones};
          batch.kctx_flags = kctx_flags;
          batch.nulls = Words{1, 1};
          if (store == Store::plain) batch.stream_readable = false;
          ASSERT_EQ(value_difference(scan, batch), "");
          ASSERT_EQ(scan_stage().kctx.colx_kctx_flags_out, 0u);
          ASSERT_TRUE(scan_stage().host.order.empty());
        }
      }
    }
  });
}

TEST(DynpTz, TheCheckComesBeforeTheValueIsRead) {
  const ValueScan scan = dynp_scan(COLX_OPC_LT, 32, true);
  ScanBatch batch = value_batch(scan, 32, tied_rows(3, twelve, {0}), {twelve, 5});
  batch.with_kctx = false;
  EXPECT_EQ(run_value_scan(scan, batch).status, 2u);
}

// --- a tie at the longest row's bytes, which no code reaches

TEST(DynpTz, Tie4At32BitsWith17RowsOfTheValueLtSetsTheTailRowAndAllButTheFirstOfEachByte) {
  EXPECT_EQ(
      hits(dynp_scan(COLX_OPC_LT, 32, true), 32, tied_rows(17, twelve, {0, 1, 2, 3}), {twelve, 4}),
      (Rows{1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 16}));
}

TEST(DynpTz, Tie2At16BitsComparesAs0WithTheFirstCodeOfEachByteInAStep) {
  const ValueRows rows = tied_rows(33, twelve, {0});
  Rows expected;
  for (uint32_t r = 0; r < 33; ++r) {
    if (r % 8 != 0 || r == 32) expected.push_back(r);
  }
  EXPECT_EQ(hits(dynp_scan(COLX_OPC_LT, 16, true), 16, rows, {twelve, 2}), expected);
  EXPECT_EQ(hits(dynp_scan(COLX_OPC_EQ, 16, true), 16, rows, {twelve, 2}), (Rows{0, 8, 16, 24}));
}

TEST(DynpTz, Tie8At64BitsLosesNothing) {
  const ValueRows rows = tied_rows(17, twelve, {0, 1, 7});
  EXPECT_EQ(hits(dynp_scan(COLX_OPC_LT, 64, true), 64, rows, {twelve, 8}).size(), 17u);
  EXPECT_EQ(hits(dynp_scan(COLX_OPC_GE, 64, true), 64, rows, {twelve, 8}), Rows{});
}

TEST(DynpTz, TieAtTheLongestInATwinCountsEveryEqualRowBelow) {
  for (const unsigned word : dynp_words) {
    const ValueScan scan = dynp_scan(COLX_OPC_LT, word, true);
    const ScanBatch batch = value_batch(scan, word, tied_rows(40, twelve, {0, 1}),
                                        {twelve, static_cast<uint8_t>(word / 8)});
    EXPECT_EQ(hits(scan, walked(batch, {all_ones})).size(), 40u);
  }
}

TEST(DynpTz, RowsOfAGroupWithANibbleOf8OrMoreAreZerosWithTheirCodes) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 64, true);
  ScanBatch batch = value_batch(eq, 64, {}, {});
  batch.set_rows(8);
  batch.aux = {0x00, 0x81, 0x00, 0x00};
  batch.aux_slack_bytes = 12;
  batch.stream = Bytes(22, 0xFF);
  batch.slack_bytes = 14;
  set_value_constants(batch, eq, 0, {0, 8});
  EXPECT_EQ(hits(eq, batch), Rows{2});
  set_value_constants(batch, eq, 0, {0, 1});
  EXPECT_EQ(hits(eq, batch), Rows{3});
}

// --- row counts, slack, arguments

TEST(DynpTz, NoRowsReadAndWriteNothing) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    ScanBatch batch = value_batch(scan, word, {}, {}, {});
    batch.stream_readable = false;
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.status, 1u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.damage, "");
  });
}

TEST(DynpTz, NeSetsNoBitAtOrPastTheRows) {
  for (const unsigned word : dynp_words) {
    const ValueScan scan = dynp_scan(COLX_OPC_NE, word, true);
    const ScanRun run =
        run_value_scan(scan, value_batch(scan, word, tied_rows(131, twelve, {1}), {twelve, 0}));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 7}));
    EXPECT_EQ(run.num_set, 131u);
  }
}

TEST(DynpTz, LengthsAreFollowedByTwelveBytes) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    for (uint32_t steps = 1; steps <= 3; ++steps) {
      const ScanBatch batch =
          value_batch(scan, word, tied_rows(steps * oracle::rows_per_step(scan), twelve, {1}),
                      {twelve, 1}, {twelve, 1});
      ASSERT_EQ(batch.aux.size(), 4 * steps);
      ASSERT_EQ(batch.aux_slack_bytes, 12u);
      ASSERT_EQ(value_difference(scan, batch), "");
    }
  });
}

TEST(DynpTz, TailAloneReadsNothingBehindLengthsAndData) {
  for_each_dynp(true, [](const auto& scan, unsigned word) {
    ScanBatch batch =
        value_batch(scan, word, tied_rows(oracle::rows_per_step(scan) - 1, twelve, {0, 1}),
                    {twelve, 1}, {twelve, 1});
    batch.aux_slack_bytes = 0;
    batch.slack_bytes = 0;
    ASSERT_EQ(value_difference(scan, batch), "");
  });
}

TEST(DynpTz, ArgumentsEndBehindTheTieCode) {
  const ValueScan scan = dynp_scan(COLX_OPC_GE_LE, 32, true);
  const ScanBatch batch =
      value_batch(scan, 32, tied_rows(70, twelve, {1}), {twelve, 1}, {twelve, 1});
  ASSERT_EQ(batch.args.size(), 2u);
  ASSERT_EQ(batch.hi_args.size(), 2u);
  ASSERT_EQ(batch.args[0].size(), 4u);
  ASSERT_EQ(batch.args[1].size(), 1u);
  EXPECT_EQ(hits(scan, batch).size(), 70u);
}

TEST(DynpTz, TextsBearTheTzName) {
  const ValueScan scan = dynp_scan(COLX_OPC_LT, 32, true);
  ScanBatch batch = value_batch(scan, 32, tied_rows(70, twelve, {1}), {twelve, 2});
  batch.store = Store::compressed;
  batch.decode_status = 1;
  EXPECT_EQ(value_difference(scan, batch), "");
  EXPECT_EQ(scan_stage().host.raised.at(0).text, "colx_lt_dynp_32bit_tz: colx_wpak_decode failed");
}

}  // namespace
}  // namespace colx::test

// One-bit codes: the constants alone decide between the code stream, its complement, none and all.
#include "tests/predicate/dict_checks.h"

namespace colx::test {
namespace {

using Order = std::vector<std::string>;
using oracle::DictScan;

constexpr uint64_t all_ones = ~uint64_t{0};
constexpr unsigned one_bit[] = {1};

DictScan plain(uint32_t opc) {
  return dict_scan(opc, 1);
}
DictScan null_form(uint32_t opc) {
  return dict_scan(opc, 1, true);
}

ScanBatch one_bit_batch(const DictScan& scan, uint32_t rows, Bytes stream, uint64_t lo,
                        uint64_t hi = 0) {
  ScanBatch batch = dict_batch(scan, {}, lo, hi);
  batch.set_rows(rows);
  batch.stream = std::move(stream);
  return batch;
}

// --- the decision table

enum Result { none, all, bits, inverted };

std::ostream& operator<<(std::ostream& out, Result result) {
  const char* const names[] = {"None", "All", "Bits", "Inverted bits"};
  return out << names[result];
}

// What a kernel makes of the rows 0 1 1 0 1 and its constants.
Result result_of(const DictScan& scan, uint64_t lo, uint64_t hi = 0) {
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 5, {0b01101000}, lo, hi));
  EXPECT_EQ(run.damage, "");
  switch (run.bits[0] & 31) {
    case 0b10110:
      EXPECT_EQ(run.num_set, 3u);
      return bits;
    case 0b01001:
      EXPECT_EQ(run.num_set, 2u);
      return inverted;
    case 0b11111:
      EXPECT_EQ(run.num_set, 5u);
      return all;
    default:
      EXPECT_EQ(run.bits[0], 0u);
      return none;
  }
}

constexpr uint64_t above_one[] = {2, 3, 0x80000000, 0xFFFFFFFF, 256, 65536};

// One-sided: the result for 0, for 1, and for every constant above 1.
struct OneSidedRow {
  uint32_t opc;
  Result at_0, at_1, above_1;
};

TEST(OneBitDecision, OneSidedPlain) {
  const OneSidedRow table[] = {
      {COLX_OPC_EQ, inverted, bits, bits},     {COLX_OPC_NE, bits, inverted, bits},
      {COLX_OPC_LT, none, inverted, inverted}, {COLX_OPC_LE, inverted, all, all},
      {COLX_OPC_GT, bits, none, none},         {COLX_OPC_GE, all, bits, bits}};
  for (const OneSidedRow& row : table) {
    EXPECT_EQ(result_of(plain(row.opc), 0), row.at_0) << row.opc;
    EXPECT_EQ(result_of(plain(row.opc), 1), row.at_1) << row.opc;
    for (const uint64_t c : above_one) EXPECT_EQ(result_of(plain(row.opc), c), row.above_1) << c;
  }
}

TEST(OneBitDecision, OneSidedNull) {
  const OneSidedRow table[] = {{COLX_OPC_EQ, none, bits, bits}, {COLX_OPC_NE, bits, none, none},
                               {COLX_OPC_LT, none, none, none}, {COLX_OPC_LE, none, bits, bits},
                               {COLX_OPC_GT, bits, none, none}, {COLX_OPC_GE, bits, bits, bits}};
  for (const OneSidedRow& row : table) {
    EXPECT_EQ(result_of(null_form(row.opc), 0), row.at_0) << row.opc;
    EXPECT_EQ(result_of(null_form(row.opc), 1), row.at_1) << row.opc;
    for (const uint64_t c : above_one) {
      EXPECT_EQ(result_of(null_form(row.opc), c), row.above_1) << row.opc << " " << c;
    }
  }
}

// Ranges: results for lo, hi of 0,0  0,1  1,0  1,1; with a bound above 1 the result is None.
struct RangeRow {
  uint32_t opc;
  Result at_00, at_01, at_10, at_11;
};

void expect_range(const DictScan& scan, const RangeRow& row) {
  EXPECT_EQ(result_of(scan, 0, 0), row.at_00) << row.opc;
  EXPECT_EQ(result_of(scan, 0, 1), row.at_01) << row.opc;
  EXPECT_EQ(result_of(scan, 1, 0), row.at_10) << row.opc;
  EXPECT_EQ(result_of(scan, 1, 1), row.at_11) << row.opc;
  for (const uint64_t wide : above_one) {
    for (const uint64_t other : {uint64_t{0}, uint64_t{1}, wide}) {
      EXPECT_EQ(result_of(scan, wide, other), none) << row.opc << " lo " << wide << " hi " << other;
      EXPECT_EQ(result_of(scan, other, wide), none) << row.opc << " lo " << other << " hi " << wide;
    }
  }
}

TEST(OneBitDecision, RangePlain) {
  expect_range(plain(COLX_OPC_GT_LT), {COLX_OPC_GT_LT, none, none, none, none});
  expect_range(plain(COLX_OPC_GT_LE), {COLX_OPC_GT_LE, none, bits, none, none});
  expect_range(plain(COLX_OPC_GE_LT), {COLX_OPC_GE_LT, none, inverted, none, none});
  expect_range(plain(COLX_OPC_GE_LE), {COLX_OPC_GE_LE, inverted, all, none, bits});
}

TEST(OneBitDecision, RangeNull) {
  expect_range(null_form(COLX_OPC_GT_LT), {COLX_OPC_GT_LT, none, none, none, none});
  expect_range(null_form(COLX_OPC_GT_LE), {COLX_OPC_GT_LE, none, bits, none, none});
  expect_range(null_form(COLX_OPC_GE_LT), {COLX_OPC_GE_LT, none, none, none, none});
  expect_range(null_form(COLX_OPC_GE_LE), {COLX_OPC_GE_LE, none, bits, none, bits});
}

TEST(OneBitDecision, GeLeWith0And2IsNoneThoughAllCodesAreInside) {
  EXPECT_EQ(result_of(plain(COLX_OPC_GE_LE), 0, 2), none);
}

TEST(OneBitDecision, NeWith2IsBits) {
  EXPECT_EQ(result_of(plain(COLX_OPC_NE), 2), bits);
}

TEST(OneBitDecision, GeLeWithLo1AndHi0IsNone) {
  EXPECT_EQ(result_of(plain(COLX_OPC_GE_LE), 1, 0), none);
}

TEST(OneBitDecision, GeLeNullIsBitsFor0And1AsFor1And1) {
  EXPECT_EQ(result_of(null_form(COLX_OPC_GE_LE), 0, 1), bits);
  EXPECT_EQ(result_of(null_form(COLX_OPC_GE_LE), 1, 1), bits);
}

// --- sweeps

TEST(DictOneBit, EveryPatternConstantAndConditionAtEveryStepEdge) {
  for (const bool nulls : {false, true}) {
    for_each_scan(one_bit, nulls, [](const DictScan& scan) {
      for (const uint32_t rows : row_counts(128)) {
        if (rows == 0) continue;  // All is undefined then; None and Bits have their own test
        for (unsigned mix = 0; mix < 3 * 32; ++mix) {
          const auto has = [mix](unsigned bit) { return (mix / 3 >> bit & 1) != 0; };
          const uint64_t seed = mixed_seed(dict_index(scan), 4096 * rows + mix);
          Random random(seed);
          const Pattern pattern = all_patterns[mix % std::size(all_patterns)];
          ScanBatch batch = dict_batch(scan, pattern_codes(pattern, 1, rows, 0, random),
                                       random.below(3), random.below(3));
          batch.store = has(0) && rows % 2 == 0 ? Store::compressed : Store::plain;
          batch.run_length = has(1);
          if (has(2)) batch.nulls = random.words(words_of(rows));
          if (has(3)) batch.selection = random.words(words_of(rows));
          batch.kctx_flags = has(4) ? COLX_KCTX_SELECTIVE : 0;
          ASSERT_EQ(dict_difference(scan, batch), "") << "seed " << seed;
        }
      }
    });
  }
}

TEST(DictOneBit, TailAgreesWithStep) {
  for (const bool nulls : {false, true}) {
    for_each_scan(one_bit, nulls, [](const DictScan& scan) {
      for (const Bounds b : {Bounds{0, 0}, {0, 1}, {1, 1}}) check_tail_against_step(scan, b);
    });
  }
}

TEST(DictOneBit, NoRowsGiveStatusOneUnlessTheResultIsAll) {
  for (const bool nulls : {false, true}) {
    for_each_scan(one_bit, nulls, [](const DictScan& scan) {
      for (const Bounds b : {Bounds{0, 0}, {0, 1}, {1, 0}, {1, 1}}) {
        using oracle::OneBitResult;
        if (oracle::one_bit_result(scan.opc, scan.null_form, b.lo, b.hi) == OneBitResult::all) {
          continue;
        }
        const ScanRun run = run_dict(scan, one_bit_batch(scan, 0, {}, b.lo, b.hi));
        EXPECT_EQ(run.status, 1u);
        EXPECT_EQ(run.num_set, 0u);
        EXPECT_EQ(run.damage, "");
      }
    });
  }
}

// --- examples

TEST(DictOneBit, Of128RowsTheByte80ThenZerosSetsBit0OfWord0Only) {
  Bytes stream(16, 0);
  stream[0] = 0x80;
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 128, stream, 1));
  EXPECT_EQ(run.bits, (Words{1, 0}));
  EXPECT_EQ(run.num_set, 1u);
  EXPECT_EQ(run.status, 0u);
}

TEST(DictOneBit, Of130RowsTheTailGivesTwoBitsCountedByTheAnd) {
  Bytes stream(17, 0);
  stream[16] = 0xC0;
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 130, stream, 1));
  EXPECT_EQ(run.bits, (Words{0, 0, 3}));
  EXPECT_EQ(run.num_set, 2u);
}

TEST(DictOneBit, BitsOfEveryByteComeOutReversed) {
  Bytes stream(32);
  for (uint32_t i = 0; i < 32; ++i) stream[i] = static_cast<uint8_t>(8 * i + i % 8);
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 256, stream, 1));
  for (uint32_t r = 0; r < 256; ++r) {
    EXPECT_EQ(oracle::bit_at(run.bits.data(), r), oracle::stream_bit(stream, r)) << r;
  }
}

TEST(DictOneBit, StreamBitsAboveTheRowsAreNotTaken) {
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 65, Bytes(9, 0xFF), 1));
  EXPECT_EQ(run.bits, (Words{all_ones, 1}));
  EXPECT_EQ(run.num_set, 65u);
}

TEST(DictOneBit, NeWith0GivesBits) {
  const DictScan scan = plain(COLX_OPC_NE);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 65, Bytes(9, 0), 0));
  EXPECT_EQ(run.bits, (Words{0, 0}));
  EXPECT_EQ(run.status, 1u);
}

TEST(DictOneBit, EqWith0OnZerosCounts65WithTheHighBitsOfTheSecondWordSet) {
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 65, Bytes(9, 0), 0));
  EXPECT_EQ(run.bits, (Words{all_ones, all_ones}));
  EXPECT_EQ(run.num_set, 65u);
}

TEST(DictOneBit, InvertedHighBitsGoThroughLaterAndsUncounted) {
  const DictScan scan = plain(COLX_OPC_EQ);
  ScanBatch batch = one_bit_batch(scan, 65, Bytes(9, 0), 0);
  batch.nulls = Words{0xFF, 0xF0F0F0F0F0F0F0F1};
  batch.selection = Words{0x0F, 0xFFFF00000000FFFF};
  const ScanRun run = run_dict(scan, batch);
  EXPECT_EQ(run.bits, (Words{0x0F, 0xF0F000000000F0F1}));
  EXPECT_EQ(run.num_set, 5u);
}

TEST(DictOneBit, InvertedWithNothingFoundLeavesHighBitsAndGivesStatusOne) {
  const DictScan scan = plain(COLX_OPC_EQ);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 65, Bytes(9, 0xFF), 0));
  EXPECT_EQ(run.bits, (Words{0, all_ones << 1}));
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(run.status, 1u);
}

TEST(DictOneBit, LeWith1Over65RowsIsAllOnesThenOne) {
  const DictScan scan = plain(COLX_OPC_LE);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 65, Bytes(9, 0), 1));
  EXPECT_EQ(run.bits, (Words{all_ones, 1}));
  EXPECT_EQ(run.num_set, 65u);
  EXPECT_EQ(run.status, 0u);
}

TEST(DictOneBit, AllAtAWordBoundaryFillsTheLastWord) {
  const DictScan scan = plain(COLX_OPC_GE);
  for (const uint32_t rows : {1u, 63u, 64u, 127u, 128u, 192u}) {
    const ScanRun run = run_dict(scan, one_bit_batch(scan, rows, Bytes((rows + 7) / 8, 0), 0));
    EXPECT_EQ(run.num_set, rows);
    EXPECT_EQ(run.bits.back(), all_ones >> (63 & (0 - rows))) << rows;
    EXPECT_EQ(run.damage, "");
  }
}

TEST(DictOneBit, LtWith0SetsNoBitAndGivesStatusOne) {
  const DictScan scan = plain(COLX_OPC_LT);
  const ScanRun run = run_dict(scan, one_bit_batch(scan, 200, Bytes(25, 0x5A), 0));
  EXPECT_EQ(run.bits, (Words{0, 0, 0, 0}));
  EXPECT_EQ(run.status, 1u);
}

TEST(DictOneBit, GtLtIsNoneWithSelectionAndNullsPresentAndTheNullsAndStillRuns) {
  const DictScan scan = plain(COLX_OPC_GT_LT);
  ScanBatch batch = one_bit_batch(scan, 65, Bytes(9, 0xFF), 0, 1);
  batch.nulls = Words{all_ones, all_ones};
  batch.selection = Words{all_ones, all_ones};
  const ScanRun run = run_dict(scan, batch);
  EXPECT_EQ(run.bits, (Words{0, 0}));
  EXPECT_EQ(run.status, 1u);
  EXPECT_EQ(run.flags_out, 0x200u);
  EXPECT_EQ(run.damage, "");
}

TEST(DictOneBit, Flag2WithASelectionWalksNothing) {
  // The full scan goes by the result's rows; a walk would go by the source's.
  const DictScan scan = plain(COLX_OPC_EQ);
  ScanBatch batch = one_bit_batch(scan, 65, Bytes(9, 0xFF), 1);
  batch.src_rows = 2;
  batch.selection = Words{0xF0, 1};
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  const ScanRun run = run_dict(scan, batch);
  EXPECT_EQ(run.bits, (Words{0xF0, 1}));
  EXPECT_EQ(run.num_set, 5u);
  EXPECT_EQ(run.flags_out, 0x200u);
}

TEST(DictOneBit, Flag2UnderRunLengthStillExpands) {
  for_each_scan(one_bit, false, [](const DictScan& scan) {
    ScanBatch batch = one_bit_batch(scan, 65, Bytes(9, 0xA5), 1, 1);
    batch.run_length = true;
    batch.expand_status = 6;
    batch.selection = Words{all_ones, 0};
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    EXPECT_EQ(run_dict(scan, batch).status, 6u);
    EXPECT_EQ(scan_stage().host.order, Order{"expand"});
  });
}

TEST(DictOneBit, NullsVectorHasNoEffectOnTheNullForms) {
  for_each_scan(one_bit, true, [](const DictScan& scan) {
    ScanBatch batch = one_bit_batch(scan, 70, Bytes(9, 0xFF), 1, 1);
    const Words without = run_dict(scan, batch).bits;
    batch.nulls = Words{};  // an address that must not be touched
    EXPECT_EQ(run_dict(scan, batch).bits, without) << dict_kernel(scan).name;
  });
}

TEST(DictOneBit, SelectionAppliesToTheNullForms) {
  const DictScan scan = null_form(COLX_OPC_GE);
  ScanBatch batch = one_bit_batch(scan, 70, Bytes(9, 0xFF), 0);
  batch.selection = Words{6, 1};
  const ScanRun run = run_dict(scan, batch);
  EXPECT_EQ(run.bits, (Words{6, 1}));
  EXPECT_EQ(run.flags_out, 0x200u);
}

// --- what is touched

TEST(DictOneBit, KernelsOfOneResultDoNotTouchTheirConstants) {
  // dict_batch gives these an unreadable constant array.
  for (const DictScan& scan :
       {plain(COLX_OPC_GT_LT), null_form(COLX_OPC_LT), null_form(COLX_OPC_GE),
        null_form(COLX_OPC_GT_LT), null_form(COLX_OPC_GE_LT)}) {
    const ScanBatch batch = one_bit_batch(scan, 70, Bytes(9, 0xFF), 1, 1);
    ASSERT_TRUE(batch.args.empty() && batch.hi_args.empty());
    EXPECT_EQ(dict_difference(scan, batch), "");
  }
}

TEST(DictOneBit, ConstantsAreFourBytes) {
  for_each_scan(one_bit, false, [](const DictScan& scan) {
    if (scan.opc == COLX_OPC_GT_LT) return;
    EXPECT_EQ(one_bit_batch(scan, 70, Bytes(9, 0xFF), 1, 1).args.at(0).size(), 4u);
  });
}

TEST(DictOneBit, NoneAndAllDoNotTouchTheStream) {
  struct Case {
    DictScan scan;
    uint64_t lo, hi;
  };
  for (const Case& c : {Case{plain(COLX_OPC_LT), 0, 0}, Case{plain(COLX_OPC_GT), 1, 0},
                        Case{plain(COLX_OPC_LE), 1, 0}, Case{plain(COLX_OPC_GE), 0, 0},
                        Case{plain(COLX_OPC_GT_LT), 0, 1}, Case{plain(COLX_OPC_GE_LE), 0, 1},
                        Case{plain(COLX_OPC_GE_LE), 1, 0}, Case{null_form(COLX_OPC_EQ), 0, 0}}) {
    ScanBatch batch = one_bit_batch(c.scan, 300, Bytes(38, 0xFF), c.lo, c.hi);
    batch.stream_readable = false;
    EXPECT_EQ(dict_difference(c.scan, batch), "");
  }
}

TEST(DictOneBit, DecompressionHappensForNoneAndAllToo) {
  for (const auto& [scan, constant] :
       {std::pair{plain(COLX_OPC_LT), 0}, std::pair{plain(COLX_OPC_LE), 1},
        std::pair{plain(COLX_OPC_GT_LT), 0}, std::pair{null_form(COLX_OPC_LT), 0}}) {
    ScanBatch batch = one_bit_batch(scan, 300, Bytes(38, 0xFF), constant);
    batch.store = Store::compressed;
    EXPECT_EQ(dict_difference(scan, batch), "");
    EXPECT_EQ(scan_stage().host.order, (Order{"alloc_cached", "decode"}));
  }
}

TEST(DictOneBit, UnderRunLengthNoneAndAllExpandToo) {
  for (const auto& [scan, constant] :
       {std::pair{plain(COLX_OPC_LT), 0}, std::pair{plain(COLX_OPC_LE), 1}}) {
    ScanBatch batch = one_bit_batch(scan, 65, Bytes(9, 0xFF), constant);
    batch.run_length = true;
    batch.nulls = Words{0xFF, 0};
    EXPECT_EQ(dict_difference(scan, batch), "");
    EXPECT_EQ(scan_stage().host.order, Order{"expand"});
  }
}

TEST(DictOneBit, LabelsAreTheKernelsOwn) {
  const DictScan scan = null_form(COLX_OPC_GE);
  ScanBatch batch = one_bit_batch(scan, 10, Bytes(2, 0xFF), 1);
  batch.store = Store::compressed;
  batch.decode_status = 1;
  run_dict(scan, batch);
  EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label,
            "colx_ge_dict_1bit_null: vec1_decomp");
  EXPECT_EQ(scan_stage().host.raised.at(0).text, "colx_ge_dict_1bit_null: colx_wpak_decode failed");
}

}  // namespace
}  // namespace colx::test

// The selective twins of the predicates on fixed rows, plain and with ties.
#include <cstdlib>
#include <memory>

#include "tests/predicate/twin_checks.h"

namespace colx::test {
namespace {

template <class Body>
void for_each_twin(Body body) {
  for (const bool tz : {false, true}) for_each_fixed(tz, body);
}

TEST(FixedSelective, EveryStepEdge) {
  for_each_twin([](const ValueScan& scan, unsigned width) {
    check_step_edges(scan, width, COLX_KCTX_SELECTIVE);
  });
}
TEST(FixedSelective, EveryRowAloneIsTestedAtItsPlace) {
  for_each_twin(check_every_row_alone);
}
TEST(FixedSelective, FullScanWithSelectionAndTwinAgree) {
  for_each_twin(check_twin_against_full_scan);
}
TEST(FixedSelective, EmptySelectionClearsTheOutputSetsTheFlagAndGivesStatusOne) {
  for_each_twin(check_empty_selection);
}
TEST(FixedSelective, SelectionsOfEverySizeAroundBatchesOf8) {
  for_each_twin(check_sizes_of_selection);
}
TEST(FixedSelective, SelectedBitsAtOrAboveTheRowsAreIgnored) {
  for_each_twin(check_selection_beyond_the_rows);
}
TEST(FixedSelective, NoRowsReadNothing) {
  for_each_twin(check_no_rows);
}
TEST(FixedSelective, RowsAreTheSourcesBitsTheResultsAndRunsAreNotConsulted) {
  for_each_twin(check_rows_of_source_and_bits_of_result);
}
TEST(FixedSelective, NullsVectorIsTheOnlyAnd) {
  for_each_twin(check_nulls_are_the_only_and);
}
TEST(FixedSelective, TextsBearThePlainKernelsName) {
  for_each_twin(check_texts_of_the_plain_name);
}
TEST(FixedSelective, OutputFlagIsOredIn) {
  for_each_twin(check_output_flag_is_ored_in);
}

TEST(FixedSelective, TextsOfLtFixed32bit) {
  const ValueScan scan = fixed_scan(COLX_OPC_LT, 24);
  ScanBatch batch = walked_equal_rows(scan, 24, 70, {1, 0});
  batch.store = Store::compressed;
  batch.decode_status = 1;
  run_value_scan(scan, batch);
  EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label, "colx_lt_fixed_32bit: vec1_decomp");
  EXPECT_EQ(scan_stage().host.raised.at(0).text, "colx_lt_fixed_32bit: colx_wpak_decode failed");
}

// --- what is not read

// One row of a hundred is selected; everything before it lies in an unreadable page, and behind it
// nothing but the granted slack is readable.
TEST(FixedSelective, RowsOutsideTheSelectionAreNotRead) {
  constexpr uint32_t row = 77;
  for_each_twin([](const ValueScan& scan, unsigned width) {
    for (const Edge edge : {Edge::begin, Edge::end}) {
      ScanBatch batch = walked_equal_rows(scan, width, 1, {0, uint64_t{1} << (row - 64)});
      batch.edge = edge;
      batch.res_rows = batch.src_rows = 100;
      if (scan.reads_codes()) batch.aux.assign(100 / 2, 0x55);
      if (scan.compares_codes() && scan.word_bits == 64) batch.aux.assign(100 / 2, 0x11);
      if (scan.compares_codes() && scan.word_bits == 16) batch.aux.assign(100 / 2, 0xFF);
      batch.skipped_bytes = row * (width / 8);
      const ScanRun run = run_value_scan(scan, batch);
      const bool hit = is_closed(scan);
      ASSERT_EQ(run.bits, (Words{0, uint64_t{hit} << (row - 64)})) << value_kernel(scan).name;
    }
  });
}

TEST(FixedSelective, CodesOutsideTheSelectionAreNotReadAndNoneBehindTheLast) {
  for_each_fixed(true, [](const ValueScan& scan, unsigned width) {
    if (!scan.compares_codes()) return;
    ScanBatch batch = walked_equal_rows(scan, width, 100, {0x10, 0});
    const uint32_t per_byte = 8 / oracle::code_bits(scan.word_bits);
    batch.aux.resize(4 / per_byte + 1);  // ends behind the code of row 4
    batch.aux_slack_bytes = 0;
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.bits, (Words{is_closed(scan) ? 0x10u : 0u, 0})) << value_kernel(scan).name;
  });
}

// --- ties and constants

TEST(FixedSelective, TiesAreComparedAsWholeBytes) {
  // A step would take tie 4 for 0 with the first code of each byte.
  const ValueScan scan = fixed_scan(COLX_OPC_LT, 32, true);
  const uint64_t value = stored({0x12});
  const ScanBatch batch = value_batch(scan, 32, ValueRows(16, ValueRow{value, 0}), {value, 4});
  EXPECT_EQ(hits(scan, walked(batch, {all_rows})).size(), 16u);
}

TEST(FixedSelective, At8BitsTheTzTwinNeedsNeitherCodesNorTie) {
  for (const uint32_t opc : predicate_opcs) {
    const ValueScan scan = fixed_scan(opc, 8, true);
    Random random(opc);
    const ScanBatch batch = walked_batch(scan, 8, 100, {all_rows, 0x5555}, random);
    ASSERT_TRUE(batch.aux.empty());
    ASSERT_EQ(batch.args.size(), 1u);
    const ScanRun tz = run_value_scan(scan, batch);
    EXPECT_EQ(tz.bits, run_value_scan(fixed_scan(opc, 8), batch).bits);
  }
}

TEST(FixedSelective, BytesOfAConstantBeyondTheRowAreComparedWithZeros) {
  for (const bool tz : {false, true}) {
    for (const unsigned width : {24u, 40u, 48u, 56u}) {
      for (const uint32_t opc : {COLX_OPC_EQ, COLX_OPC_NE, COLX_OPC_LT, COLX_OPC_GE}) {
        const ValueScan scan = fixed_scan(opc, width, tz);
        ScanBatch batch = walked_equal_rows(scan, width, 20, {all_rows});
        batch.args[0].back() = 1;
        const bool below = opc == COLX_OPC_NE || opc == COLX_OPC_LT;
        EXPECT_EQ(hits(scan, batch).size(), below ? 20u : 0u) << value_kernel(scan).name;
      }
    }
  }
}

TEST(FixedSelective, WidthIsThatOfTheThirdArgumentInBothForms) {
  for_each_twin([](const ValueScan& scan, unsigned width) {
    Random random(width);
    ScanBatch batch = walked_batch(scan, width, 70, {all_rows, all_rows}, random);
    batch.width_bits = 0;
    ASSERT_EQ(value_difference(scan, batch), "") << width;
  });
}

// --- places of rows

// Bits that are 0, of which only those that are written take memory.
using SparseBits = std::unique_ptr<uint64_t[], decltype(&std::free)>;

SparseBits sparse_bits(size_t words) {
  return {static_cast<uint64_t*>(std::calloc(words, 8)), std::free};
}

// Row 2^29 + 1 of 8 bytes is looked for 8 bytes behind the first one, not 2^32 + 8.
TEST(FixedSelective, ThePlaceOfARowIsAProductOf32Bits) {
  constexpr uint32_t row = (1u << 29) + 1;
  const uint8_t rows[2][8] = {{1}, {2}};
  const uint8_t constant[8] = {2};
  const SparseBits selection = sparse_bits(row / 64 + 1);
  const SparseBits bits = sparse_bits(row / 64 + 1);
  ASSERT_TRUE(selection && bits);
  selection[row / 64] = uint64_t{1} << row % 64;

  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_flags = COLX_FIXED;
  encoding.colx_enc_ctx_width = 64;
  colx_cv src = {};
  src.colx_cv_data = const_cast<uint8_t*>(rows[0]);
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_num_of_rows = row + 1;
  colx_cv res = {};
  res.colx_cv_bits = bits.get();
  colx_kctx kctx = {};
  kctx.colx_kctx_selection = selection.get();
  kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;
  const void* const args[] = {constant, nullptr, nullptr, &encoding};
  EXPECT_EQ(colx_eq_fixed_64bit(&res, &src, args, &kctx), 0u);
  EXPECT_EQ(res.colx_cv_num_set, 1u);
  EXPECT_EQ(bits[row / 64], uint64_t{1} << row % 64);
}

// --- the twins by their own names

TEST(FixedSelective, ThereAre80DistinctTwins) {
  EXPECT_EQ(distinct_twins("_fixed_"), 80u);
}

TEST(FixedSelective, ATwinCalledByItsOwnNameWalksWithoutFlag2) {
  check_twins_by_name("_fixed_");
}

}  // namespace
}  // namespace colx::test

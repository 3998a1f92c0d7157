// The frame that all scans share, seen through the predicates on 8-bit codes: where rows and output
// come from, the first touch of a compressed column, nulls, selection, count, status, run
// expansion.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/dict_batch.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint64_t>;
using Order = std::vector<std::string>;
using oracle::DictScan;

constexpr DictScan eq8 = {COLX_OPC_EQ, 8, false};
constexpr DictScan ne8 = {COLX_OPC_NE, 8, false};
constexpr DictScan ge8 = {COLX_OPC_GE, 8, false};

constexpr uint64_t all_ones = ~uint64_t{0};

Codes codes_of(uint32_t rows, uint64_t code) {
  return Codes(rows, code);
}

// --- row counts and the clearing of the output

TEST(ScanFrame, NoRowsReadNothingWriteNothingCountZeroStatusOne) {
  const ScanRun run = run_dict(eq8, dict_batch(eq8, {}, 0));
  EXPECT_EQ(run.status, 1u);
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(run.damage, "");
}

TEST(ScanFrame, BelowOneStepTheWholeOutputIsClearedAndFilledBitByBit) {
  Codes codes = codes_of(127, 5);
  codes[0] = codes[63] = codes[64] = codes[126] = 9;
  const ScanRun run = run_dict(eq8, dict_batch(eq8, codes, 9));
  EXPECT_EQ(run.bits, (Words{1 | uint64_t{1} << 63, 1 | uint64_t{1} << 62}));
  EXPECT_EQ(run.num_set, 4u);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.damage, "");
}

TEST(ScanFrame, Row128Of129LandsInBit0OfWord2) {
  Codes codes = codes_of(129, 0);
  codes[128] = 1;
  const ScanRun run = run_dict(eq8, dict_batch(eq8, codes, 1));
  EXPECT_EQ(run.bits, (Words{0, 0, 1}));
  EXPECT_EQ(run.num_set, 1u);
}

TEST(ScanFrame, BitsAboveTheRowsAreClear) {
  for (const uint32_t rows : {1u, 63u, 65u, 127u, 129u, 191u, 193u}) {
    const ScanRun run = run_dict(ne8, dict_batch(ne8, codes_of(rows, 1), 0));
    EXPECT_EQ(run.bits.back(), all_ones >> (63 & (0 - rows))) << rows;
    EXPECT_EQ(run.num_set, rows);
  }
}

TEST(ScanFrame, WritesExactlyTheWordsOfTheRows) {
  for (const uint32_t rows : row_counts(128)) {
    for (const Place place : {Place::end, Place::begin, Place::middle}) {
      ScanBatch batch = dict_batch(ne8, codes_of(rows, 1), 0);
      batch.place = place;
      batch.src_rows = rows + 200;  // the output has room for these
      EXPECT_EQ(dict_difference(ne8, batch), "");
    }
  }
}

TEST(ScanFrame, RowCountIsThatOfTheResult) {
  ScanBatch batch = dict_batch(eq8, codes_of(70, 1), 1);
  batch.src_rows = 3;
  batch.run_rows = 5;
  EXPECT_EQ(run_dict(eq8, batch).num_set, 70u);
  EXPECT_EQ(dict_difference(eq8, batch), "");
}

TEST(ScanFrame, CountReplacesWhatWasThere) {
  static_assert(ScanStage::dirty_num_set > 3);
  EXPECT_EQ(run_dict(eq8, dict_batch(eq8, codes_of(3, 1), 1)).num_set, 3u);
}

TEST(ScanFrame, WorksWithoutKctx) {
  ScanBatch batch = dict_batch(eq8, codes_of(130, 7), 7);
  batch.with_kctx = false;
  batch.nulls = Words{1, 2, 3};
  EXPECT_EQ(run_dict(eq8, batch).bits, (Words{1, 2, 3}));
  EXPECT_EQ(dict_difference(eq8, batch), "");
}

// --- nulls and selection

TEST(ScanFrame, NullsAreAndedIn) {
  ScanBatch batch = dict_batch(eq8, codes_of(65, 7), 7);
  batch.nulls = Words{0xF0, all_ones};
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.bits, (Words{0xF0, 1}));
  EXPECT_EQ(run.num_set, 5u);
  EXPECT_EQ(run.flags_out, 0u);
}

TEST(ScanFrame, NullsAndSelectionBothApplyAndTheCountIsThatOfTheSecond) {
  ScanBatch batch = dict_batch(eq8, codes_of(64, 7), 7);
  batch.nulls = Words{0x0FF0};
  batch.selection = Words{0xFF00};
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.bits, Words{0x0F00});
  EXPECT_EQ(run.num_set, 4u);
  EXPECT_EQ(run.flags_out, 0x200u);
  EXPECT_EQ(run.status, 0u);
}

TEST(ScanFrame, SelectionWithoutFlag2IsAndedAtTheEnd) {
  // The result has 70 rows and the source 3: a full scan goes by the result.
  ScanBatch batch = dict_batch(eq8, codes_of(70, 7), 7);
  batch.src_rows = 3;
  batch.selection = Words{all_ones, all_ones};
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.bits, (Words{all_ones, 0x3F}));
  EXPECT_EQ(run.flags_out, 0x200u);
}

TEST(ScanFrame, SelectionWithFlag2RunsTheTwin) {
  // The twin goes by the source's rows.
  ScanBatch batch = dict_batch(eq8, codes_of(70, 7), 7);
  batch.src_rows = 3;
  batch.selection = Words{all_ones, all_ones};
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.bits[0], 7u);
  EXPECT_EQ(run.bits[1], GuardedOutput::dirty_word(1));
  EXPECT_EQ(run.num_set, 3u);
}

TEST(ScanFrame, Flag2WithoutSelectionIsAFullScan) {
  ScanBatch batch = dict_batch(eq8, codes_of(70, 7), 7);
  batch.src_rows = 3;
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.num_set, 70u);
  EXPECT_EQ(run.flags_out, 0u);
}

TEST(ScanFrame, OtherFlagsDoNotRunTheTwin) {
  ScanBatch batch = dict_batch(eq8, codes_of(70, 7), 7);
  batch.src_rows = 3;
  batch.selection = Words{all_ones, all_ones};
  batch.kctx_flags = ~uint32_t{COLX_KCTX_SELECTIVE};
  EXPECT_EQ(run_dict(eq8, batch).num_set, 70u);
}

TEST(ScanFrame, OutputFlagIsOredIntoWhatWasThere) {
  ScanBatch batch = dict_batch(eq8, codes_of(1, 7), 7);
  batch.selection = Words{0};
  batch.flags_out = 0x80000401;
  EXPECT_EQ(run_dict(eq8, batch).flags_out, 0x80000601u);
}

TEST(ScanFrame, SelectionThatLeavesNothingGivesStatusOne) {
  ScanBatch batch = dict_batch(eq8, codes_of(64, 7), 7);
  batch.selection = Words{0};
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(run.status, 1u);
  EXPECT_EQ(run.flags_out, 0x200u);
}

// --- the first touch of a compressed column

ScanBatch compressed_batch(const DictScan& scan) {
  ScanBatch batch = dict_batch(scan, codes_of(200, 7), 7);
  batch.store = Store::compressed;
  return batch;
}

TEST(FirstTouch, AsksForTheCopyUnderTheKernelsName) {
  run_dict(eq8, compressed_batch(eq8));
  const ScanStage& stage = scan_stage();
  ASSERT_EQ(stage.host.cached_allocations.size(), 1u);
  const CachedAllocation& a = stage.host.cached_allocations[0];
  EXPECT_EQ(a.label, "colx_eq_dict_8bit: vec1_decomp");
  EXPECT_EQ(a.host, stage.host.handle);
  EXPECT_EQ(a.heap, stage.host.heap);
  EXPECT_EQ(a.bytes, 200u);
  EXPECT_EQ(a.unit, 8u);
  EXPECT_EQ(a.align, 16u);
  EXPECT_EQ(a.size, stage.src.colx_cv_decomp_size);
}

TEST(FirstTouch, DecodesTheImageIntoTheCopyWithALengthThatStartsAt0) {
  const ScanRun run = run_dict(eq8, compressed_batch(eq8));
  const ScanStage& stage = scan_stage();
  ASSERT_EQ(stage.host.decodes.size(), 1u);
  const Decode& d = stage.host.decodes[0];
  EXPECT_EQ(d.image, stage.src.colx_cv_data);
  EXPECT_EQ(d.out, stage.host.cached_allocations[0].buffer);
  EXPECT_EQ(d.out_len_before, 0u);
  EXPECT_EQ(d.capacity, 200u);
  EXPECT_EQ(d.env.colx_denv_host, stage.host.env.colx_env_host);
  EXPECT_EQ(d.env.colx_denv_heap, stage.host.env.colx_env_heap);
  EXPECT_EQ(d.env.colx_denv_alloc, stage.host.env.colx_env_alloc);
  EXPECT_EQ(d.env.colx_denv_free, stage.host.env.colx_env_free);
  EXPECT_EQ(run.num_set, 200u);
  EXPECT_EQ(stage.host.order, (Order{"alloc_cached", "decode"}));
}

TEST(FirstTouch, SlotIsStoredBeforeTheDecoderRuns) {
  ScanStage& stage = scan_stage();
  stage.set(compressed_batch(eq8));
  void* slot_seen = nullptr;
  stage.host.at_decode = [&] { slot_seen = stage.decomp_slot; };
  stage.call(dict_kernel(eq8));
  EXPECT_EQ(slot_seen, stage.host.cached_allocations.at(0).buffer);
  EXPECT_EQ(stage.decomp_slot, slot_seen);
}

TEST(FirstTouch, OutputLengthIsNotLookedAt) {
  // The decoder delivers less than the image length; the rows are there all the same.
  ScanStage& stage = scan_stage();
  stage.set(compressed_batch(eq8));
  stage.src.colx_cv_image_len = 300;
  stage.host.expands_to(Bytes(200, 7), 100);
  EXPECT_EQ(stage.call(dict_kernel(eq8)).num_set, 200u);
  EXPECT_EQ(stage.host.decodes.at(0).capacity, 300u);
}

TEST(FirstTouch, FailureIsRaisedInTheKernelsNameAndTheScanCarriesOn) {
  ScanBatch batch = compressed_batch(eq8);
  batch.decode_status = 10;
  const ScanRun run = run_dict(eq8, batch);
  const ScanStage& stage = scan_stage();
  ASSERT_EQ(stage.host.raised.size(), 1u);
  EXPECT_EQ(stage.host.raised[0].text, "colx_eq_dict_8bit: colx_wpak_decode failed");
  EXPECT_EQ(stage.host.raised[0].host, stage.host.handle);
  EXPECT_EQ(stage.host.raised[0].error_frame, stage.host.handle);
  EXPECT_EQ(stage.host.raised[0].zero, 0u);
  EXPECT_EQ(stage.host.order, (Order{"alloc_cached", "decode", "raise"}));
  EXPECT_EQ(run.num_set, 200u);
  EXPECT_EQ(run.status, 0u);
  EXPECT_NE(stage.decomp_slot, nullptr);
}

TEST(FirstTouch, AnyNonzeroDecoderResultIsAFailure) {
  for (const uint32_t status : {1u, 0x80000000u, 0xFFFFFFFFu}) {
    ScanBatch batch = compressed_batch(eq8);
    batch.decode_status = status;
    run_dict(eq8, batch);
    EXPECT_EQ(scan_stage().host.raised.size(), 1u) << status;
  }
}

TEST(FirstTouch, TextsOfLt16bit) {
  constexpr DictScan lt16 = {COLX_OPC_LT, 16, false};
  ScanBatch batch = compressed_batch(lt16);
  batch.decode_status = 1;
  run_dict(lt16, batch);
  EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label, "colx_lt_dict_16bit: vec1_decomp");
  EXPECT_EQ(scan_stage().host.raised.at(0).text, "colx_lt_dict_16bit: colx_wpak_decode failed");
}

TEST(FirstTouch, AFilledSlotMeansNoHostCallAtAll) {
  ScanStage& stage = scan_stage();
  ScanBatch batch = dict_batch(eq8, codes_of(200, 7), 7);
  batch.store = Store::decompressed;
  stage.set(batch);
  stage.src.colx_cv_image_len = 0;
  stage.src.colx_cv_decomp_size = 0;
  stage.kctx.colx_kctx_env = nullptr;
  const ScanRun run = stage.call(dict_kernel(eq8));
  EXPECT_EQ(run.num_set, 200u);
  EXPECT_EQ(run.damage, "");
  EXPECT_EQ(stage.host.order, Order{});
}

TEST(FirstTouch, TheSecondKernelUsesTheCopyOfTheFirst) {
  ScanStage& stage = scan_stage();
  stage.set(compressed_batch(eq8));
  stage.call(dict_kernel(eq8));
  void* const copy = stage.decomp_slot;
  EXPECT_EQ(stage.call(dict_kernel(ge8)).num_set, 200u);
  EXPECT_EQ(stage.decomp_slot, copy);
  EXPECT_EQ(stage.host.order, (Order{"alloc_cached", "decode"}));
}

TEST(FirstTouch, AnUncompressedColumnIgnoresItsSlot) {
  // The stage gives such a column an unreadable slot address.
  EXPECT_EQ(dict_difference(eq8, dict_batch(eq8, codes_of(10, 7), 7)), "");
}

// --- run-length columns

ScanBatch run_length_batch(const Codes& codes, uint64_t constant) {
  ScanBatch batch = dict_batch(eq8, codes, constant);
  batch.res_rows = 1000;
  batch.src_rows = 1000;
  batch.run_length = true;
  return batch;
}

TEST(RunLength, RowsAndOutputAreThoseOfTheRuns) {
  const ScanRun run = run_dict(eq8, run_length_batch({7, 8, 7}, 7));
  EXPECT_EQ(run.run_bits, Words{5});
  EXPECT_EQ(run.bits[0], GuardedOutput::dirty_word(0));
  EXPECT_EQ(run.damage, "");
}

TEST(RunLength, CountOfRunsIsStoredBeforeTheCallback) {
  const ScanRun run = run_dict(eq8, run_length_batch({7, 8, 7}, 7));
  ASSERT_EQ(scan_stage().host.expansions.size(), 1u);
  EXPECT_EQ(scan_stage().host.expansions[0].num_set_on_entry, 2u);
  EXPECT_EQ(run.num_set, 2u);
}

TEST(RunLength, WhatTheCallbackStoresStays) {
  ScanStage& stage = scan_stage();
  stage.set(run_length_batch({7, 8, 7}, 7));
  stage.host.at_expand = [&] { stage.res.colx_cv_num_set = 777; };
  EXPECT_EQ(stage.call(dict_kernel(eq8)).num_set, 777u);
}

TEST(RunLength, StatusIsTheCallbacksUnchanged) {
  for (const uint32_t status : {0u, 1u, 2u, 7u, 0xFFFFFFFFu}) {
    for (const uint64_t constant : {7, 9}) {  // hits and none
      ScanBatch batch = run_length_batch({7, 8, 7}, constant);
      batch.expand_status = status;
      EXPECT_EQ(run_dict(eq8, batch).status, status);
    }
  }
}

TEST(RunLength, CallbackRunsWithoutAHitToo) {
  run_dict(eq8, run_length_batch({7, 8, 7}, 9));
  ASSERT_EQ(scan_stage().host.expansions.size(), 1u);
  EXPECT_EQ(scan_stage().host.expansions[0].run_hits.colx_kctx_aux_set, 0u);
}

TEST(RunLength, CallbackRunsOnceForAColumnWithoutRuns) {
  const ScanRun run = run_dict(eq8, run_length_batch({}, 9));
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(scan_stage().host.order, Order{"expand"});
}

TEST(RunLength, CallbackGetsTheCallersRecordsAndAFreshContext) {
  ScanBatch batch = run_length_batch({7, 8, 7, 7}, 7);
  batch.selection = Words{0xB};
  batch.kctx_flags = ~uint32_t{COLX_KCTX_SELECTIVE};
  batch.flags_out = 0x77;
  run_dict(eq8, batch);
  ScanStage& stage = scan_stage();
  ASSERT_EQ(stage.host.expansions.size(), 1u);
  const Expansion& e = stage.host.expansions[0];
  EXPECT_EQ(e.env, &stage.host.env);
  EXPECT_EQ(e.res, &stage.res);
  EXPECT_EQ(e.src, &stage.src);
  EXPECT_EQ(not_fresh(e.run_hits), "");
  EXPECT_EQ(e.run_hits.colx_kctx_selection, stage.encoding.colx_enc_ctx_rle_bits);
  EXPECT_EQ(e.run_hits.colx_kctx_aux_set, 2u);
}

TEST(RunLength, NullsAndSelectionArePerRun) {
  ScanBatch batch = run_length_batch(codes_of(65, 7), 7);
  batch.nulls = Words{0xFF, 1};
  batch.selection = Words{0x3C, 1};
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.run_bits, (Words{0x3C, 1}));
  EXPECT_EQ(run.num_set, 5u);
  EXPECT_EQ(run.flags_out, 0x200u);
}

TEST(RunLength, WithFlag2TheTwinScansTheSourcesRowsAndExpandsNothing) {
  ScanBatch batch = dict_batch(eq8, codes_of(70, 7), 7);
  batch.run_length = true;
  batch.run_rows = 5;
  batch.selection = Words{0x101, 0x21};
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  batch.expand_status = 9;
  const ScanRun run = run_dict(eq8, batch);
  EXPECT_EQ(run.bits, (Words{0x101, 0x21}));
  EXPECT_EQ(run.run_bits, Words{GuardedOutput::dirty_word(0)});
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(scan_stage().host.order, Order{});
}

TEST(RunLength, CompressedRunValuesAreDecodedFirst) {
  ScanBatch batch = run_length_batch({7, 8, 7}, 7);
  batch.store = Store::compressed;
  EXPECT_EQ(run_dict(eq8, batch).run_bits, Words{5});
  EXPECT_EQ(scan_stage().host.order, (Order{"alloc_cached", "decode", "expand"}));
}

TEST(RunLength, FlagsAreReadAgainForTheEpilogue) {
  ScanStage& stage = scan_stage();
  ScanBatch batch = run_length_batch({7, 8, 7}, 7);
  batch.store = Store::compressed;
  stage.set(batch);
  stage.host.at_decode = [&] { stage.encoding.colx_enc_ctx_flags &= ~uint32_t{COLX_RLE}; };
  const ScanRun run = stage.call(dict_kernel(eq8));
  EXPECT_EQ(run.run_bits, Words{5});
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(stage.host.order, (Order{"alloc_cached", "decode"}));
}

// --- all of it together, whole cross product at small row counts

TEST(ScanFrame, EveryCombinationOfConditions) {
  Random random(11);
  constexpr Store stores[] = {Store::plain, Store::compressed, Store::decompressed};
  for (const uint32_t rows : {0u, 1u, 64u, 127u, 128u, 129u, 200u}) {
    for (unsigned mix = 0; mix < 3 * 64; ++mix) {
      const auto has = [mix](unsigned bit) { return (mix / 3 >> bit & 1) != 0; };
      Codes codes(rows);
      for (uint64_t& code : codes) code = random.below(3);
      ScanBatch batch = dict_batch(ge8, codes, has(0) ? 1 : 2);
      batch.store = stores[mix % 3];
      batch.decode_status = has(1) ? 1 : 0;
      batch.run_length = has(2);
      batch.expand_status = 2 + mix;
      if (has(3)) batch.nulls = random.words(words_of(rows));
      if (has(4)) batch.selection = random.words(words_of(rows) + 1);
      batch.kctx_flags = has(5) ? COLX_KCTX_SELECTIVE : 0;
      EXPECT_EQ(dict_difference(ge8, batch), "") << "mix " << mix;
    }
  }
}

}  // namespace
}  // namespace colx::test

// The selective twins: entered from the plain and _null kernels, they test the selected rows alone.
#include <cstring>
#include <set>

#include "kernels/frame/kernels.h"
#include "tests/predicate/dict_checks.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint64_t>;
using Order = std::vector<std::string>;
using oracle::DictScan;

constexpr uint64_t all_ones = ~uint64_t{0};

const std::vector<unsigned>& widths_with_twin() {
  static const std::vector<unsigned> widths = [] {
    std::vector<unsigned> all(std::begin(aligned_widths), std::end(aligned_widths));
    all.insert(all.end(), std::begin(packed_widths), std::end(packed_widths));
    return all;
  }();
  return widths;
}

template <class Body>
void for_each_twin(Body body) {
  for (const bool null_form : {false, true}) for_each_scan(widths_with_twin(), null_form, body);
}

ScanBatch selective_batch(const DictScan& scan, const Codes& codes, Words selection, uint64_t lo,
                          uint64_t hi = 0) {
  ScanBatch batch = dict_batch(scan, codes, lo, hi);
  batch.selection = std::move(selection);
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  return batch;
}

// --- sweeps

TEST(DictSelective, EveryStepEdge) {
  for_each_twin([](const DictScan& scan) { check_step_edges(scan, COLX_KCTX_SELECTIVE); });
}

TEST(DictSelective, EveryRowAloneIsTestedAtItsPlace) {
  for_each_twin([](const DictScan& scan) {
    if (scan.opc != COLX_OPC_EQ && scan.opc != COLX_OPC_GE_LE) return;
    const uint64_t top = top_code(scan.width_bits);
    for (uint32_t row = 0; row < 130; ++row) {
      Codes codes(130, top - 1);
      codes[row] = top;
      Words selection(3, 0);
      selection[row / 64] = uint64_t{1} << row % 64;
      ASSERT_EQ(dict_difference(scan, selective_batch(scan, codes, selection, top, top)), "");
      ASSERT_EQ(scan_stage().res.colx_cv_num_set, 1u) << dict_kernel(scan).name << " row " << row;
    }
  });
}

TEST(DictSelective, PlainKernelWithSelectionAndTwinAgreeInBitsAndCount) {
  for_each_twin([](const DictScan& scan) {
    for (const uint32_t rows : {1u, 63u, 64u, 65u, 150u}) {
      const uint64_t seed = mixed_seed(dict_index(scan), rows);
      Random random(seed);
      const uint64_t lo = top_code(scan.width_bits) / 3;
      const Codes codes = pattern_codes(Pattern::near, scan.width_bits, rows, lo, random);
      ScanBatch batch = selective_batch(scan, codes, random.words(words_of(rows), 2), lo, lo + 1);
      if (rows % 2 == 0) batch.nulls = random.words(words_of(rows));
      const ScanRun by_twin = run_dict(scan, batch);
      batch.kctx_flags = 0;
      const ScanRun by_plain = run_dict(scan, batch);
      ASSERT_EQ(by_twin.bits, by_plain.bits) << dict_kernel(scan).name << " seed " << seed;
      ASSERT_EQ(by_twin.num_set, by_plain.num_set);
      ASSERT_EQ(by_twin.status, by_plain.status);
      ASSERT_EQ(by_twin.flags_out, by_plain.flags_out);
    }
  });
}

// --- selections

TEST(DictSelective, EmptySelectionClearsTheOutputSetsTheFlagAndGivesStatusOne) {
  for_each_twin([](const DictScan& scan) {
    const ScanRun run = run_dict(scan, selective_batch(scan, Codes(100, 1), {0, 0}, 1, 1));
    ASSERT_EQ(run.bits, (Words{0, 0}));
    ASSERT_EQ(run.flags_out, 0x200u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.status, 1u);
  });
}

TEST(DictSelective, SelectionOfExactly8Rows) {
  for_each_twin([](const DictScan& scan) {
    if (scan.opc != COLX_OPC_EQ) return;
    const ScanRun run =
        run_dict(scan, selective_batch(scan, Codes(100, 1), {0x8000000000000055, 7}, 1));
    ASSERT_EQ(run.bits, (Words{0x8000000000000055, 7})) << dict_kernel(scan).name;
    ASSERT_EQ(run.num_set, 8u);
  });
}

TEST(DictSelective, SelectionOf9RowsIsABatchAndOne) {
  for_each_twin([](const DictScan& scan) {
    if (scan.opc != COLX_OPC_EQ) return;
    const ScanRun run = run_dict(scan, selective_batch(scan, Codes(100, 1), {0xFF, 1}, 1));
    ASSERT_EQ(run.bits, (Words{0xFF, 1})) << dict_kernel(scan).name;
    ASSERT_EQ(run.num_set, 9u);
  });
}

TEST(DictSelective, SelectionsOfEverySizeUpTo20) {
  const DictScan scan = dict_scan(COLX_OPC_EQ, 13);
  for (uint32_t size = 0; size <= 20; ++size) {
    const uint64_t chosen = (uint64_t{1} << size) - 1;
    const ScanRun run = run_dict(scan, selective_batch(scan, Codes(64, 1), {chosen << 3}, 1));
    EXPECT_EQ(run.bits, Words{chosen << 3});
    EXPECT_EQ(run.num_set, size);
  }
}

TEST(DictSelective, SelectionsAroundMultiplesOfABatch) {
  const DictScan scan = dict_scan(COLX_OPC_NE, 11);
  for (const uint32_t size : {248u, 255u, 256u, 257u, 264u, 511u, 512u, 513u}) {
    Words selection(10, 0);
    for (uint32_t row = 0; row < size; ++row) selection[row / 64] |= uint64_t{1} << row % 64;
    const ScanRun run = run_dict(scan, selective_batch(scan, Codes(640, 1), selection, 2));
    EXPECT_EQ(run.bits, selection) << size;
    EXPECT_EQ(run.num_set, size);
  }
}

TEST(DictSelective, SelectionsOfEverySparsity) {
  constexpr uint32_t rows = 64 * 70 + 5;
  for_each_twin([](const DictScan& scan) {
    if (scan.opc != COLX_OPC_NE && scan.opc != COLX_OPC_LT && scan.opc != COLX_OPC_GE_LE) return;
    const uint64_t seed = mixed_seed(dict_index(scan), rows);
    Random random(seed);
    const uint64_t lo = top_code(scan.width_bits) / 3;
    const Codes codes = pattern_codes(Pattern::near, scan.width_bits, rows, lo, random);
    for (unsigned sparsity = 1; sparsity <= 9; ++sparsity) {
      const Words selection = random.words(words_of(rows), sparsity);
      ASSERT_EQ(dict_difference(scan, selective_batch(scan, codes, selection, lo, lo + 1)), "")
          << "sparsity " << sparsity << " seed " << seed;
    }
  });
}

TEST(DictSelective, SelectedBitsAtOrAboveTheRowsAreIgnored) {
  for_each_twin([](const DictScan& scan) {
    // Row 70 on has no code; the selection goes on for two more words.
    const ScanBatch batch =
        selective_batch(scan, Codes(70, 1), {1, all_ones, all_ones, all_ones}, 1, 1);
    ASSERT_EQ(dict_difference(scan, batch), "");
    const Words bits = run_dict(scan, batch).bits;
    ASSERT_EQ(bits.size(), 2u);
    ASSERT_EQ(bits[1] >> 6, 0u);
  });
}

TEST(DictSelective, NoRowsReadOneWordOfTheSelectionAndNoCode) {
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, {}, {all_ones}, 1, 1);
    batch.stream_readable = false;
    const ScanRun run = run_dict(scan, batch);
    ASSERT_EQ(run.status, 1u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.damage, "");
  });
}

TEST(DictSelective, RowsOutsideTheSelectionAreNotRead) {
  // Only row 0 is selected, and the stream ends behind it and its slack.
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, Codes(1, 1), {1, 0, 0, 0}, 1, 1);
    batch.res_rows = batch.src_rows = 250;
    const ScanRun run = run_dict(scan, batch);
    ASSERT_EQ(run.damage, "");
    ASSERT_EQ(Words(run.bits.begin() + 1, run.bits.end()), Words(3, 0));
  });
}

TEST(DictSelective, OutputFlagIsOredIn) {
  const DictScan scan = dict_scan(COLX_OPC_EQ, 8);
  ScanBatch batch = selective_batch(scan, Codes(1, 1), {1}, 1);
  batch.flags_out = 0x401;
  EXPECT_EQ(run_dict(scan, batch).flags_out, 0x601u);
}

// --- nulls

TEST(DictSelective, NullsVectorIsTheOnlyAndAndTheCountIsItsCount) {
  for_each_twin([](const DictScan& scan) {
    if (scan.opc != COLX_OPC_GE) return;
    ScanBatch batch = selective_batch(scan, Codes(64, 1), {0xFF0}, 1);
    batch.nulls = Words{0x0FF};
    const ScanRun run = run_dict(scan, batch);
    ASSERT_EQ(run.bits, Words{0x0F0}) << dict_kernel(scan).name;
    ASSERT_EQ(run.num_set, 4u);
  });
}

TEST(DictSelective, NullTwinNeverSelectsCode0) {
  for (const unsigned width : widths_with_twin()) {
    const ScanRun run = run_dict(
        dict_scan(COLX_OPC_NE, width, true),
        selective_batch(dict_scan(COLX_OPC_NE, width, true), Codes{0, 1, 2, 0, 2}, {0x1F}, 1));
    EXPECT_EQ(run.bits, Words{0b10100}) << width;
  }
}

// --- run-length and compressed columns

TEST(DictSelective, RunLengthIsNotConsulted) {
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, Codes(70, 1), {3, 1}, 1, 1);
    batch.run_length = true;
    batch.run_rows = 5;
    batch.res_rows = 2;
    batch.expand_status = 9;
    ASSERT_EQ(dict_difference(scan, batch), "");
    ASSERT_EQ(scan_stage().host.order, Order{});
  });
}

TEST(DictSelective, WithoutFlag2TheRunsAreScannedAndExpanded) {
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, Codes(5, 1), {3}, 1, 1);
    batch.kctx_flags = 0;
    batch.run_length = true;
    batch.res_rows = batch.src_rows = 70;
    batch.expand_status = 9;
    ASSERT_EQ(run_dict(scan, batch).status, 9u);
    ASSERT_EQ(scan_stage().host.order, Order{"expand"});
  });
}

TEST(DictSelective, LabelsAndTextsAreThoseOfTheKernelThatWasEntered) {
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, Codes(70, 1), {3, 1}, 1, 1);
    batch.store = Store::compressed;
    batch.decode_status = 4;
    const std::string name = dict_kernel(scan).name;
    ASSERT_EQ(dict_difference(scan, batch), "");
    ASSERT_EQ(scan_stage().host.cached_allocations.at(0).label, name + ": vec1_decomp");
    ASSERT_EQ(scan_stage().host.raised.at(0).text, name + ": colx_wpak_decode failed");
  });
}

TEST(DictSelective, LabelOfEqDict8bitNull) {
  const DictScan scan = dict_scan(COLX_OPC_EQ, 8, true);
  ScanBatch batch = selective_batch(scan, Codes(70, 1), {3, 1}, 1);
  batch.store = Store::compressed;
  run_dict(scan, batch);
  EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label,
            "colx_eq_dict_8bit_null: vec1_decomp");
}

TEST(DictSelective, ColumnIsDecompressedBeforeTheFlagIsSetAndTheOutputCleared) {
  const DictScan scan = dict_scan(COLX_OPC_EQ, 8);
  ScanBatch batch = selective_batch(scan, Codes(70, 1), {3, 1}, 1);
  batch.store = Store::compressed;
  ScanStage& stage = scan_stage();
  stage.set(batch);
  uint32_t flags_seen = 0;
  uint64_t word_seen = 0;
  stage.host.at_decode = [&] {
    flags_seen = stage.kctx.colx_kctx_flags_out;
    word_seen = stage.res.colx_cv_bits[0];
  };
  EXPECT_EQ(stage.call(dict_kernel(scan)).flags_out, 0x200u);
  EXPECT_EQ(flags_seen, 0u);
  EXPECT_EQ(word_seen, GuardedOutput::dirty_word(0));
}

TEST(DictSelective, AFilledSlotMeansNoHostCall) {
  for_each_twin([](const DictScan& scan) {
    ScanBatch batch = selective_batch(scan, Codes(70, 1), {3, 1}, 1, 1);
    batch.store = Store::decompressed;
    ASSERT_EQ(dict_difference(scan, batch), "");
  });
}

// --- the twins by their own names

struct NamedTwin {
  const char* entered_as;  // the kernel whose twin it is
  colx_kernel_fn twin;
};

std::vector<NamedTwin> dict_twins() {
#define COLX_TWIN(form, name, op, enc, code, flag) \
  NamedTwin{#name, reinterpret_cast<colx_kernel_fn>(&name##_selective)},
  const NamedTwin all[] = {COLX_SELECTIVE_TWINS(COLX_TWIN)};
#undef COLX_TWIN
  std::vector<NamedTwin> twins;
  for (const NamedTwin& twin : all) {
    const bool predicate = std::strncmp(twin.entered_as, "colx_set_", 9) != 0;
    if (predicate && std::strstr(twin.entered_as, "_dict_") != nullptr) twins.push_back(twin);
  }
  return twins;
}

uint32_t index_of(const char* name) {
  uint32_t i = 0;
  while (i < COLX_DISPATCH_SLOTS && std::strcmp(colx_dispatch_func_names[i], name) != 0) ++i;
  return i;
}

TEST(DictSelective, ThereAre440DistinctTwinsAndNoneOfOneBit) {
  std::set<colx_kernel_fn> distinct;
  for (const NamedTwin& twin : dict_twins()) {
    distinct.insert(twin.twin);
    EXPECT_GT(dict_scan_at(index_of(twin.entered_as)).width_bits, 1u) << twin.entered_as;
  }
  EXPECT_EQ(distinct.size(), 440u);
}

TEST(DictSelective, ATwinCalledByItsOwnNameWalksWithoutFlag2) {
  for (const NamedTwin& twin : dict_twins()) {
    const DictScan scan = dict_scan_at(index_of(twin.entered_as));
    const uint64_t top = top_code(scan.width_bits);
    const Codes codes = {0, 1, top / 2, top, top - 1, 1, 0};
    ScanBatch batch = selective_batch(scan, codes, {0x5D}, top / 2, top);
    const ScanRun entered = run_dict(scan, batch);
    batch.kctx_flags = 0;
    batch.res_rows = 2;  // a full scan would stop here
    const ScanKernel kernel = {twin.entered_as, twin.twin, oracle::is_range(scan.opc)};
    const ScanRun called = scan_stage().run(kernel, batch);
    ASSERT_EQ(called.bits, entered.bits) << twin.entered_as;
    ASSERT_EQ(called.num_set, entered.num_set) << twin.entered_as;
    ASSERT_EQ(called.flags_out, 0x200u);
  }
}

TEST(DictSelective, EveryConditionOnTheTwins) {
  for_each_twin([](const DictScan& scan) { check_conditions(scan); });
}

}  // namespace
}  // namespace colx::test

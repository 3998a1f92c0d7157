// Translation of whole row ranges: lookup by the five elements of a table, hits as bits, codes at
// their rows, rows from any first one on.
#include <gtest/gtest.h>

#include "tests/support/row_counts.h"
#include "tests/support/xlate_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t no_row = 0xFFFFFFFF;

TEST(Xlate, There27KernelsUnderTheirNames) {
  EXPECT_EQ(xlate_kernels().size(), 27u);
  EXPECT_STREQ(xlate_kernel(COLX_XLATE_SIM, 1, false).name, "colx_xlate_sim_bit");
  EXPECT_STREQ(xlate_kernel(COLX_XLATE_OFF, 8, false).name, "colx_xlate_off_ub1");
  EXPECT_STREQ(xlate_kernel(COLX_XLATE_IND, 16, true).name, "colx_xlate_ind_ub2_c2d");
  EXPECT_STREQ(xlate_kernel(COLX_XLATE_SIM, 32, true).name, "colx_xlate_sim_ub4_c2d");
  EXPECT_STREQ(xlate_kernel(COLX_XLATE_OFF, 4, true).name, "colx_xlate_off_nib_c2d");
}

TEST(Xlate, TheFormsWithCodesHaveTheFlagAndWidthCodes1To4) {
  EXPECT_EQ(colx_slot_index(COLX_OPC_XLATE, COLX_XLATE_SIM, COLX_WIDTH_NIB, 1), 4241u);
  EXPECT_STREQ(colx_dispatch_func_names[4241], "colx_xlate_sim_nib_c2d");
  for (const uint32_t form : {COLX_XLATE_SIM, COLX_XLATE_OFF, COLX_XLATE_IND}) {
    EXPECT_EQ(colx_dispatch_table[colx_slot_index(COLX_OPC_XLATE, form, COLX_WIDTH_BIT, 1)],
              nullptr);
  }
}

TEST(Xlate, EveryRowCountAndHitRateAtBothEdgesOfAPage) {
  Random random(1);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (const uint32_t rows : row_counts(16)) {
      for (const unsigned hit_percent : {0u, 5u, 50u, 100u}) {
        XlateBatch batch = random_xlate_batch(kernel, 0, rows, hit_percent, random);
        EXPECT_EQ(xlate_difference(kernel, batch), "");
        batch.edge = Edge::begin;
        batch.place = Place::begin;
        batch.zeroed = false;
        EXPECT_EQ(xlate_difference(kernel, batch), "");
      }
    }
  });
}

TEST(Xlate, EveryFirstRowOfTwoBlocksAndEveryNumberOfRowsBehindIt) {
  Random random(2);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (uint32_t start = 0; start <= 33; ++start) {
      for (uint32_t count = 0; count <= 50; ++count) {
        XlateBatch batch = random_xlate_batch(kernel, start, count, 40, random);
        batch.zeroed = (count & 2) == 0;
        batch.place = count % 3 == 0 ? Place::middle : Place::end;
        EXPECT_EQ(xlate_difference(kernel, batch), "");
      }
    }
  });
}

TEST(Xlate, RowsWhoseBytesLieBeyond32BitsOfOffset) {
  Random random(3);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (const uint32_t start : {0x3FFFFFFDu, 0x40000000u, 0x80000005u, 0xFFFFFF80u}) {
      const XlateBatch batch = random_xlate_batch(kernel, start, 77, 60, random);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(Xlate, WithoutAHitTheStatusIs1BothRowsAre0xFFFFFFFFAndNoBitIsTouched) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 3, 80, {});
    const XlateRun run = run_xlate(kernel, batch);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.first_hit, no_row);
    EXPECT_EQ(run.last_hit, no_row);
    EXPECT_EQ(run.hits, Numbers{});
    batch.zeroed = false;
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(Xlate, NoRowsFromAnyFirstRowOn) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    for (const uint32_t start : {0u, 5u, 8u, 64u}) {
      const XlateBatch batch = batch_with_hits(kernel, start, 0, {});
      const XlateRun run = run_xlate(kernel, batch);
      EXPECT_EQ(run.status, 1u);
      EXPECT_EQ(run.num_set, 0u);
      EXPECT_EQ(run.first_hit, no_row);
      EXPECT_EQ(run.last_hit, no_row);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(Xlate, AFirstRowOf5WithTwoRowsLeftTakesThemSingly) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 5, 2, {5, 6});
    const XlateRun run = run_xlate(kernel, batch);
    EXPECT_EQ(run.hits, (Numbers{5, 6}));
    EXPECT_EQ(run.num_set, 2u);
    EXPECT_EQ(run.first_hit, 5u);
    EXPECT_EQ(run.last_hit, 6u);
    EXPECT_EQ(run.status, 0u);
    batch.zeroed = false;
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(Xlate, HeadBlocksAndTailTogether) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const Numbers hits = {4, 8, 15, 16, 23, 25, 39, 42};
    const XlateRun run = run_xlate(kernel, batch_with_hits(kernel, 3, 40, hits));
    EXPECT_EQ(run.hits, hits);
    EXPECT_EQ(run.num_set, 8u);
    EXPECT_EQ(run.first_hit, 4u);
    EXPECT_EQ(run.last_hit, 42u);
    EXPECT_EQ(run.status, 0u);
  });
}

TEST(Xlate, TheFirstHitIsTheLowestOfItsBlockAndTheLastTheHighestOfItsOwn) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const XlateRun run = run_xlate(kernel, batch_with_hits(kernel, 0, 64, {18, 30, 33, 45}));
    EXPECT_EQ(run.first_hit, 18u);
    EXPECT_EQ(run.last_hit, 45u);
    EXPECT_EQ(run.num_set, 4u);
  });
}

TEST(Xlate, EveryRowOfABlockAloneIsItsBit) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    for (uint32_t row = 8; row < 40; ++row) {
      const XlateRun run = run_xlate(kernel, batch_with_hits(kernel, 8, 32, {row}));
      EXPECT_EQ(run.hits, Numbers{row});
      EXPECT_EQ(run.first_hit, row);
      EXPECT_EQ(run.last_hit, row);
    }
  });
}

// Bits of two words that were all set before a call.
Words bits_left_by(const XlateKernel& kernel, const XlateBatch& batch) {
  XlateStage& stage = xlate_stage();
  stage.set(kernel, batch);
  stage.res.colx_cv_bits[0] = stage.res.colx_cv_bits[1] = ~uint64_t{0};
  stage.call();
  return {stage.res.colx_cv_bits[0], stage.res.colx_cv_bits[1]};
}

// Hosts pass the bits zeroed. Of bits that are not, a block with a hit leaves none that it does not
// mean, and everything else leaves them all.
TEST(Xlate, ABlockWithAHitStoresIts16BitsAndSingleRowsAreOredIn) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const Words bits = bits_left_by(kernel, batch_with_hits(kernel, 5, 60, {6, 10, 60}));
    EXPECT_EQ(bits, (Words{~(uint64_t{0xFFFF} << 8) | uint64_t{1} << 10, ~uint64_t{0}}));
  });
}

TEST(Xlate, BlocksBeginAtMultiplesOf8) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const Words bits = bits_left_by(kernel, batch_with_hits(kernel, 8, 80, {71, 23}));
    EXPECT_EQ(bits[0], (~(uint64_t{0xFFFF} << 8) | uint64_t{1} << 23) & ~(uint64_t{0xFF} << 56));
    EXPECT_EQ(bits[1], ~uint64_t{0xFF} | uint64_t{1} << 7);
  });
}

TEST(Xlate, AClearBitOfABitTableIsAHitAndASetOneIsNone) {
  const XlateKernel kernel = xlate_kernel(COLX_XLATE_SIM, 1, false);
  const uint8_t bits[] = {0x6D, 0xFE};
  XlateBatch batch;
  batch.raw_table = bits;
  batch.keys = {0, 1, 4, 7, 8, 9, 11};
  EXPECT_EQ(run_xlate(kernel, batch).hits, (Numbers{1, 2, 3, 4}));
  batch.keys = {7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8};
  EXPECT_EQ(run_xlate(kernel, batch).hits, (Numbers{0, 3, 6, 15}));
}

TEST(Xlate, EvenElementsOfANibbleTableAreInTheLowNibble) {
  const XlateKernel kernel = xlate_kernel(COLX_XLATE_SIM, 4, true);
  const uint8_t nibbles[] = {0x21, 0xF4, 0x3F};
  XlateBatch batch;
  batch.raw_table = nibbles;
  batch.keys = {0, 1, 2, 3, 4, 5};
  const XlateRun run = run_xlate(kernel, batch);
  EXPECT_EQ(run.codes, (Numbers{1, 2, 4, 15, 15, 3}));
  EXPECT_EQ(run.hits, (Numbers{0, 1, 2, 5}));
}

TEST(Xlate, EveryElementIsFoundAndWrittenAndIsAHitButForTheMarker) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const uint32_t marker = kernel.marker();
    Numbers found = {0, marker, marker - 1};
    for (unsigned b = 0; b < kernel.translation.element_bits; ++b) {
      found.push_back(uint32_t{1} << b);
      found.push_back(marker - (uint32_t{1} << b));
    }
    Numbers hits;
    for (uint32_t i = 0; i < found.size(); ++i) {
      if (found[i] != marker) hits.push_back(i);
    }
    const XlateRun run = run_xlate(kernel, xlate_batch_of(kernel, 0, found));
    EXPECT_EQ(run.hits, hits);
    if (kernel.translation.writes_codes) {
      EXPECT_EQ(run.codes, found);
    }
  });
}

TEST(Xlate, EveryElementOfUpTo8BitsInAllLanes) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    if (kernel.translation.element_bits > 8) return;
    for (uint32_t element = 0; element <= kernel.marker(); ++element) {
      const Numbers found(16, element);
      const XlateRun run = run_xlate(kernel, xlate_batch_of(kernel, 0, found));
      EXPECT_EQ(run.num_set, element == kernel.marker() ? 0u : 16u) << element;
      if (kernel.translation.writes_codes) {
        EXPECT_EQ(run.codes, found);
      }
    }
  });
}

TEST(Xlate, MissesWriteTheMarkerAtTheirRows) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    if (!kernel.translation.writes_codes) return;
    Numbers expected(50, kernel.marker());
    expected[17] = kernel.marker() - 1;
    EXPECT_EQ(run_xlate(kernel, batch_with_hits(kernel, 3, 50, {20})).codes, expected);
  });
}

// The byte of rows 4 and 5 after the translation of one of them.
uint8_t shared_byte(const XlateKernel& kernel, uint32_t row, uint8_t before) {
  XlateStage& stage = xlate_stage();
  stage.set(kernel, xlate_batch_of(kernel, row, Numbers{9}));
  auto* const byte = static_cast<uint8_t*>(stage.kctx.colx_kctx_xlate_out) + 2;
  *byte = before;
  stage.call();
  return *byte;
}

TEST(Xlate, ANibbleOfAnOddRowLeavesTheEvenRowsNibbleAndTheOtherWayRound) {
  for (const uint32_t form : {COLX_XLATE_SIM, COLX_XLATE_OFF, COLX_XLATE_IND}) {
    const XlateKernel kernel = xlate_kernel(form, 4, true);
    EXPECT_EQ(shared_byte(kernel, 5, 0x63), 0x93) << kernel.name;
    EXPECT_EQ(shared_byte(kernel, 4, 0x63), 0x69) << kernel.name;
  }
}

TEST(Xlate, OtherKeysThan32BitHashValuesAreNotServedAndNothingIsWritten) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 2, 40, {5, 20, 41});
    batch.flags_out = 0x7;
    batch.zeroed = false;
    batch.enc_flags = COLX_DICT | COLX_GD;
    EXPECT_EQ(run_xlate(kernel, batch).status, 2u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
    for (const uint32_t width : {64u, 0u, 31u, 33u, 0x120u, 0x10020u}) {
      batch.enc_flags = COLX_HASH_VALUES;
      batch.width = width;
      EXPECT_EQ(run_xlate(kernel, batch).status, 2u) << width;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(Xlate, OtherFlagsOfTheKeysMeanNothing) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 2, 40, {5, 20, 41});
    batch.enc_flags = ~uint32_t{0};
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(Xlate, WithoutASelectionFlagsMeanNothingAndOutputFlagsStay) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 40, {5});
    batch.kctx_flags = ~uint32_t{0};
    batch.flags_out = 0x200;
    EXPECT_EQ(run_xlate(kernel, batch).flags_out, 0x200u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

}  // namespace
}  // namespace colx::test

// The selective twins of translation: any selection goes to them, and no row outside it is looked
// at.
#include <gtest/gtest.h>

#include <string>

#include "kernels/frame/kernels.h"
#include "tests/oracle/bit_vectors.h"
#include "tests/support/xlate_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t no_row = 0xFFFFFFFF;
constexpr uint64_t all_ones = ~uint64_t{0};

TEST(XlateSelective, EverySelectionGoesToTheTwinWhateverFlag2Says) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 70, {1, 2, 3, 20, 21, 66, 67});
    for (const uint32_t row : {2u, 3u, 4u, 21u, 67u}) select(batch, row);
    for (const uint32_t flags : {0u, uint32_t{COLX_KCTX_SELECTIVE}, ~uint32_t{0}}) {
      batch.kctx_flags = flags;
      const XlateRun run = run_xlate(kernel, batch);
      EXPECT_EQ(run.hits, (Numbers{2, 3, 21, 67}));
      EXPECT_EQ(run.num_set, 4u);
      EXPECT_EQ(run.first_hit, 2u);
      EXPECT_EQ(run.last_hit, 67u);
      EXPECT_EQ(run.status, 0u);
      EXPECT_EQ(run.flags_out, 0x10000u);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

struct Twin {
  const char* name;
  colx_binary_fn kernel;
};

#define COLX_TWIN(form, name, op, enc, code, flag) Twin{#name, name##_selective},
const Twin twins[] = {COLX_XLATE(COLX_TWIN)};
#undef COLX_TWIN

TEST(XlateSelective, EveryKernelHasATwinUnderItsName) {
  EXPECT_EQ(std::size(twins), 27u);
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    const Twin* found = nullptr;
    for (const Twin& twin : twins) {
      if (std::string(twin.name) == kernel.name) found = &twin;
    }
    ASSERT_NE(found, nullptr);
    XlateKernel entered = kernel;
    entered.kernel = found->kernel;
    XlateBatch batch = batch_with_hits(kernel, 3, 400, {7, 80, 399});
    batch.selection = Words(7, 0xFF00FF00FF00FF81);
    EXPECT_EQ(xlate_difference(entered, batch), "");
    batch.width = 64;
    EXPECT_EQ(xlate_difference(entered, batch), "");
  });
}

// Rows are drawn 256 at a time, and a shorter batch is the last.
TEST(XlateSelective, NumbersOfSelectedRowsAroundABatchOf256) {
  Random random(1);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (const uint32_t selected :
         {0u, 1u, 3u, 4u, 5u, 245u, 246u, 255u, 256u, 257u, 511u, 512u, 513u, 700u}) {
      XlateBatch batch = random_xlate_batch(kernel, selected % 70, 2200, 60, random);
      batch.selection = Words(2300 / 64 + 1, 0);
      for (uint32_t i = 0; i < selected; ++i) select(batch, batch.start + 3 * i);
      batch.zeroed = selected % 2 == 0;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(XlateSelective, EveryFirstRowOfTwoWords) {
  Random random(2);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (uint32_t start = 0; start <= 130; ++start) {
      XlateBatch batch = random_xlate_batch(kernel, start, 10 + start % 90, 60, random);
      batch.selection = random.words(4);
      batch.edge = start % 2 == 0 ? Edge::end : Edge::begin;
      batch.place = start % 2 == 0 ? Place::end : Place::begin;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(XlateSelective, RowsWhoseBytesLieBeyond32BitsOfOffset) {
  Random random(3);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    for (const uint32_t start : {0x3FFFFFFDu, 0x40000000u, 0x7FFFF005u}) {
      XlateBatch batch = random_xlate_batch(kernel, start, 777, 60, random);
      batch.selection = random.words(14);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

// Keys that no table has, in all rows that are not selected.
TEST(XlateSelective, RowsOutsideTheSelectionAreNotLookedUp) {
  Random random(4);
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    XlateBatch batch = random_xlate_batch(kernel, 7, 1000, 60, random);
    batch.selection = random.words(16, 2);
    for (uint32_t i = 0; i < 1000; ++i) {
      if (!oracle::bit_at(batch.selection->data(), 7 + i)) batch.keys[i] = 0xF0000000 + i;
    }
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(XlateSelective, BitsAreOredInAlsoOfWholeBlocks) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 64, {17});
    batch.selection = Words{all_ones};
    xlate_stage().set(kernel, batch);
    xlate_stage().res.colx_cv_bits[0] = 0xF0F0F0F0F0F00F0F;
    xlate_stage().call();
    EXPECT_EQ(xlate_stage().res.colx_cv_bits[0], 0xF0F0F0F0F0F00F0F | uint64_t{1} << 17);
  });
}

TEST(XlateSelective, CodesAreWrittenOfSelectedRowsAloneMissesIncluded) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    if (!kernel.translation.writes_codes) return;
    XlateBatch batch = batch_with_hits(kernel, 0, 50, {20, 21, 22});
    for (const uint32_t row : {3u, 21u, 48u}) select(batch, row);
    const Numbers before = codes_before(kernel, batch);
    const XlateRun run = run_xlate(kernel, batch);
    Numbers expected = before;
    expected[3] = expected[48] = kernel.marker();
    expected[21] = kernel.marker() - 1;
    EXPECT_EQ(run.codes, expected);
  });
}

TEST(XlateSelective, AnEmptySelectionFindsNothingAndStillSetsTheOutputFlag) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 100, {5, 50});
    batch.selection = Words{0, 0};
    batch.flags_out = 0x201;
    const XlateRun run = run_xlate(kernel, batch);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.first_hit, no_row);
    EXPECT_EQ(run.last_hit, no_row);
    EXPECT_EQ(run.flags_out, 0x10201u);
    EXPECT_EQ(run.hits, Numbers{});
  });
}

TEST(XlateSelective, SelectedMissesFindNothingAndStillSetTheOutputFlag) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 100, {5});
    batch.selection = Words{~(uint64_t{1} << 5), all_ones};
    const XlateRun run = run_xlate(kernel, batch);
    EXPECT_EQ(run.status, 1u);
    EXPECT_EQ(run.flags_out, 0x10000u);
  });
}

TEST(XlateSelective, BitsBelowTheFirstRowAndFromTheRowCountOnAreNoRows) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 37, 40, {37, 38, 64, 76});
    batch.selection = Words{all_ones, all_ones, all_ones};
    const XlateRun run = run_xlate(kernel, batch);
    EXPECT_EQ(run.hits, (Numbers{37, 38, 64, 76}));
    EXPECT_EQ(run.num_set, 4u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(XlateSelective, NoRowsReadOneWordOfTheSelectionAndNoKey) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    for (const uint32_t start : {0u, 5u, 64u}) {
      XlateBatch batch = batch_with_hits(kernel, start, 0, {});
      batch.selection = Words{all_ones};
      EXPECT_EQ(run_xlate(kernel, batch).status, 1u);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

// Not even the output flags change, and the selection is not looked at.
TEST(XlateSelective, OtherKeysThan32BitHashValuesAreNotServed) {
  for_each_xlate_kernel([](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 70, {1, 66});
    batch.selection = Words{all_ones, all_ones};
    batch.flags_out = 0x200;
    batch.enc_flags = ~uint32_t{COLX_HASH_VALUES};
    EXPECT_EQ(run_xlate(kernel, batch).status, 2u);
    EXPECT_EQ(run_xlate(kernel, batch).flags_out, 0x200u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
    batch.enc_flags = COLX_HASH_VALUES;
    batch.width = 64;
    EXPECT_EQ(run_xlate(kernel, batch).status, 2u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

}  // namespace
}  // namespace colx::test

// The three table forms of translation: keys of flat tables, bases of offset tables, pages, shifts
// and masks of two-level ones.
#include <gtest/gtest.h>

#include "tests/support/sparse_table.h"
#include "tests/support/xlate_stage.h"

namespace colx::test {
namespace {

void for_each_kernel_of(uint32_t form, const std::function<void(const XlateKernel&)>& body) {
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    if (kernel.translation.form == form) body(kernel);
  });
}

TEST(XlateFlat, KeysUpTo0xFFFFFFFFReachTheirElements) {
  const Numbers keys = {0x00000000, 0x20000003, 0x40000000, 0x7FFFFFFF, 0x80000000, 0x80000007,
                        0xC0000001, 0xFFFFFFFE, 0xFFFFFFFF, 0x00000001, 0x3FFFFFFF, 0x1FFFFFFF};
  for_each_xlate_kernel([&](const XlateKernel& kernel) {
    if (kernel.translation.form == COLX_XLATE_IND) return;
    const SparseTable table(kernel.translation.element_bits, keys, kernel.marker());
    XlateBatch batch;
    for (uint32_t i = 0; i < keys.size(); ++i) {
      if (i % 3 != 1) table.put(keys[i], i & (kernel.marker() - 1));
    }
    batch.raw_table = table.elements();
    for (int i = 0; i < 3; ++i) batch.keys.insert(batch.keys.end(), keys.begin(), keys.end());
    EXPECT_EQ(run_xlate(kernel, batch).num_set, 24u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
    batch.selection = Words{0xFFFFFFFFFF};
    EXPECT_EQ(run_xlate(kernel, batch).num_set, 24u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(XlateOffset, TheBaseIsSubtractedIn32Bits) {
  for_each_kernel_of(COLX_XLATE_OFF, [](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 0, 40, {2, 21, 39});
    for (const uint32_t base : {0u, 1000u, 0x7FFFFFF0u, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
      batch.base = base;
      for (uint32_t row = 0; row < 40; ++row) batch.keys[row] = base + row;
      EXPECT_EQ(run_xlate(kernel, batch).hits, (Numbers{2, 21, 39})) << base;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
      batch.selection = Words{~uint64_t{0}};
      EXPECT_EQ(xlate_difference(kernel, batch), "");
      batch.selection.reset();
    }
  });
}

// The record holds nothing else that can be read, on either side.
TEST(XlateOffset, OfTheBasesRecordNothingElseIsRead) {
  for_each_kernel_of(COLX_XLATE_OFF, [](const XlateKernel& kernel) {
    XlateBatch batch = batch_with_hits(kernel, 1, 40, {2, 21, 39});
    for (const Edge edge : {Edge::begin, Edge::end}) {
      batch.edge = edge;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

// Three pages of 16 elements that are 0, without the one in the middle.
XlateBatch gap_between_pages() {
  XlateBatch batch;
  batch.shift = 4;
  batch.mask = 15;
  batch.pages = {Numbers(16, 0), std::nullopt, Numbers(16, 0)};
  for (uint32_t row = 0; row < 40; ++row) batch.keys.push_back(row % 3 << 4 | row % 16);
  return batch;
}

TEST(XlateTwoLevels, ANullPageIsNoHitAndItsCodeTheMarker) {
  for_each_kernel_of(COLX_XLATE_IND, [](const XlateKernel& kernel) {
    XlateBatch batch = gap_between_pages();
    Numbers hits, codes;
    for (uint32_t row = 0; row < 40; ++row) {
      if (row % 3 != 1) hits.push_back(row);
      codes.push_back(row % 3 == 1 ? kernel.marker() : 0);
    }
    for (const bool selected : {false, true}) {
      if (selected) batch.selection = Words{~uint64_t{0}};
      const XlateRun run = run_xlate(kernel, batch);
      EXPECT_EQ(run.hits, hits);
      if (kernel.translation.writes_codes) {
        EXPECT_EQ(run.codes, codes);
      }
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(XlateTwoLevels, ANullPageInAnyLaneOfABlockLeavesTheOthers) {
  for_each_kernel_of(COLX_XLATE_IND, [](const XlateKernel& kernel) {
    for (uint32_t lane = 0; lane < 16; ++lane) {
      XlateBatch batch;
      batch.shift = 8;
      batch.mask = 0xFF;
      batch.pages = {Numbers(16, 0), std::nullopt};
      for (uint32_t row = 0; row < 16; ++row) batch.keys.push_back(row == lane ? 0x105 : row);
      EXPECT_EQ(run_xlate(kernel, batch).num_set, 15u);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(XlateTwoLevels, WithoutAnyPageNothingIsFound) {
  for_each_kernel_of(COLX_XLATE_IND, [](const XlateKernel& kernel) {
    XlateBatch batch;
    batch.shift = 30;
    batch.mask = 0x3FFFFFFF;
    batch.pages.resize(4);
    for (uint32_t row = 0; row < 50; ++row) batch.keys.push_back(row * 0x9E3779B9);
    EXPECT_EQ(run_xlate(kernel, batch).status, 1u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
  });
}

TEST(XlateTwoLevels, TheMaskIsIndependentOfTheShift) {
  Random random(1);
  for_each_kernel_of(COLX_XLATE_IND, [&](const XlateKernel& kernel) {
    for (const uint32_t mask : {0u, 1u, 0x0Fu, 0x2Du, 0xF0u, 0xFFu, 0x1FFu}) {
      for (const uint32_t shift : {0u, 1u, 4u, 7u}) {
        XlateBatch batch;
        batch.shift = shift;
        batch.mask = mask;
        batch.pages.resize(4);
        for (std::optional<Numbers>& page : batch.pages) {
          page.emplace(mask + 1);
          for (uint32_t& element : *page) {
            element = static_cast<uint32_t>(random.bits(kernel.translation.element_bits));
          }
        }
        for (uint32_t row = 0; row < 60; ++row) {
          batch.keys.push_back(static_cast<uint32_t>(random.below(uint64_t{4} << shift)));
        }
        EXPECT_EQ(xlate_difference(kernel, batch), "");
        batch.selection = Words{random.next()};
        EXPECT_EQ(xlate_difference(kernel, batch), "");
      }
    }
  });
}

TEST(XlateTwoLevels, EveryShiftTakesTheUpperBitsOfAKey) {
  for_each_kernel_of(COLX_XLATE_IND, [](const XlateKernel& kernel) {
    for (uint32_t shift = 28; shift < 32; ++shift) {
      XlateBatch batch;
      batch.shift = shift;
      batch.mask = 3;
      batch.pages.resize(uint32_t{1} << (32 - shift));
      const auto last = static_cast<uint32_t>(batch.pages.size() - 1);
      batch.pages[last] = Numbers(4, 0);
      batch.keys = {0xFFFFFFFF, 0, last << shift, (last << shift) - 1};
      batch.keys.resize(20, 0xFFFFFFFE);
      EXPECT_EQ(run_xlate(kernel, batch).num_set, 18u) << shift;
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

TEST(XlateTwoLevels, OffsetsInAPageReachUpTo0xFFFFFFFF) {
  const Numbers keys = {0x00000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x40000001};
  for_each_kernel_of(COLX_XLATE_IND, [&](const XlateKernel& kernel) {
    const SparseTable page(kernel.translation.element_bits, keys, kernel.marker());
    for (const uint32_t key : keys) page.put(key, 0);
    const void* const pages[] = {page.elements(), page.elements()};
    XlateBatch batch;
    batch.shift = 31;
    batch.mask = 0xFFFFFFFF;
    batch.raw_table = pages;
    for (int i = 0; i < 7; ++i) batch.keys.insert(batch.keys.end(), keys.begin(), keys.end());
    EXPECT_EQ(run_xlate(kernel, batch).num_set, 35u);
    EXPECT_EQ(xlate_difference(kernel, batch), "");
    batch.selection = Words{0x555555555};
    EXPECT_EQ(run_xlate(kernel, batch).num_set, 18u);
  });
}

// No table in use has such a shift. Blocks shift all bits out, single rows take it modulo 32.
TEST(XlateTwoLevels, AShiftOf32OrMoreIsPage0InABlockAndModulo32InASingleRow) {
  for_each_kernel_of(COLX_XLATE_IND, [](const XlateKernel& kernel) {
    for (const uint32_t shift : {32u, 36u, 64u, 0x80000021u}) {
      XlateBatch batch;
      batch.start = 6;
      batch.shift = shift;
      batch.mask = 3;
      batch.pages = {Numbers(4, 0), Numbers(4, kernel.marker())};
      batch.keys.assign(20, uint32_t{1} << (shift & 31));
      const XlateRun run = run_xlate(kernel, batch);
      EXPECT_EQ(run.num_set, 16u);
      EXPECT_EQ(run.first_hit, 8u);
      EXPECT_EQ(run.last_hit, 23u);
      EXPECT_EQ(xlate_difference(kernel, batch), "");
    }
  });
}

}  // namespace
}  // namespace colx::test

// The Bloom kernels that test selected rows only, in batches of 256.
#include <gtest/gtest.h>

#include "tests/oracle/bit_vectors.h"
#include "tests/support/bloom_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

constexpr BloomKernel selective_kernels[] = {bloom_kernels[2], bloom_kernels[3]};

BloomBatch random_batch(unsigned width, uint32_t rows, Random& random) {
  constexpr uint32_t masks[] = {0, 7, 0xFF, 0x3FF, 0x5A5, 0x7FFF};
  constexpr unsigned densities[] = {1, 2, 16};
  BloomBatch batch;
  batch.width_bits = width;
  for (uint32_t r = 0; r < rows; ++r) batch.values.push_back(random.next());
  choose_filter(batch, masks, densities, random);
  return batch;
}

// The word of the start row is read whatever the number of rows.
size_t selection_words(uint32_t rows, uint32_t start) {
  return std::max<size_t>(words_of(rows), start / 64 + 1);
}

TEST(BloomSelective, RandomSelectionsFromAnyStart) {
  for (const BloomKernel& kernel : selective_kernels) {
    for (uint64_t seed = 0; seed < 600; ++seed) {
      Random random(seed);
      const auto rows = static_cast<uint32_t>(random.below(seed % 3 == 0 ? 2000 : 140));
      BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
      batch.start = random.one_in(2) ? 0 : static_cast<uint32_t>(random.below(rows + 1));
      batch.selection = random.words(selection_words(rows, batch.start),
                                     static_cast<unsigned>(1 + random.below(5)));
      batch.stale_result = random.one_in(3);
      EXPECT_EQ(bloom_difference(kernel, batch, seed), "");
    }
  }
}

// A selection of `selected` rows, none above 64 * words.
Words selection_of(uint32_t selected, size_t words, Random& random) {
  Words bits(words);
  for (uint32_t set = 0; set < selected;) {
    const uint64_t row = random.below(64 * words);
    if (oracle::bit_at(bits.data(), row)) continue;
    oracle::put_bit(bits.data(), row, true);
    ++set;
  }
  return bits;
}

TEST(BloomSelective, SelectionsAroundTheEndsOfBatchesAndOfSteps) {
  for (const BloomKernel& kernel : selective_kernels) {
    for (const uint32_t selected :
         {0u,   1u,   2u,   3u,   4u,   5u,   7u,   8u,   252u, 253u, 254u, 255u,
          256u, 257u, 258u, 259u, 260u, 511u, 512u, 513u, 767u, 768u, 769u, 1024u}) {
      for (const bool partitioned : {false, true}) {
        Random random(selected);
        BloomBatch batch = random_batch(kernel.form.width_bits, 1024, random);
        batch.partitioned = partitioned;
        batch.part_shift = 5;
        batch.selection = selection_of(selected, 16, random);
        EXPECT_EQ(bloom_difference(kernel, batch, selected), "");
      }
    }
  }
}

TEST(BloomSelective, NoSelectedRowFromTheStartOnFindsNothing) {
  for (const BloomKernel& kernel : selective_kernels) {
    Random random(1);
    BloomBatch batch = random_batch(kernel.form.width_bits, 200, random);
    batch.one_bit_in = 1;
    batch.start = 70;
    batch.selection = Words{~uint64_t{0}, 0x3F, 0, 0};
    EXPECT_EQ(bloom_difference(kernel, batch, 1), "");
    EXPECT_EQ(bloom_stage().expected.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(bloom_stage().expected.first, 0xFFFFFFFFu);
    EXPECT_EQ(bloom_stage().expected.last, 0xFFFFFFFFu);
  }
}

TEST(BloomSelective, BitsBehindTheRowsSelectNothing) {
  for (const BloomKernel& kernel : selective_kernels) {
    for (const uint32_t rows : {1u, 63u, 65u, 100u, 127u}) {
      Random random(rows);
      BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
      batch.one_bit_in = 1;
      batch.selection = Words(words_of(rows), ~uint64_t{0});
      EXPECT_EQ(bloom_difference(kernel, batch, rows), "");
      EXPECT_EQ(bloom_stage().expected.count, rows);
    }
  }
}

TEST(BloomSelective, AStartAtTheRowCountFindsNothing) {
  for (const BloomKernel& kernel : selective_kernels) {
    for (const uint32_t rows : {0u, 1u, 63u, 64u, 128u}) {
      Random random(rows);
      BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
      batch.start = rows;
      batch.selection = Words(selection_words(rows, rows), ~uint64_t{0});
      EXPECT_EQ(bloom_difference(kernel, batch, rows), "");
      EXPECT_EQ(bloom_stage().expected.count, 0u);
    }
  }
}

// A selection that is present is always used, flag or not, and told by a bit of its own.
TEST(BloomSelective, ThePresenceOfASelectionDecidesAndNoFlag) {
  for (const unsigned width : {32u, 64u}) {
    for (const uint32_t flags : {0u, uint32_t{COLX_KCTX_SELECTIVE}, 0xFFFFFFFFu}) {
      Random random(flags);
      BloomBatch batch = random_batch(width, 100, random);
      bloom_stage().set(batch, random);
      bloom_stage().kctx.colx_kctx_flags = flags;
      bloom_stage().kctx.colx_kctx_flags_out = 0;
      EXPECT_EQ(bloom_stage().entry_difference(), "");
      EXPECT_EQ(bloom_stage().kctx.colx_kctx_flags_out, 0u);

      batch.selection = Words{0x5555555555555555, 0x5555555555555555};
      bloom_stage().set(batch, random);
      bloom_stage().kctx.colx_kctx_flags = flags;
      bloom_stage().kctx.colx_kctx_flags_out = 0x8001;
      EXPECT_EQ(bloom_stage().entry_difference(), "");
      EXPECT_EQ(bloom_stage().kctx.colx_kctx_flags_out, 0xA001u);
    }
  }
}

// The kernels that test every row look at no selection.
TEST(BloomSelective, ThePlainKernelsLeaveASelectionAlone) {
  for (const BloomKernel& kernel : {bloom_kernels[0], bloom_kernels[1]}) {
    Random random(1);
    BloomBatch batch = random_batch(kernel.form.width_bits, 100, random);
    bloom_stage().set(batch, random);
    bloom_stage().kctx.colx_kctx_selection = bloom_stage().src.colx_cv_bits;  // unreadable
    EXPECT_EQ(bloom_stage().difference(kernel), "");
  }
}

}  // namespace
}  // namespace colx::test

// colx_bloom_dydi and the two kernels that test every row: which bit a value leads to, which rows
// go one by one and which by sixteen, and what is left of a result that was not clear.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/bloom_stage.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/key_column.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

constexpr BloomKernel plain_kernels[] = {bloom_kernels[0], bloom_kernels[1]};

BloomBatch random_batch(unsigned width, uint32_t rows, Random& random) {
  constexpr uint32_t masks[] = {0, 1, 7, 0xFF, 0x3FF, 0xFFF, 0x5A5, 0x7FFF};
  constexpr unsigned densities[] = {1, 2, 4, 32, no_bits};
  BloomBatch batch;
  batch.width_bits = width;
  for (uint32_t r = 0; r < rows; ++r) batch.values.push_back(random.next());
  choose_filter(batch, masks, densities, random);
  constexpr Place places[] = {Place::begin, Place::middle, Place::end};
  batch.place = random.pick<Place>(places);
  return batch;
}

TEST(Bloom, EveryRowCountFromEveryStart) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (uint32_t rows = 0; rows <= 70; ++rows) {
      for (uint32_t start = 0; start <= rows && start <= 34; ++start) {
        const uint64_t seed = mixed_seed(rows, start);
        Random random(seed);
        BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
        batch.start = start;
        EXPECT_EQ(bloom_difference(kernel, batch, seed), "");
      }
    }
  }
}

TEST(Bloom, LongColumns) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (const uint32_t rows : {127u, 128u, 129u, 255u, 256u, 1000u, 1024u, 5000u}) {
      for (uint64_t round = 0; round < 40; ++round) {
        const uint64_t seed = mixed_seed(rows, round);
        Random random(seed);
        BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
        batch.start = static_cast<uint32_t>(random.below(rows + 1));
        EXPECT_EQ(bloom_difference(kernel, batch, seed), "");
      }
    }
  }
}

TEST(Bloom, ColumnsAndFiltersMayLieAtAnyAddress) {
  for (const BloomKernel& kernel : bloom_kernels) {
    for (size_t slack_bytes = 1; slack_bytes < 16; ++slack_bytes) {
      for (const bool partitioned : {false, true}) {
        Random random(slack_bytes);
        BloomBatch batch = random_batch(kernel.form.width_bits, 150, random);
        batch.partitioned = partitioned;
        batch.part_shift = 5;
        batch.edge = Edge::end;
        batch.slack_bytes = slack_bytes;
        if (kernel.form.form == oracle::BloomForm::selective) batch.selection = random.words(3);
        EXPECT_EQ(bloom_difference(kernel, batch, slack_bytes), "");
      }
    }
  }
}

// A result that is not clear keeps its bits in groups of 16 without a hit and loses them in others;
// rows that go one by one are ORed in.
TEST(Bloom, StaleBitsStayWhereNoRowOfSixteenPasses) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (uint64_t seed = 0; seed < 300; ++seed) {
      Random random(seed);
      BloomBatch batch =
          random_batch(kernel.form.width_bits, static_cast<uint32_t>(random.below(200)), random);
      batch.start = static_cast<uint32_t>(random.below(batch.values.size() + 1));
      batch.stale_result = true;
      EXPECT_EQ(bloom_difference(kernel, batch, seed), "");
    }
  }
}

TEST(Bloom, StaleBitsByExample) {
  for (const BloomKernel& kernel : plain_kernels) {
    Random random(1);
    BloomBatch batch;
    batch.width_bits = kernel.form.width_bits;
    batch.hash_mask = 0xFF;
    batch.one_bit_in = no_bits;
    for (uint64_t r = 0; r < 52; ++r) batch.values.push_back(r);
    batch.start = 2;  // rows 2 to 7 one by one, groups from 8, 24 on, rows 40 to 51 one by one
    bloom_stage().set(batch, random);
    bloom_stage().res.colx_cv_bits[0] = ~uint64_t{0};
    for (const uint32_t row : {26u, 39u, 45u}) bloom_stage().let_pass(row);
    EXPECT_EQ(bloom_stage().difference(kernel), "");
    EXPECT_EQ(bloom_stage().res.colx_cv_bits[0],
              ~(uint64_t{0xFFFF} << 24) | uint64_t{1} << 26 | uint64_t{1} << 39);
  }
}

TEST(Bloom, TwentyFourRowsFromRow3AreFiveOneByOneAndOneGroup) {
  for (const BloomKernel& kernel : plain_kernels) {
    Random random(1);
    BloomBatch batch;
    batch.width_bits = kernel.form.width_bits;
    batch.one_bit_in = no_bits;
    for (uint64_t r = 0; r < 24; ++r) batch.values.push_back(r);
    batch.start = 3;
    bloom_stage().set(batch, random);
    bloom_stage().res.colx_cv_bits[0] = ~uint64_t{0};
    bloom_stage().let_pass(8);
    EXPECT_EQ(bloom_stage().difference(kernel), "");
    EXPECT_EQ(bloom_stage().res.colx_cv_bits[0], 0xFFFFFFFFFF0001FFu);  // rows 8 to 23 stored
  }
}

TEST(Bloom, FewerThanSixteenRowsGoOneByOne) {
  for (const BloomKernel& kernel : plain_kernels) {
    Random random(1);
    BloomBatch batch;
    batch.width_bits = kernel.form.width_bits;
    batch.one_bit_in = 1;
    batch.values.assign(18, 5);
    batch.start = 3;
    bloom_stage().set(batch, random);
    bloom_stage().res.colx_cv_bits[0] = uint64_t{1} << 40;
    EXPECT_EQ(bloom_stage().difference(kernel), "");
    EXPECT_EQ(bloom_stage().res.colx_cv_bits[0], uint64_t{1} << 40 | 0x3FFF8);
    EXPECT_EQ(bloom_stage().res.colx_cv_num_set, 15u);
  }
}

TEST(Bloom, AStartAtTheRowCountFindsNothing) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (const uint32_t rows : {0u, 1u, 8u, 16u, 63u, 64u, 100u}) {
      Random random(rows);
      BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
      batch.start = rows;
      EXPECT_EQ(bloom_difference(kernel, batch, rows), "");
      EXPECT_EQ(bloom_stage().expected.status, COLX_NOTHING_FOUND);
      EXPECT_EQ(bloom_stage().expected.first, 0xFFFFFFFFu);
      EXPECT_EQ(bloom_stage().expected.last, 0xFFFFFFFFu);
    }
  }
}

TEST(Bloom, AnEmptyResultTellsNoFirstAndNoLastRow) {
  for (const BloomKernel& kernel : plain_kernels) {
    Random random(1);
    BloomBatch batch = random_batch(kernel.form.width_bits, 100, random);
    batch.one_bit_in = no_bits;
    EXPECT_EQ(bloom_difference(kernel, batch, 1), "");
    const auto* const ends = static_cast<const uint32_t*>(bloom_stage().res.colx_cv_data);
    EXPECT_EQ(ends[0], 0xFFFFFFFFu);
    EXPECT_EQ(ends[1], 0xFFFFFFFFu);
    EXPECT_EQ(bloom_stage().res.colx_cv_num_set, 0u);
  }
}

TEST(Bloom, FirstAndLastRowFromEachStage) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (uint32_t first = 3; first < 45; ++first) {
      for (uint32_t last = first; last < 45; ++last) {
        Random random(1);
        BloomBatch batch;
        batch.width_bits = kernel.form.width_bits;
        batch.one_bit_in = no_bits;
        for (uint64_t r = 0; r < 45; ++r) batch.values.push_back(r);
        batch.start = 3;
        bloom_stage().set(batch, random);
        bloom_stage().let_pass(first);
        bloom_stage().let_pass(last);
        EXPECT_EQ(bloom_stage().difference(kernel), "");
        const auto* const ends = static_cast<const uint32_t*>(bloom_stage().res.colx_cv_data);
        EXPECT_EQ(ends[0], first);
        EXPECT_EQ(ends[1], last);
      }
    }
  }
}

TEST(Bloom, AFlatFilterIgnoresShiftAndBitMask) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (const uint32_t shift : {0u, 31u, 32u, 0xFFFFFFFFu}) {
      Random random(shift);
      BloomBatch batch = random_batch(kernel.form.width_bits, 60, random);
      batch.partitioned = false;
      batch.part_shift = shift;
      batch.bit_mask = 0;
      EXPECT_EQ(bloom_difference(kernel, batch, shift), "");
    }
  }
}

// Partition and bit number come of the same bits and may share them.
TEST(Bloom, PartitionAndBitNumberMayOverlap) {
  for (const BloomKernel& kernel : plain_kernels) {
    for (uint32_t shift = 0; shift < 12; ++shift) {
      Random random(shift);
      BloomBatch batch = random_batch(kernel.form.width_bits, 200, random);
      batch.partitioned = true;
      batch.hash_mask = 0xFFF;
      batch.part_shift = shift;
      batch.bit_mask = 0xFF;
      EXPECT_EQ(bloom_difference(kernel, batch, shift), "");
    }
  }
}

TEST(Bloom, RowsAndBitsOfAPartitionHaveMoreThan16Bits) {
  for (const BloomKernel& kernel : bloom_kernels) {
    for (const uint32_t rows : {65535u, 65536u, 70001u}) {
      Random random(rows);
      BloomBatch batch = random_batch(kernel.form.width_bits, rows, random);
      batch.partitioned = true;
      batch.hash_mask = 0x3FFFFF;
      batch.part_shift = 20;
      batch.bit_mask = 0xFFFFF;
      batch.one_bit_in = 4;
      batch.start = 3;
      const bool selective = kernel.form.form == oracle::BloomForm::selective;
      if (selective) batch.selection = random.words(words_of(rows));
      EXPECT_EQ(bloom_difference(kernel, batch, rows), "");
    }
  }
}

// The top bit of a hash is a bit like others: the partition is 1, not the last of 2^32.
TEST(Bloom, ThePartitionIsAnUnsignedNumber) {
  for (const BloomKernel& kernel : plain_kernels) {
    Random random(5);
    BloomBatch batch = random_batch(kernel.form.width_bits, 300, random);
    batch.partitioned = true;
    batch.hash_mask = 0x80000FFF;
    batch.part_shift = 31;
    batch.bit_mask = 0xFFF;
    EXPECT_EQ(bloom_difference(kernel, batch, 5), "");
  }
}

// A flat filter of 2^32 bits: bytes up to 512 MiB from its start.
TEST(Bloom, TheBitNumberIsAnUnsignedNumber) {
  const std::unique_ptr<void, decltype(&std::free)> bits(std::calloc(size_t{1} << 29, 1),
                                                         std::free);
  ASSERT_NE(bits, nullptr);
  for (const BloomKernel& kernel : bloom_kernels) {
    Random random(6);
    BloomBatch batch = random_batch(kernel.form.width_bits, 100, random);
    batch.partitioned = false;
    batch.hash_mask = 0;
    if (kernel.form.form == oracle::BloomForm::selective) batch.selection = random.words(2);
    bloom_stage().set(batch, random);
    bloom_stage().filter.colx_cv_bits = static_cast<uint64_t*>(bits.get());
    bloom_stage().filter_encoding.colx_enc_ctx_bloom_hash_mask = 0xFFFFFFFF;
    for (uint32_t row = 0; row < 100; row += 3) {
      const auto value = static_cast<uint32_t>(batch.values[row]);
      oracle::put_bit(bits.get(), value, true);
    }
    EXPECT_EQ(bloom_stage().difference(kernel), "");
    EXPECT_GT(bloom_stage().expected.count, 10u) << kernel.name;
  }
}

TEST(Bloom, OfEightBytesTheLastFourCount) {
  BloomBatch batch;
  batch.width_bits = 64;
  batch.hash_mask = 0xFF;
  batch.one_bit_in = no_bits;
  for (uint64_t r = 0; r < 40; ++r) batch.values.push_back(r * 0x0123456700000000 | 0x21);
  Random random(1);
  bloom_stage().set(batch, random);
  bloom_stage().let_pass(0);
  EXPECT_EQ(bloom_stage().entry_difference(), "");
  EXPECT_EQ(bloom_stage().res.colx_cv_num_set, 40u);  // they are not told apart
}

TEST(Bloom, ValuesAreBigEndian) {
  for (const unsigned width : {32u, 64u}) {
    const unsigned bytes = width / 8;
    BloomBatch batch;
    batch.width_bits = width;
    batch.hash_mask = 0xFFFF;
    batch.one_bit_in = no_bits;
    batch.values.assign(17, 0);
    Random random(1);
    bloom_stage().set(batch, random);
    auto* const column = static_cast<uint8_t*>(bloom_stage().src.colx_cv_data);
    column[3 * bytes + bytes - 1] = 0x34;  // row 3 of the group, row 16 on its own
    column[3 * bytes + bytes - 2] = 0x12;
    column[16 * bytes + bytes - 1] = 0x34;
    column[16 * bytes + bytes - 2] = 0x12;
    auto* const filter = reinterpret_cast<uint8_t*>(bloom_stage().filter.colx_cv_bits);
    oracle::put_bit(filter, 0x1234, true);
    EXPECT_EQ(colx_bloom_dydi(&bloom_stage().res, &bloom_stage().src, &bloom_stage().filter,
                              &bloom_stage().kctx),
              COLX_DONE);
    EXPECT_EQ(bloom_stage().res.colx_cv_bits[0], 0x10008u);
  }
}

// The slots that hashing fills are native words; read as they lie, their last four bytes are the
// upper half turned round.
TEST(Bloom, HashValuesOfTheJoinAreReadAsTheyLie) {
  KeyColumn keys;
  KeyBatch batch;
  batch.layout = oracle::KeyLayout::lv;
  for (uint64_t r = 0; r < 33; ++r) batch.rows.push_back({.hash = 0x1122334400000000 + r});
  keys.set(batch);
  std::vector<uint64_t> slots(33), seed(1);
  colx_enc_ctx seed_encoding = {};
  seed_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  colx_cv hashed = {}, seeds = {};
  hashed.colx_cv_data = slots.data();
  seeds.colx_cv_data = seed.data();
  seeds.colx_cv_num_of_rows = 1;
  seeds.colx_cv_encoding_context = &seed_encoding;
  ASSERT_EQ(colx_hash_dydi(&hashed, &keys.cv, &seeds, chosen_hash, nullptr), COLX_DONE);
  EXPECT_EQ(oracle::bloom_hash(slots.data(), 64, 32), 0x44332211u);

  BloomBatch test;
  test.width_bits = 64;
  test.hash_mask = 0x2211;
  test.one_bit_in = no_bits;
  test.values.resize(33);
  Random random(1);
  bloom_stage().set(test, random);
  bloom_stage().src.colx_cv_data = slots.data();
  bloom_stage().let_pass(0);
  EXPECT_EQ(bloom_stage().entry_difference(), "");
  EXPECT_EQ(bloom_stage().res.colx_cv_num_set, 33u);
}

// One byte of the width decides, and 32 alone means 4-byte values.
TEST(Bloom, TheWidthIsComparedAsOneByte) {
  for (const uint32_t width : {32u, 64u, 0u, 8u, 31u, 33u, 0x120u, 0x2000u, 0xFFFFFF20u, 0x140u}) {
    const unsigned taken_for = (width & 0xFF) == 32 ? 32 : 64;
    for (const bool selective : {false, true}) {
      Random random(width);
      BloomBatch batch = random_batch(taken_for, 50, random);
      if (selective) batch.selection = Words{~uint64_t{0}};
      bloom_stage().set(batch, random);
      bloom_stage().encoding.colx_enc_ctx_width = width;
      EXPECT_EQ(bloom_stage().entry_difference(), "") << width;
    }
  }
}

TEST(Bloom, ColumnsOfNoHashValuesAreRefusedWithNothingTouched) {
  for (const bool selective : {false, true}) {
    for (const BloomKernel& kernel : bloom_kernels) {
      Random random(7);
      BloomBatch batch = random_batch(kernel.form.width_bits, 50, random);
      if (selective) batch.selection = Words{~uint64_t{0}};
      batch.stale_result = true;
      bloom_stage().set(batch, random);
      bloom_stage().encoding.colx_enc_ctx_flags = ~uint32_t{COLX_HASH_VALUES};
      bloom_stage().src.colx_cv_data = bloom_stage().src.colx_cv_aux;  // unreadable
      EXPECT_EQ(bloom_stage().entry_difference(), "");
      const bool twin = kernel.form.form == oracle::BloomForm::selective;
      if (twin == selective) {
        EXPECT_EQ(bloom_stage().difference(kernel), "");
      }
    }
  }
}

TEST(Bloom, OtherFlagsOfTheColumnDoNotCount) {
  Random random(8);
  bloom_stage().set(random_batch(32, 50, random), random);
  bloom_stage().encoding.colx_enc_ctx_flags = 0xFFFFFFFF;
  EXPECT_EQ(bloom_stage().entry_difference(), "");
}

}  // namespace
}  // namespace colx::test

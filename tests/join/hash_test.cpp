// colx_hash_dydi and the twelve kernels behind it: which bytes of a row reach the hash function,
// with which length and seed, and where its values go.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "tests/oracle/native_numbers.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/hash_stage.h"
#include "tests/support/repeated_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::HashCall;
using oracle::KeyLayout;

constexpr KeyLayout hashed_layouts[] = {KeyLayout::fixed, KeyLayout::dict,   KeyLayout::lv_sep,
                                        KeyLayout::lv,    KeyLayout::lp_sep, KeyLayout::lp};

constexpr uint32_t all_flags[] = {COLX_NATIVE,   COLX_CONST,   COLX_HASH_VALUES, COLX_DICT,
                                  COLX_RLE,      COLX_FIXED,   COLX_LV_SEP,      COLX_LV,
                                  COLX_LP_SEP,   COLX_LP,      COLX_GD,          COLX_HASHRID,
                                  COLX_RIDVALUE, COLX_AUTORID, COLX_DLP,         COLX_HASHGD};

uint16_t random_length(Random& random) {
  constexpr uint16_t lengths[] = {0, 0, 1, 2, 7, 8, 9, 15, 16, 33, 300};
  return random.one_in(200) ? 65535 : random.pick<uint16_t>(lengths);
}

KeyBatch random_batch(KeyLayout layout, uint32_t rows, Random& random) {
  KeyBatch batch;
  batch.layout = layout;
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  batch.rows.resize(rows);
  for (KeyRow& row : batch.rows) {
    row.hash = random.next();
    row.length = random_length(random);
  }
  if (layout == KeyLayout::fixed) batch.width_bits = static_cast<uint32_t>(random.below(200));
  if (layout == KeyLayout::dict) {
    batch.width_bits = 1 + static_cast<uint32_t>(random.below(25));
    batch.symbol_lengths.resize(std::min<uint64_t>(uint64_t{1} << batch.width_bits, 300));
    for (uint32_t& length : batch.symbol_lengths) length = random_length(random);
    for (KeyRow& row : batch.rows) {
      row.code = static_cast<uint32_t>(random.below(batch.symbol_lengths.size()));
    }
  }
  return batch;
}

std::vector<uint64_t> seeds_for(uint64_t rows, Random& random) {
  std::vector<uint64_t> seeds(std::max<uint64_t>(rows, 1));
  for (uint64_t& seed : seeds) seed = random.next();
  return seeds;
}

const HashKernel& kernel_of(KeyLayout layout, oracle::SeedMode mode) {
  for (const HashKernel& kernel : hash_kernels()) {
    if (kernel.form.layout == layout && kernel.form.mode == mode) return kernel;
  }
  std::abort();
}

TEST(Hash, EveryKernelAtEveryRowCount) {
  EXPECT_EQ(hash_kernels().size(), 12u);
  for (const HashKernel& kernel : hash_kernels()) {
    for (const uint32_t rows :
         {0u, 1u, 2u, 3u, 7u, 8u, 9u, 64u, 255u, 1023u, 1024u, 1025u, 2500u}) {
      for (uint64_t round = 0; round < 3; ++round) {
        const uint64_t seed = mixed_seed(rows, round);
        Random random(seed);
        const KeyBatch batch = random_batch(kernel.form.layout, rows, random);
        const bool one = kernel.form.mode == oracle::SeedMode::one;
        hash_stage().set(batch, seeds_for(one ? 1 : rows, random), one ? 1 : rows);
        EXPECT_EQ(hash_stage().difference(kernel), "") << rows << " rows, seed " << seed;
      }
    }
  }
}

TEST(Hash, ColumnsMayLieAtAnyAddress) {
  for (const HashKernel& kernel : hash_kernels()) {
    for (size_t slack_bytes = 1; slack_bytes < 16; ++slack_bytes) {
      Random random(slack_bytes);
      KeyBatch batch = random_batch(kernel.form.layout, 33, random);
      batch.edge = Edge::end;
      batch.slack_bytes = slack_bytes;
      const bool one = kernel.form.mode == oracle::SeedMode::one;
      hash_stage().set(batch, seeds_for(one ? 1 : 33, random), one ? 1 : 33);
      EXPECT_EQ(hash_stage().difference(kernel), "") << slack_bytes;
    }
  }
}

TEST(Hash, TheEntryPicksTheKernelByLayoutAndSeedRows) {
  for (const KeyLayout layout : hashed_layouts) {
    for (const uint32_t rows : {0u, 1u, 2u, 100u}) {
      for (const uint32_t seed_rows : {0u, 1u, 2u, 100u, 0xFFFFFFFFu}) {
        Random random(mixed_seed(rows, seed_rows));
        hash_stage().set(random_batch(layout, rows, random),
                         seeds_for(seed_rows == 1 ? 1 : rows, random), seed_rows);
        EXPECT_EQ(hash_stage().entry_difference(), "")
            << layout_name(layout) << ", " << rows << " rows, " << seed_rows << " seeds";
      }
    }
  }
}

TEST(Hash, ASeedVectorOfNoRowsSeedsEveryRowApart) {
  KeyBatch batch;
  batch.layout = KeyLayout::fixed;
  batch.rows.resize(3);
  hash_stage().set(batch, {11, 22, 33}, 0);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  ASSERT_EQ(recorded_calls().size(), 3u);
  EXPECT_EQ(recorded_calls()[0].seed, 11u);
  EXPECT_EQ(recorded_calls()[1].seed, 22u);
  EXPECT_EQ(recorded_calls()[2].seed, 33u);
}

TEST(Hash, OneSeedServesAllRows) {
  KeyBatch batch;
  batch.layout = KeyLayout::fixed;
  batch.rows.resize(3);
  hash_stage().set(batch, {11}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  ASSERT_EQ(recorded_calls().size(), 3u);
  for (const HashCall& call : recorded_calls()) EXPECT_EQ(call.seed, 11u);
}

TEST(Hash, NoRowsAreDoneAndWriteNothing) {
  for (const KeyLayout layout : hashed_layouts) {
    Random random(1);
    hash_stage().set(random_batch(layout, 0, random), {5}, 1);
    EXPECT_EQ(hash_stage().entry_difference(), "");
    EXPECT_TRUE(recorded_calls().empty());
  }
}

// Of several layout flags the first in the order fixed, dict, lv_sep, lv, lp_sep, lp decides;
// without one of them nothing is served. Everything but what that layout needs is unreadable.
TEST(Hash, TheFirstFlagDecides) {
  for (const KeyLayout layout : hashed_layouts) {
    for (const uint32_t flag : all_flags) {
      for (const uint32_t flag_too : all_flags) {
        Random random(flag ^ flag_too);
        KeyBatch batch = random_batch(layout, 9, random);
        batch.more_flags = flag | flag_too;
        hash_stage().set(batch, {random.next()}, 1);
        const auto picked = oracle::hash_kernel(hash_stage().keys.cv, hash_stage().seeds);
        ASSERT_TRUE(picked.has_value());
        if (picked->layout != layout) continue;  // that layout has its own turn
        EXPECT_EQ(hash_stage().entry_difference(), "")
            << layout_name(layout) << " 0x" << std::hex << batch.more_flags;
      }
    }
  }
}

TEST(Hash, ALengthPrefixedRecordOfHashValuesIsAKeyToHash) {
  Random random(2);
  KeyBatch batch = random_batch(KeyLayout::lv, 20, random);
  batch.more_flags = COLX_HASH_VALUES;
  hash_stage().set(batch, {1}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  EXPECT_EQ(recorded_calls().size(), 20u);
}

TEST(Hash, WithoutALayoutNothingIsServedAndNothingTouched) {
  for (const KeyLayout layout :
       {KeyLayout::hash_values, KeyLayout::hashrid, KeyLayout::gd, KeyLayout::hashgdrid}) {
    KeyBatch batch;
    batch.layout = layout;
    batch.rows.resize(5);
    batch.more_flags = COLX_AUTORID | COLX_RIDVALUE | COLX_DLP | COLX_CONST | COLX_NATIVE;
    hash_stage().set(batch, {1}, 1);
    hash_stage().keys.cv.colx_cv_data = hash_stage().keys.cv.colx_cv_aux;  // unreadable
    EXPECT_EQ(hash_stage().entry_difference(), "");
    EXPECT_TRUE(recorded_calls().empty());
  }
}

TEST(Hash, SeedsThatAreNoHashValuesAreRefusedWithNothingTouched) {
  for (const KeyLayout layout : hashed_layouts) {
    Random random(3);
    hash_stage().set(random_batch(layout, 5, random), {1}, 1);
    hash_stage().seeds_encoding.colx_enc_ctx_flags =
        ~uint32_t{COLX_HASH_VALUES};  // each other flag does not do
    hash_stage().keys.cv.colx_cv_data = nullptr;
    hash_stage().seeds.colx_cv_data = nullptr;
    EXPECT_EQ(hash_stage().entry_difference(), "");
    EXPECT_TRUE(recorded_calls().empty());
  }
}

TEST(Hash, OtherFlagsOfTheSeedsDoNotCount) {
  Random random(4);
  hash_stage().set(random_batch(KeyLayout::lv, 5, random), {1}, 1);
  hash_stage().seeds_encoding.colx_enc_ctx_flags = 0xFFFFFFFF;
  EXPECT_EQ(hash_stage().entry_difference(), "");
}

// The slots are unsigned 64-bit numbers as the function returned them, in the machine's order.
TEST(Hash, SlotsHoldWhatTheFunctionReturned) {
  KeyBatch batch;
  batch.layout = KeyLayout::lv;
  batch.rows = {{.hash = 0x0123456789ABCDEF, .length = 8}, {.hash = 7, .length = 30}};
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(colx_hash_dydi(&hash_stage().res, &hash_stage().keys.cv, &hash_stage().seeds,
                           chosen_hash, nullptr),
            COLX_DONE);
  const auto* const slots = static_cast<const uint64_t*>(hash_stage().res.colx_cv_data);
  EXPECT_EQ(slots[0], 0x0123456789ABCDEF);
  EXPECT_EQ(slots[1], 7u);
}

TEST(Hash, EmptyValuesAreHashedWithLengthZeroWhereTheyStand) {
  KeyBatch batch;
  batch.layout = KeyLayout::lv;
  batch.rows = {{.length = 0}, {.length = 3}, {.length = 0}};
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  const auto* data = static_cast<const uint8_t*>(hash_stage().keys.cv.colx_cv_data);
  EXPECT_EQ(recorded_calls()[0], (HashCall{data + 2, 0, 0}));
  EXPECT_EQ(recorded_calls()[1], (HashCall{data + 4, 3, 0}));
  EXPECT_EQ(recorded_calls()[2], (HashCall{data + 9, 0, 0}));

  batch.layout = KeyLayout::lv_sep;
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  data = static_cast<const uint8_t*>(hash_stage().keys.cv.colx_cv_data);
  EXPECT_EQ(recorded_calls()[0], (HashCall{data, 0, 0}));
  EXPECT_EQ(recorded_calls()[1], (HashCall{data, 3, 0}));
  EXPECT_EQ(recorded_calls()[2], (HashCall{data + 3, 0, 0}));
}

TEST(Hash, ALengthOf65535TakesTheNextRowTwoBytesFurtherAndDoesNotWrap) {
  KeyBatch batch;
  batch.layout = KeyLayout::lv;
  batch.rows = {{.length = 65535}, {.length = 65534}, {.length = 1}};
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  const auto* const data = static_cast<const uint8_t*>(hash_stage().keys.cv.colx_cv_data);
  EXPECT_EQ(recorded_calls()[0], (HashCall{data + 2, 65535, 0}));
  EXPECT_EQ(recorded_calls()[1], (HashCall{data + 65537 + 2, 65534, 0}));
  EXPECT_EQ(recorded_calls()[2], (HashCall{data + 65537 + 65536 + 2, 1, 0}));
}

TEST(Hash, FixedWidthsAreCutTo16BitsBeforeTheyBecomeBytes) {
  for (const uint32_t width : {7u, 8u, 15u, 64u, 0xFFFFu, 0x10000u, 0x10008u, 0x7FF0040u}) {
    KeyBatch batch;
    batch.layout = KeyLayout::fixed;
    batch.width_bits = width;
    batch.rows.resize(5);
    hash_stage().set(batch, {9}, 1);
    EXPECT_EQ(hash_stage().entry_difference(), "") << "width " << width;
    const uint64_t length = (width & 0xFFFF) >> 3;
    const auto* const data = static_cast<const uint8_t*>(hash_stage().keys.cv.colx_cv_data);
    EXPECT_EQ(recorded_calls()[4], (HashCall{data + 4 * length, length, 9})) << width;
  }
}

// Codes of 26 bits and more lose low bits at rows that begin inside a byte. The columns hold codes
// whose lost bits are 0, and each code counts only as far as the four bytes reach.
TEST(Hash, DictAtEveryWidth) {
  for (uint32_t width = 1; width <= 32; ++width) {
    for (const uint32_t rows : {1u, 2u, 8u, 100u}) {
      Random random(mixed_seed(width, rows));
      KeyBatch batch;
      batch.layout = KeyLayout::dict;
      batch.width_bits = width;
      batch.symbol_lengths.resize(std::min<uint64_t>(uint64_t{1} << width, 700));
      for (uint32_t& length : batch.symbol_lengths) length = random_length(random);
      batch.rows.resize(rows);
      for (KeyRow& row : batch.rows) {
        row.code = static_cast<uint32_t>(random.below(batch.symbol_lengths.size()));
        if (width > 25) row.code &= ~uint32_t{0x7F};
      }
      for (const Edge edge : {Edge::begin, Edge::end}) {
        batch.edge = edge;
        hash_stage().set(batch, {random.next()}, 1);
        EXPECT_EQ(hash_stage().entry_difference(), "") << "width " << width << ", " << rows;
      }
    }
  }
}

TEST(Hash, ADictColumnOfWidth8ReadsThreeBytesBehindItsLastCode) {
  KeyBatch batch;
  batch.layout = KeyLayout::dict;
  batch.width_bits = 8;
  batch.symbol_lengths = {3, 0, 5, 1};
  batch.rows = {{.code = 3}, {.code = 2}, {.code = 1}, {.code = 0}};
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  const auto* const symbols =
      static_cast<const uint8_t*>(hash_stage().keys.encoding.colx_enc_ctx_symbols);
  EXPECT_EQ(recorded_calls()[0], (HashCall{symbols + 8, 1, 0}));
  EXPECT_EQ(recorded_calls()[1], (HashCall{symbols + 3, 5, 0}));
  EXPECT_EQ(recorded_calls()[2], (HashCall{symbols + 3, 0, 0}));
  EXPECT_EQ(recorded_calls()[3], (HashCall{symbols, 3, 0}));
}

TEST(Hash, SymbolLengthsAreCutTo16Bits) {
  KeyBatch batch;
  batch.layout = KeyLayout::dict;
  batch.width_bits = 2;
  batch.symbol_lengths = {65535, 65536, 65541};
  batch.rows = {{.code = 0}, {.code = 1}, {.code = 2}};
  hash_stage().set(batch, {0}, 1);
  EXPECT_EQ(hash_stage().entry_difference(), "");
  EXPECT_EQ(recorded_calls()[0].length, 65535u);
  EXPECT_EQ(recorded_calls()[1].length, 0u);
  EXPECT_EQ(recorded_calls()[2].length, 5u);
}

// Positions beyond 4 GiB. The function reads nothing, so of fixed and lv_sep not a byte is needed.

TEST(Hash, FixedRowsBeyondFourGigabytes) {
  constexpr uint32_t rows = 530000;
  KeyBatch batch;
  batch.layout = KeyLayout::fixed;
  batch.rows.resize(rows);
  hash_stage().set(batch, {1}, 1);
  hash_stage().keys.encoding.colx_enc_ctx_width = 8191 * 8;
  ASSERT_GT(uint64_t{rows} * 8191, uint64_t{1} << 32);
  EXPECT_EQ(hash_stage().entry_difference(), "");
}

TEST(Hash, SeparateLengthsThatAddUpBeyondFourGigabytes) {
  constexpr uint32_t rows = 65600;
  std::vector<uint16_t> lengths(rows, 65535);
  KeyBatch batch;
  batch.layout = KeyLayout::lv_sep;
  batch.rows.resize(rows, {.length = 0});
  hash_stage().set(batch, {1}, 1);
  hash_stage().keys.cv.colx_cv_aux = lengths.data();
  EXPECT_EQ(hash_stage().difference(kernel_of(KeyLayout::lv_sep, oracle::SeedMode::one)), "");
}

TEST(Hash, LengthPrefixedRecordsBeyondFourGigabytes) {
  constexpr uint16_t length = 61438;  // with its two bytes, 15 pages
  constexpr uint32_t records_per_copy = 100;
  constexpr uint32_t copies = 705;
  RepeatedPages stream(records_per_copy * (length + 2u), copies);
  ASSERT_GT(stream.size(), size_t{1} << 32);
  for (uint32_t i = 0; i < records_per_copy; ++i) {
    oracle::put_native(stream.begin() + i * (length + 2u), length, 2);
  }
  KeyBatch batch;
  batch.layout = KeyLayout::hash_values;  // for its slots alone
  batch.rows.resize(records_per_copy * copies);
  hash_stage().set(batch, {1}, 1);
  hash_stage().keys.cv.colx_cv_data = stream.begin();
  EXPECT_EQ(hash_stage().difference(kernel_of(KeyLayout::lv, oracle::SeedMode::one)), "");
}

// 2^27 codes of 32 bits and a few more: the bit position takes more than 32 bits. All codes are 0
// but those behind that many bits.
TEST(Hash, DictCodesBeyondFourGigabits) {
  constexpr uint32_t codes_before = uint32_t{1} << 27;
  constexpr uint32_t rows = codes_before + 5;
  constexpr size_t bytes_per_copy = size_t{1} << 20;
  const std::unique_ptr<void, decltype(&std::free)> codes(std::calloc(rows, 4), std::free);
  ASSERT_NE(codes, nullptr);
  for (uint32_t row = codes_before; row < rows; ++row) {
    static_cast<uint8_t*>(codes.get())[size_t{row} * 4 + 3] = 1;
  }
  RepeatedPages slots(bytes_per_copy, rows / (bytes_per_copy / 8) + 1);
  KeyBatch batch;
  batch.layout = KeyLayout::dict;
  batch.width_bits = 32;
  batch.symbol_lengths = {4, 6};
  hash_stage().set(batch, {1}, 1);
  hash_stage().keys.cv.colx_cv_data = codes.get();
  hash_stage().keys.cv.colx_cv_num_of_rows = rows;
  hash_stage().res.colx_cv_data = slots.begin();
  static uint64_t calls_by_length[7];
  const auto counting = [](const void*, uint64_t length, uint64_t) {
    return ++calls_by_length[length] << 8 | length;
  };
  EXPECT_EQ(colx_hash_dydi(&hash_stage().res, &hash_stage().keys.cv, &hash_stage().seeds, counting,
                           nullptr),
            COLX_DONE);
  EXPECT_EQ(calls_by_length[4], codes_before);
  EXPECT_EQ(calls_by_length[6], 5u);
  EXPECT_EQ(oracle::native_at(slots.begin() + 8 * size_t{rows - 1}, 8), uint64_t{5} << 8 | 6);
}

}  // namespace
}  // namespace colx::test

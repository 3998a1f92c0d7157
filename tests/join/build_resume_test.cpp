// A build that runs out of overflow room: where it stops, what it tells the host, and that going on
// one bucket at a time gives the table that room for everything gives.
#include <gtest/gtest.h>

#include <map>

#include "tests/oracle/native_numbers.h"
#include "tests/support/build_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

uint32_t type_of(const BuildKernel& kernel) {
  return kernel.form.form.type | (kernel.codes ? uint32_t{COLX_HT_GD} : 0);
}

// Which blocks took the fast path depends on where they begin, and so does bit 6 of a bucket.
Bytes without_marks(const TableMemory& table) {
  Bytes bytes = table.bytes();
  const TableShape& shape = table.shape();
  const size_t buckets = size_t{shape.partitions} * (shape.buckets + shape.over_buckets);
  for (size_t i = 0; i < buckets; ++i) bytes[i * oracle::bucket_bytes] &= ~oracle::unique_mark;
  bytes.resize(buckets * oracle::bucket_bytes);
  return bytes;
}

std::vector<std::vector<StoredSlot>> chains(const TableMemory& table) {
  std::vector<std::vector<StoredSlot>> all;
  for (uint32_t p = 0; p < table.shape().partitions; ++p) {
    for (uint32_t b = 0; b < table.shape().buckets; ++b) {
      all.push_back(chain_of(table.shape().form(), table.bucket(p, b)));
    }
  }
  return all;
}

struct Overfull {
  TableShape shape;
  JoinRows rows;
};

Overfull overfull(const BuildKernel& kernel, uint32_t rows, Random& random) {
  Overfull all;
  all.shape = table_shape(type_of(kernel), static_cast<unsigned>(random.below(3)),
                          static_cast<unsigned>(random.below(3)),
                          static_cast<unsigned>(random.below(2)), rows / 3 + 2);
  const auto tags = static_cast<uint32_t>(2 + random.below(rows));
  all.rows = join_rows(kernel, meeting_rows(all.shape, rows, tags, random), random);
  return all;
}

TEST(BuildResume, OneBucketAtATimeGivesTheTableOfOneCall) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    for (const uint32_t rows : {60u, 1400u}) {
      const uint64_t seed = mixed_seed(type_of(kernel), rows);
      Random random(seed);
      const Overfull all = overfull(kernel, rows, random);
      stage.table.set(all.shape);
      stage.set_rows(all.rows, kernel.form.form.value_bytes);
      EXPECT_EQ(build_bucket_by_bucket(stage, kernel, false, random), "") << "seed " << seed;
      EXPECT_EQ(broken_chain(stage.table), "") << kernel.name << ", seed " << seed;
      const Bytes by_and_by = without_marks(stage.table);

      stage.table.set(all.shape);
      stage.set_rows(all.rows, kernel.form.form.value_bytes);
      EXPECT_EQ(stage.difference(kernel), "") << "seed " << seed;
      EXPECT_EQ(stage.status, COLX_DONE);
      EXPECT_EQ(by_and_by, without_marks(stage.table)) << kernel.name << ", seed " << seed;
    }
  }
}

TEST(BuildResume, BucketsOfAnyPlaceGiveTheSameChains) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    const uint64_t seed = type_of(kernel);
    Random random(seed);
    const Overfull all = overfull(kernel, 300, random);
    stage.table.set(all.shape);
    stage.set_rows(all.rows, kernel.form.form.value_bytes);
    EXPECT_EQ(build_bucket_by_bucket(stage, kernel, true, random), "") << "seed " << seed;
    EXPECT_EQ(broken_chain(stage.table), "") << kernel.name << ", seed " << seed;
    const auto scattered = chains(stage.table);

    stage.table.set(all.shape);
    stage.set_rows(all.rows, kernel.form.form.value_bytes);
    EXPECT_EQ(stage.difference(kernel), "") << "seed " << seed;
    EXPECT_EQ(scattered, chains(stage.table)) << kernel.name << ", seed " << seed;
  }
}

TEST(BuildResume, ANamedPartitionToo) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    Random random(type_of(kernel));
    Overfull all = overfull(kernel, 100, random);
    all.shape = table_shape(type_of(kernel), 1, 1, 0, 60);
    stage.table.set(all.shape);
    stage.set_rows(all.rows, kernel.form.form.value_bytes);
    stage.part = 1;
    EXPECT_EQ(build_bucket_by_bucket(stage, kernel, false, random), "");
    EXPECT_EQ(stage.kctx.colx_kctx_resume_extra, 0u);
    stage.part = -1;
  }
}

// A table of one bucket without overflow room, offered rows of distinct hashes.
BuildStage& one_bucket(uint32_t type, uint32_t rows, uint32_t over_buckets) {
  BuildStage& stage = build_stage();
  stage.table.set(table_shape(type, 0, 0, 0, over_buckets));
  JoinRows all;
  for (uint32_t i = 0; i < rows; ++i) all.keys.rows.push_back({.hash = 100 + i});
  all.base_rid = 1000;
  stage.set_rows(all, 8);
  return stage;
}

TEST(BuildResume, WithoutRoomTheRowThatOpensAChainStopsAndTheOneBeforeIsIn) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    BuildStage& stage = one_bucket(form.type, form.slots + 3, 0);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.status, COLX_OVERFLOW_FULL);
    EXPECT_EQ(stage.kctx.colx_kctx_position, form.slots);
    EXPECT_EQ(stage.table.header(0, 0), 0x40 | form.slots);
    EXPECT_EQ(chain_of(form, stage.table.bucket(0, 0)).back(),
              (StoredSlot{100 + form.slots - 1, 1000 + form.slots - 1}));
  }
}

TEST(BuildResume, TheStoppedRowIsTriedAgainAndAgainWithTheSameResult) {
  BuildStage& stage = one_bucket(COLX_HT_K2V4, 12, 0);
  EXPECT_EQ(stage.entry_difference(), "");
  const Bytes before = stage.table.bytes();
  for (int again = 0; again < 3; ++again) {
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.status, COLX_OVERFLOW_FULL);
    EXPECT_EQ(stage.kctx.colx_kctx_position, 9u);
    EXPECT_EQ(stage.table.difference(before), "");
  }
}

TEST(BuildResume, RoomIsCursorAgainstEndAndNothingElse) {
  BuildStage& stage = one_bucket(COLX_HT_K2V4, 10, 2);
  auto* const region = static_cast<uint8_t*>(stage.table.ht.colx_ht_over_cur[0]);

  // One byte is room for a bucket, which ends behind it.
  stage.table.ht.colx_ht_over_end[0] = region + 1;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
  EXPECT_EQ(stage.table.ht.colx_ht_over_cur[0], region + 64);

  // A cursor past the end is at its end.
  one_bucket(COLX_HT_K2V4, 10, 2);
  stage.table.ht.colx_ht_over_cur[0] = region + 64;
  stage.table.ht.colx_ht_over_end[0] = region + 63;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_OVERFLOW_FULL);
  EXPECT_EQ(stage.table.ht.colx_ht_over_cur[0], region + 64);
}

TEST(BuildResume, TheResumeWordIsLeftAloneWhenTheBuildIsDone) {
  BuildStage& stage = one_bucket(COLX_HT_K2V4, 9, 0);
  stage.kctx.colx_kctx_resume_extra = 0xABCDEF01;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
  EXPECT_EQ(stage.kctx.colx_kctx_resume_extra, 0xABCDEF01u);
}

// The stop of a partitioned build whose rows all have `hash`.
uint32_t resume_word(const TableShape& shape, uint64_t hash, int32_t part) {
  BuildStage& stage = build_stage();
  stage.table.set(shape);
  for (uint32_t p = 0; p < shape.partitions; ++p) stage.table.grant(p, 0);
  JoinRows rows;
  rows.keys.rows.resize(20, {.hash = hash});
  stage.set_rows(rows, shape.form().value_bytes);
  stage.kctx.colx_kctx_resume_extra = 0xABCDEF01;
  stage.part = part;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_OVERFLOW_FULL);
  stage.part = -1;
  return stage.kctx.colx_kctx_resume_extra;
}

TEST(BuildResume, TheResumeWordNamesThePartitionOfA2ByteTagTable) {
  const TableShape shape = table_shape(COLX_HT_K2V4, 2, 3, 0, 1);
  for (uint64_t p = 0; p < 8; ++p) {
    EXPECT_EQ(resume_word(shape, 0xFFFFFFFFFFC01234 | p << 18, -1) & 7, p);
    EXPECT_EQ(resume_word(shape, 0x0000000000011234 | p << 18, -1), p);
  }
}

TEST(BuildResume, TheResumeWordOfANamedPartitionIs0) {
  EXPECT_EQ(resume_word(table_shape(COLX_HT_K2V4, 2, 3, 0, 1), ~uint64_t{0}, 5), 0u);
  EXPECT_EQ(resume_word(table_shape(COLX_HT_K4V4, 2, 3, 0, 1), ~uint64_t{0}, 5), 0u);
}

TEST(BuildResume, TheResumeWordOfATableOfOnePartitionIs0) {
  EXPECT_EQ(resume_word(table_shape(COLX_HT_K2V8, 2, 0, 0, 1), ~uint64_t{0}, -1), 0u);
}

// Of a 4-byte tag table the masked hash is cut to 32 bits and shifted by its bucket bit modulo 32,
// which tells no partition.
TEST(BuildResume, TheResumeWordOfA4ByteTagTableIsMadeIn32Bits) {
  const TableShape shape = table_shape(COLX_HT_K4V4, 2, 3, 0, 1);  // bits 0 to 36, shift by 34
  EXPECT_EQ(resume_word(shape, 0x0000001512345678, -1), 0x12345678u >> 2);
  const TableShape one_bucket_each = table_shape(COLX_HT_K4V8, 0, 3, 0, 1);  // shift by 32, so by 0
  EXPECT_EQ(resume_word(one_bucket_each, 0x0000000589ABCDEF, -1), 0x89ABCDEFu);
}

// With low bits the partition is another number than the resume word.
TEST(BuildResume, TheResumeWordKnowsNothingOfLowBits) {
  const TableShape shape = table_shape(COLX_HT_K2V4, 1, 1, 1, 1);  // partition bit 17, shift by 17
  EXPECT_EQ(resume_word(shape, 0x21231, -1), 1u);
  EXPECT_EQ(build_stage().stopped_entry, 3u);
  EXPECT_EQ(resume_word(shape, 0x01231, -1), 0u);
  EXPECT_EQ(build_stage().stopped_entry, 1u);
}

TEST(BuildResume, TheResumeWordAtEveryHighestBucketBit) {
  for (unsigned highest = 0; highest < 256; ++highest) {
    TableShape shape;
    shape.bucket_hi = static_cast<uint8_t>(highest);
    shape.part_hi = static_cast<uint8_t>(highest == 20 ? 21 : 20);
    shape.part_shift = 19;
    shape.partitions = 8;
    shape.buckets = 1u << 5;
    const uint64_t hash = 0x155555;
    const uint64_t part_mask = (uint64_t{2} << shape.part_hi) - 1;
    EXPECT_EQ(resume_word(shape, hash, -1),
              static_cast<uint32_t>(hash & part_mask) >> ((highest + 1) % 32))
        << highest;
  }
}

// A stream's resume offset is that of the stopped row: at its length field in one stream, at its
// bytes with separate lengths.
TEST(BuildResume, StreamsStopAndGoOnInTheMiddleOfABlock) {
  BuildStage& stage = build_stage();
  for (const KeyLayout layout : {KeyLayout::lv, KeyLayout::lv_sep}) {
    Random random(static_cast<uint64_t>(layout));
    stage.table.set(table_shape(COLX_HT_K2V4, 0, 0, 0, 300));
    stage.table.grant(0, 0);
    JoinRows rows;
    rows.keys.layout = layout;
    for (uint32_t i = 0; i < 1200; ++i) {
      rows.keys.rows.push_back(
          {.hash = random.next(), .length = static_cast<uint16_t>(8 + random.below(300))});
    }
    stage.set_rows(rows, 4);
    uint32_t stopped = 9;
    for (; stopped < 1200; stopped += 9) {
      EXPECT_EQ(stage.entry_difference(), "");
      ASSERT_EQ(stage.status, COLX_OVERFLOW_FULL);
      EXPECT_EQ(stage.kctx.colx_kctx_position, stopped);
      EXPECT_EQ(stage.kctx.colx_kctx_key_offset, stage.keys.stream_offset(stopped));
      if (layout == KeyLayout::lv) {
        const uint8_t* const at = static_cast<const uint8_t*>(stage.keys.cv.colx_cv_data) +
                                  stage.kctx.colx_kctx_key_offset;
        EXPECT_EQ(oracle::native_at(at, 2), rows.keys.rows[stopped].length);
      }
      stage.table.grant(0, 1);
    }
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.status, COLX_DONE);
    EXPECT_EQ(stage.kctx.colx_kctx_key_offset, stage.keys.stream_offset(1200));
  }
}

// Layouts without a stream leave the offset as it was.
TEST(BuildResume, OtherLayoutsLeaveTheOffsetAlone) {
  BuildStage& stage = one_bucket(COLX_HT_K2V4, 12, 0);
  stage.kctx.colx_kctx_key_offset = 0x1234567890ABCDEF;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_OVERFLOW_FULL);
  EXPECT_EQ(stage.kctx.colx_kctx_key_offset, 0x1234567890ABCDEFu);
}

// Rows far into a column: what stands before them need not exist.

void move_back(colx_cv& cv, uint64_t bytes) {
  cv.colx_cv_data = reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(cv.colx_cv_data) - bytes);
}

TEST(BuildResume, RowsAndStreamsBeyondFourGigabytes) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    Random random(type_of(kernel));
    const TableShape shape = table_shape(type_of(kernel), 1, 0, 0, 20);
    for (const uint32_t first : {0x7FFFFFF0u, 0x80000000u, 0xFFFFFF00u}) {
      JoinRows rows = join_rows(kernel, meeting_rows(shape, 20, 9, random), random);
      stage.table.set(shape);
      stage.set_rows(rows, kernel.form.form.value_bytes);
      std::map<KeyLayout, uint64_t> row_bytes = {{KeyLayout::fixed, rows.keys.width_bits / 8},
                                                 {KeyLayout::lp, 16},
                                                 {KeyLayout::lp_sep, 8},
                                                 {KeyLayout::hash_values, 8},
                                                 {KeyLayout::hashrid, 16},
                                                 {KeyLayout::gd, 4},
                                                 {KeyLayout::hashgdrid, 24}};
      const bool stream = oracle::is_stream(kernel.form.layout);
      move_back(stage.keys.cv,
                stream ? first * uint64_t{9} : first * row_bytes[kernel.form.layout]);
      auto* const lengths = reinterpret_cast<uint8_t*>(stage.keys.cv.colx_cv_aux);
      stage.keys.cv.colx_cv_aux =
          reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(lengths) - 2 * uint64_t{first});
      if (!kernel.form.autorid) {
        move_back(stage.payload.cv, first * uint64_t{kernel.form.form.value_bytes});
      }
      stage.keys.cv.colx_cv_num_of_rows = first + 20;
      stage.kctx.colx_kctx_position = first;
      stage.kctx.colx_kctx_key_offset = first * uint64_t{9};
      EXPECT_EQ(stage.difference(kernel), "") << "from row " << first;
      EXPECT_EQ(stage.kctx.colx_kctx_position, first + 20);
    }
  }
}

}  // namespace
}  // namespace colx::test

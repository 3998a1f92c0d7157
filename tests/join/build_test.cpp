// colx_ht_build_dydi and the 57 kernels behind it: which kernel serves what, and that whole tables
// come out as they should.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/join/dispatch_trials.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/build_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

uint32_t type_of(const BuildKernel& kernel) {
  return kernel.form.form.type | (kernel.codes ? uint32_t{COLX_HT_GD} : 0);
}

TEST(Build, EveryKernelOnEverySplitOfTheHash) {
  EXPECT_EQ(build_kernels().size(), 57u);
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    for (const HashSplit bits : hash_splits) {
      for (const uint32_t rows : {0u, 1u, 2u, 40u, 1023u, 1024u, 1025u}) {
        const uint64_t seed = mixed_seed(rows, bits.bucket + 10 * bits.part + 100 * bits.low);
        Random random(seed);
        TableShape shape = table_shape(type_of(kernel), bits.bucket, bits.part, bits.low, 600);
        const auto tags = static_cast<uint32_t>(2 + random.below(2 * rows + 1));
        stage.table.set(shape);
        for (int batch = 0; batch < 2; ++batch) {  // a table grows over calls
          stage.set_rows(join_rows(kernel, meeting_rows(shape, rows, tags, random), random),
                         kernel.form.form.value_bytes);
          EXPECT_EQ(stage.difference(kernel), "") << "seed " << seed;
          EXPECT_EQ(stage.status, COLX_DONE);
        }
        EXPECT_EQ(broken_chain(stage.table), "") << kernel.name << ", seed " << seed;
      }
    }
  }
}

// Records that a partition left behind are not aligned.
TEST(Build, ColumnsMayLieAtAnyAddress) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    for (size_t slack_bytes = 1; slack_bytes < 16; ++slack_bytes) {
      Random random(slack_bytes);
      const TableShape shape = table_shape(type_of(kernel), 1, 1, 0, 40);
      stage.table.set(shape);
      JoinRows rows = join_rows(kernel, meeting_rows(shape, 71, 30, random), random);
      rows.keys.edge = Edge::end;
      rows.keys.slack_bytes = slack_bytes;
      stage.set_rows(rows, kernel.form.form.value_bytes);
      EXPECT_EQ(stage.difference(kernel), "") << slack_bytes;
      EXPECT_EQ(stage.status, COLX_DONE);
    }
  }
}

TEST(Build, TheEntryGivesWhatTheNamedKernelGives) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    Random random(type_of(kernel));
    const TableShape shape = table_shape(type_of(kernel), 1, 1, 0, 40);
    stage.table.set(shape);
    stage.set_rows(join_rows(kernel, meeting_rows(shape, 100, 30, random), random),
                   kernel.form.form.value_bytes);
    EXPECT_EQ(stage.entry_difference(), "") << kernel.name;
    EXPECT_EQ(stage.status, COLX_DONE);
  }
}

// Of every type, with every pair of flags: the first that serves decides, and where none does
// nothing is touched. Columns lie in the layout that is to be picked; all else is unreadable.
std::string served_as_told(const DispatchTrial& trial) {
  const auto [type, src_flags, payload_flags] = trial;
  BuildStage& stage = build_stage();
  Random random(mixed_seed(type, src_flags ^ payload_flags));
  const auto picked = oracle::build_kernel(type, src_flags, payload_flags);
  TableShape shape = table_shape(picked.has_value() ? picked->form.type : 1, 1, 0, 0, 20);
  stage.table.set(shape);
  stage.table.ht.colx_ht_type = type;
  JoinRows rows;
  rows.keys.layout = picked.has_value() ? picked->layout : KeyLayout::hash_values;
  if (picked.has_value()) rows.keys.rows = meeting_rows(shape, 12, 6, random);
  rows.values.resize(rows.keys.rows.size(), 7);
  rows.autorid = (payload_flags & COLX_AUTORID) != 0;
  stage.set_rows(rows, shape.form().value_bytes);
  stage.keys.encoding.colx_enc_ctx_flags = src_flags;
  stage.payload.encoding.colx_enc_ctx_flags = payload_flags;
  if (!picked.has_value()) {
    stage.keys.cv.colx_cv_data = stage.keys.cv.colx_cv_aux;  // unreadable, as are 12 rows
    stage.keys.cv.colx_cv_num_of_rows = 12;
  }
  stage.kctx.colx_kctx_position = picked.has_value() ? 0 : 3;
  return stage.entry_difference();
}

TEST(Build, TheDispatchGoesByTypeThenByFlagsInTheirOrder) {
  unsigned served = 0;
  for_each_dispatch_trial([&served](const DispatchTrial& trial) {
    EXPECT_EQ(served_as_told(trial), "")
        << std::hex << "type 0x" << trial.type << ", flags 0x" << trial.src_flags << ", payload 0x"
        << trial.payload_flags;
    served += build_stage().status == COLX_DONE ? 1 : 0;
  });
  EXPECT_GT(served, 3000u);
}

TEST(Build, ACodeTableRefusesHashValuesAlone) {
  EXPECT_EQ(served_as_told({0x1004, COLX_HASH_VALUES, 0}), "");
  EXPECT_EQ(build_stage().status, COLX_NOT_SERVED);
}

TEST(Build, DictionaryKeysAreNotServed) {
  for (const uint32_t type : {1u, 2u, 4u, 8u}) {
    EXPECT_EQ(served_as_told({type, COLX_DICT, COLX_AUTORID}), "");
    EXPECT_EQ(build_stage().status, COLX_NOT_SERVED);
  }
}

TEST(Build, ALengthPrefixedRecordOfHashValuesIsAKeyToBuildFrom) {
  EXPECT_EQ(served_as_told({COLX_HT_K2V4, COLX_LV | COLX_HASH_VALUES, COLX_AUTORID}), "");
  EXPECT_EQ(build_stage().status, COLX_DONE);
}

TEST(Build, RecordsBringTheirValuesAndNeedNoPayload) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    if (kernel.form.layout != KeyLayout::hashrid && kernel.form.layout != KeyLayout::hashgdrid) {
      continue;
    }
    Random random(5);
    const TableShape shape = table_shape(type_of(kernel), 1, 0, 0, 20);
    stage.table.set(shape);
    stage.set_rows(join_rows(kernel, meeting_rows(shape, 20, 9, random), random), 8);
    EXPECT_EQ(kernel.call(&stage.table.ht, &stage.keys.cv, nullptr, -1, nullptr, &stage.kctx),
              COLX_DONE);
    EXPECT_EQ(
        colx_ht_build_dydi(&stage.table.ht, &stage.keys.cv, nullptr, -1, nullptr, &stage.kctx),
        COLX_DONE);
  }
}

TEST(Build, HashValuesNeedNoHashFunction) {
  BuildStage& stage = build_stage();
  stage.table.set(table_shape(COLX_HT_K2V4, 1, 0, 0, 0));
  JoinRows rows;
  rows.keys.rows = {{.hash = 1}, {.hash = 2}};
  stage.set_rows(rows, 4);
  stage.fn = nullptr;
  EXPECT_EQ(stage.entry_difference(), "");
  stage.fn = chosen_hash;
}

TEST(Build, ValuesAreCutTo4BytesInTablesOfSuch) {
  BuildStage& stage = build_stage();
  for (const uint32_t type : {COLX_HT_K2V4, COLX_HT_K4V4, COLX_HT_K2V8, COLX_HT_K4V8}) {
    stage.table.set(table_shape(type, 0, 0, 0, 0));
    JoinRows rows;
    rows.keys.layout = KeyLayout::hashrid;
    rows.keys.rows = {{.hash = 1, .rid = 0x1122334455667788}};
    stage.set_rows(rows, 8);
    EXPECT_EQ(stage.entry_difference(), "");
    rows.keys.layout = KeyLayout::hash_values;
    rows.keys.rows = {{.hash = 2}};
    rows.base_rid = 0xFFFFFFFF00000007;
    stage.set_rows(rows, 8);
    EXPECT_EQ(stage.entry_difference(), "");
    const std::vector<StoredSlot> stored =
        chain_of(stage.table.shape().form(), stage.table.bucket(0, 0));
    const bool whole = stage.table.shape().form().value_bytes == 8;
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0], (StoredSlot{1, whole ? 0x1122334455667788u : 0x55667788u}));
    EXPECT_EQ(stored[1], (StoredSlot{2, whole ? 0xFFFFFFFF00000007u : 7u}));
  }
}

TEST(Build, APositionAtOrPastTheRowCountEndsThereAndTouchesNoTable) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    for (const uint32_t position : {9u, 10u, 2000u, 0xFFFFFFFFu}) {
      Random random(position);
      const TableShape shape = table_shape(type_of(kernel), 1, 0, 0, 5);
      stage.table.set(shape);
      stage.set_rows(join_rows(kernel, meeting_rows(shape, 9, 9, random), random),
                     kernel.form.form.value_bytes);
      const Bytes before = stage.table.bytes();
      stage.kctx.colx_kctx_position = position;
      stage.kctx.colx_kctx_key_offset = stage.keys.stream_offset(9);
      EXPECT_EQ(stage.difference(kernel), "");
      EXPECT_EQ(stage.status, COLX_DONE);
      EXPECT_EQ(stage.kctx.colx_kctx_position, 9u);
      EXPECT_EQ(stage.table.difference(before), "");
    }
  }
}

TEST(Build, NoRowsAreDoneAndTouchNoTable) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    Random random(1);
    stage.table.set(table_shape(type_of(kernel), 1, 1, 0, 5));
    stage.set_rows(join_rows(kernel, {}, random), kernel.form.form.value_bytes);
    const Bytes before = stage.table.bytes();
    EXPECT_EQ(stage.difference(kernel), "");
    EXPECT_EQ(stage.status, COLX_DONE);
    EXPECT_EQ(stage.table.difference(before), "");
  }
}

TEST(Build, ANamedPartitionTakesAllRowsWhateverTheirHashSays) {
  BuildStage& stage = build_stage();
  for (const BuildKernel& kernel : build_kernels()) {
    for (const int32_t part : {0, 1, 3}) {
      Random random(static_cast<uint64_t>(part));
      const TableShape shape = table_shape(type_of(kernel), 2, 2, 0, 100);
      stage.table.set(shape);
      for (uint32_t other = 0; other < 4; ++other) {
        if (other == static_cast<uint32_t>(part)) continue;
        stage.table.ht.colx_ht_buckets[other] = nullptr;
        stage.table.ht.colx_ht_over_cur[other] = stage.table.ht.colx_ht_over_end[other] = nullptr;
      }
      stage.set_rows(join_rows(kernel, meeting_rows(shape, 200, 60, random), random),
                     kernel.form.form.value_bytes);
      stage.part = part;
      EXPECT_EQ(stage.difference(kernel), "");
      EXPECT_EQ(stage.status, COLX_DONE);
      stage.part = -1;
    }
  }
}

TEST(Build, EveryNegativePartitionNumberMeansAll) {
  BuildStage& stage = build_stage();
  const BuildKernel& kernel = build_kernel_named("colx_ht_build_k2v4_hash_values_autorid");
  for (const int32_t part : {-1, -2, INT32_MIN}) {
    Random random(8);
    const TableShape shape = table_shape(COLX_HT_K2V4, 1, 2, 0, 50);
    stage.table.set(shape);
    stage.set_rows(join_rows(kernel, meeting_rows(shape, 100, 60, random), random), 4);
    stage.part = part;
    EXPECT_EQ(stage.difference(kernel), "");
    stage.part = -1;
  }
}

// 16 partitions of 256 buckets.
TEST(Build, HashBits16To23AreTheBucketAnd24To27ThePartition) {
  BuildStage& stage = build_stage();
  TableShape shape;
  shape.type = COLX_HT_K2V4;
  shape.bucket_hi = 23;
  shape.part_hi = 27;
  shape.part_shift = 24;
  shape.partitions = 16;
  shape.buckets = 256;
  stage.table.set(shape);
  JoinRows rows;
  rows.keys.rows = {{.hash = 0xFFFFFFFFF5A71234}};
  rows.base_rid = 77;
  stage.set_rows(rows, 4);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.table.header(5, 0xA7), 0x41);
  EXPECT_EQ(chain_of(shape.form(), stage.table.bucket(5, 0xA7)).at(0), (StoredSlot{0x1234, 77}));
}

// Rows with hashes of 20 bits, so that a bucket number of all bits up stays below 16 (k2) or is 0.
JoinRows rows_of_small_hashes(Random& random) {
  JoinRows rows;
  for (int i = 0; i < 60; ++i) rows.keys.rows.push_back({.hash = random.bits(20) & 0xF000F});
  return rows;
}

TEST(Build, BucketBitsOf63AndMoreMeanAllBitsUp) {
  BuildStage& stage = build_stage();
  for (const uint32_t type : {COLX_HT_K2V4, COLX_HT_K2V8, COLX_HT_K4V4, COLX_HT_K4V8}) {
    for (const uint8_t highest : {62, 63, 64, 127, 128, 254, 255}) {
      Random random(highest);
      TableShape shape;
      shape.type = type;
      shape.bucket_hi = shape.part_hi = highest;
      shape.buckets = 16;
      shape.over_buckets = 40;
      stage.table.set(shape);
      stage.set_rows(rows_of_small_hashes(random), shape.form().value_bytes);
      EXPECT_EQ(stage.entry_difference(), "") << int{highest};
    }
  }
}

// Equal masks do not make a table one of a single partition, equal fields do.
TEST(Build, OnePartitionIsToldByEqualFieldsNotByEqualMasks) {
  BuildStage& stage = build_stage();
  for (const uint8_t part_hi : {63, 64, 255}) {
    Random random(part_hi);
    TableShape shape;
    shape.type = COLX_HT_K2V4;
    shape.bucket_hi = 64;
    shape.part_hi = part_hi;
    shape.part_shift = 18;
    shape.partitions = 4;
    shape.buckets = 16;
    shape.over_buckets = 40;
    stage.table.set(shape);
    stage.set_rows(rows_of_small_hashes(random), 4);
    EXPECT_EQ(stage.entry_difference(), "");
    unsigned partitions_in_use = 0;
    for (uint32_t p = 0; p < 4; ++p) {
      bool used = false;
      for (uint32_t b = 0; b < 16; ++b) used |= stage.table.header(p, b) != 0;
      partitions_in_use += used ? 1 : 0;
    }
    EXPECT_EQ(partitions_in_use, part_hi == 64 ? 1u : 4u);
  }
}

TEST(Build, LowBitsAloneMakePartitions) {
  BuildStage& stage = build_stage();
  TableShape shape = table_shape(COLX_HT_K2V8, 0, 0, 2, 10);
  ASSERT_EQ(shape.bucket_hi, shape.part_hi);
  stage.table.set(shape);
  JoinRows rows;
  rows.keys.rows = {{.hash = 0}, {.hash = 1}, {.hash = 2}, {.hash = 3}, {.hash = 7}};
  stage.set_rows(rows, 8);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.table.header(0, 0), 0x41);
  EXPECT_EQ(stage.table.header(3, 0), 0x42);
}

TEST(Build, ThePartitionFieldMayOverlapTheBucketNumber) {
  BuildStage& stage = build_stage();
  for (uint64_t seed = 0; seed < 60; ++seed) {
    Random random(seed);
    TableShape shape = table_shape(1u << random.below(4), 3, 0, 0, 120);
    shape.part_hi = static_cast<uint8_t>(random.below(64));
    const uint64_t lowest = shape.part_hi < 2 ? 0 : shape.part_hi - 2u;
    shape.part_shift = static_cast<uint8_t>(std::min<uint64_t>(lowest + random.below(4), 63));
    shape.part_low_bits = static_cast<uint8_t>(random.below(3));
    shape.partitions = 8u << shape.part_low_bits;
    stage.table.set(shape);
    JoinRows rows;
    rows.keys.rows = meeting_rows(shape, 300, 80, random);
    stage.set_rows(rows, 8);
    EXPECT_EQ(stage.entry_difference(), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace colx::test

// partition: every kernel over blocks of rows and rooms that end, and what its records keep on
// purpose.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/oracle/native_numbers.h"
#include "tests/support/crash_note.h"
#include "tests/support/partition_stage.h"

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::KeyLayout;
using oracle::native_at;
using oracle::PartitionForm;
using oracle::PartitionRecords;

constexpr uint32_t row_edges[] = {0, 1, 2, 17, 1023, 1024, 1025, 2049};
constexpr PartitionForm rid_form = {PartitionRecords::rid, KeyLayout::hash_values,
                                    Carried::autorid};
constexpr PartitionForm lv_form = {PartitionRecords::lv, KeyLayout::hash_values, Carried::lv};
constexpr PartitionForm fixed_form = {PartitionRecords::fixed, KeyLayout::hash_values,
                                      Carried::fixed};

const PartitionStage& stage() {
  return partition_stage();
}

// Rows of these hashes, partitions by the low 4 bits.
PartitionBatch batch_of(const PartitionForm& form, const std::vector<uint64_t>& hashes) {
  PartitionBatch batch;
  batch.form = form;
  for (const uint64_t hash : hashes) batch.keys.push_back({.hash = hash});
  batch.value_lengths.resize(hashes.size());
  return batch;
}

TEST(Partition, EveryKernelAtEveryRowCount) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    EXPECT_EQ(oracle::partition_name(kernel.form), kernel.name);
    Random random(1);
    for (const uint32_t rows : row_edges) {
      PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
      batch.edge = rows % 2 == 0 ? Edge::begin : Edge::end;
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        if (rows > 100 && place != Place::end) continue;
        batch.place = place;
        ASSERT_EQ(partition_difference(batch), "") << rows << " rows";
      }
    }
  }
}

TEST(Partition, EveryKernelFromAnyRow) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(2);
    for (const uint32_t rows : {50, 50, 1100, 2100}) {
      PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
      batch.position = static_cast<uint32_t>(random.below(rows));
      ASSERT_EQ(partition_difference(batch), "");
    }
  }
}

TEST(Partition, EveryKernelWithRoomsThatEnd) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(3);
    for (const uint32_t rows : {40, 40, 40, 40, 40, 40, 40, 40, 1030, 2100}) {
      PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
      batch.position = static_cast<uint32_t>(random.below(rows));
      for (int p = 0; p < 16; ++p) batch.rooms.push_back(random.below(rows * 4));
      ASSERT_EQ(partition_difference(batch), "") << rows << " rows";
    }
  }
}

// Kernels may look at the rows to come where their partitions lie far apart.
TEST(Partition, EveryKernelWithPartitionsFarApart) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(10);
    for (const uint32_t rows : {1, 6, 7, 8, 9, 10, 15, 16, 17, 18, 23, 24, 25, 31, 32, 33, 50}) {
      PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
      batch.far_apart = true;
      ASSERT_EQ(partition_difference(batch), "");
      batch.position = static_cast<uint32_t>(random.below(rows));
      for (int p = 0; p < 16; ++p) batch.rooms.push_back(random.below(rows * 8));
      ASSERT_EQ(partition_difference(batch), "");
    }
    for (const uint32_t rows : {1023, 1024, 1031, 1033}) {
      PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
      batch.far_apart = true;
      ASSERT_EQ(partition_difference(batch), "");
    }
    const auto first = reinterpret_cast<uintptr_t>(stage().parts.colx_part_cursors[0]);
    const auto second = reinterpret_cast<uintptr_t>(stage().parts.colx_part_cursors[1]);
    ASSERT_GT(std::max(first, second) - std::min(first, second), uintptr_t{8} << 20);
  }
}

// Records as the kernels write them lie at any address, and so may all columns.
TEST(Partition, ColumnsMayLieAtAnyAddress) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(11);
    for (size_t slack_bytes = 1; slack_bytes < 16; ++slack_bytes) {
      PartitionBatch batch = random_partition_batch(kernel.form, 70, random);
      batch.edge = Edge::end;
      batch.slack_bytes = slack_bytes;
      batch.far_apart = slack_bytes % 2 == 0;
      ASSERT_EQ(partition_difference(batch), "") << slack_bytes;
    }
  }
}

TEST(Partition, RoomOfTheRecordsSizeIsEnoughAndAByteLessIsNot) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(4);
    PartitionBatch batch = random_partition_batch(kernel.form, 1, random);
    run_partition(batch);
    const PartitionStage& after = partition_stage();
    uint64_t p = 0;
    while (after.filled_bytes(p) == 0) ++p;
    const uint64_t size = after.filled_bytes(p);
    batch.rooms.assign(16, 0);
    batch.rooms[p] = size;
    EXPECT_EQ(run_partition(batch).status, COLX_DONE) << kernel.name;
    EXPECT_EQ(partition_difference(batch), "");
    batch.rooms[p] = size - 1;
    EXPECT_EQ(run_partition(batch).status, COLX_PARTITION_FULL) << kernel.name;
    EXPECT_EQ(stage().kctx.colx_kctx_resume_extra, p);
    EXPECT_EQ(stage().filled_bytes(p), 0u);
    EXPECT_EQ(partition_difference(batch), "");
  }
}

TEST(Partition, ARecordOfARowId) {
  PartitionBatch batch = batch_of(rid_form, {0xAB7, 0xCD3, 0xEF7});
  batch.base_rid = 1000;
  EXPECT_EQ(run_partition(batch).status, COLX_DONE);
  EXPECT_EQ(native_at(stage().records(7), 8), 1000u);
  EXPECT_EQ(native_at(stage().records(7) + 8, 8), 0xAB7u);
  EXPECT_EQ(native_at(stage().records(7) + 16, 8), 1002u);
  EXPECT_EQ(native_at(stage().records(3), 8), 1001u);
}

TEST(Partition, GdRecordsLeaveBytes12To15AsTheyWere) {
  for (const Carried carried : {Carried::autorid, Carried::payload}) {
    PartitionBatch batch = batch_of({PartitionRecords::rid, KeyLayout::gd, carried}, {0, 0, 0});
    batch.hi = 0;
    batch.shift = 5;  // one partition
    EXPECT_EQ(run_partition(batch).status, COLX_DONE);
    EXPECT_EQ(stage().filled_bytes(0), 72u);
    for (const size_t byte : {12, 13, 14, 15, 36, 37, 38, 39, 60, 61, 62, 63}) {
      EXPECT_EQ(stage().records(0)[byte], GuardedOutput::dirty_byte(byte));
    }
    EXPECT_EQ(partition_difference(batch), "");
  }
}

TEST(Partition, AnEmptyPayloadMakesARecordOf10BytesWithLength8) {
  for (const Carried carried : {Carried::lv, Carried::lv_sep, Carried::lp, Carried::lp_sep}) {
    PartitionBatch batch =
        batch_of({PartitionRecords::lv, KeyLayout::hash_values, carried}, {0x1234567890ABCDE5});
    EXPECT_EQ(run_partition(batch).status, COLX_DONE);
    EXPECT_EQ(stage().filled_bytes(5), 10u);
    EXPECT_EQ(native_at(stage().records(5), 2), 8u);
    EXPECT_EQ(native_at(stage().records(5) + 2, 8), 0x1234567890ABCDE5u);
  }
}

TEST(Partition, TheLengthOfALongRecordIsCutTo16BitsAndItsSizeIsNot) {
  for (const Carried carried : {Carried::lv, Carried::lv_sep, Carried::lp, Carried::lp_sep}) {
    PartitionBatch batch =
        batch_of({PartitionRecords::lv, KeyLayout::hash_values, carried}, {5, 5, 5, 5});
    batch.value_lengths = {65527, 65528, 65535, 3};
    EXPECT_EQ(run_partition(batch).status, COLX_DONE);
    EXPECT_EQ(native_at(stage().records(5), 2), 65535u);
    EXPECT_EQ(native_at(stage().records(5) + 65537, 2), 0u);
    EXPECT_EQ(native_at(stage().records(5) + 65537 + 65538, 2), 7u);
    EXPECT_EQ(stage().filled_bytes(5), 65537u + 65538 + 65545 + 13);
    EXPECT_EQ(partition_difference(batch), "");
  }
}

TEST(Partition, TheLongestRecordIsSplitWhole) {
  PartitionBatch batch = batch_of({PartitionRecords::lv, KeyLayout::lv, Carried::nothing}, {0, 0});
  batch.keys[0].length = 65535;
  batch.keys[1].length = 65534;
  EXPECT_EQ(partition_difference(batch), "");
  batch.rooms.assign(16, 65536);
  EXPECT_EQ(run_partition(batch).position, 0u);
  EXPECT_EQ(partition_difference(batch), "");
}

TEST(Partition, FixedRecordsTakeTheirNumberOfBytesFromOneFieldAndTheirPlaceFromAnother) {
  // Above the payload's width bytes of the next row come along, below it the value is cut.
  for (const uint16_t count : {0, 1, 3, 4, 5, 11, 40}) {
    for (const KeyLayout key : {KeyLayout::hash_values, KeyLayout::lv, KeyLayout::fixed}) {
      PartitionBatch batch =
          batch_of({PartitionRecords::fixed, key, Carried::fixed}, {1, 2, 1, 3, 1, 1, 2});
      batch.value_bits = 32;
      batch.fixed_len = count;
      EXPECT_EQ(partition_difference(batch), "") << count;
    }
  }
  PartitionBatch batch = batch_of(fixed_form, {1, 1});
  batch.value_bits = 16;
  batch.fixed_len = 3;
  EXPECT_EQ(run_partition(batch).status, COLX_DONE);
  const auto* const payload =
      static_cast<const uint8_t*>(partition_stage().payload()->colx_cv_data);
  EXPECT_EQ(std::memcmp(stage().records(1) + 8, payload, 3), 0);
  EXPECT_EQ(std::memcmp(stage().records(1) + 11 + 8, payload + 2, 3), 0);
}

TEST(Partition, TheTopFourBitsMake16Partitions) {
  PartitionBatch batch = batch_of(rid_form, {});
  for (uint64_t p = 0; p < 16; ++p) batch.keys.push_back({.hash = p << 60 | 0x123});
  batch.hi = 63;
  batch.shift = 60;
  EXPECT_EQ(run_partition(batch).status, COLX_DONE);
  for (uint64_t p = 0; p < 16; ++p) {
    EXPECT_EQ(stage().filled_bytes(p), 16u);
    EXPECT_EQ(native_at(stage().records(p) + 8, 8), p << 60 | 0x123);
  }
}

TEST(Partition, EveryFieldOfTheHash) {
  for (const PartitionForm& form : {rid_form, lv_form, fixed_form}) {
    for (unsigned hi = 0; hi < 64; ++hi) {
      for (unsigned width = 0; width <= 6; ++width) {
        if (width > hi + 1) continue;
        Random random(hi);
        PartitionBatch batch = random_partition_batch(form, 20, random);
        batch.hi = static_cast<uint8_t>(hi);
        batch.shift = static_cast<uint8_t>(hi + 1 - width);
        if (batch.shift == 64) continue;
        ASSERT_EQ(partition_difference(batch), "");
      }
    }
  }
}

TEST(Partition, APositionAtOrPastTheRowsBecomesTheRowCountAndOffsetsStay) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(5);
    PartitionBatch batch = random_partition_batch(kernel.form, 20, random);
    for (const uint32_t position : {20u, 21u, 0x80000000u, 0xFFFFFFFFu}) {
      batch.position = position;
      PartitionStage& fresh = partition_stage();
      fresh.set(batch);
      fresh.kctx.colx_kctx_key_offset = 0x123456789AB;
      fresh.kctx.colx_kctx_value_offset = 0x23456789ABC;
      EXPECT_EQ(fresh.call(kernel.kernel).position, 20u);
      EXPECT_EQ(fresh.kctx.colx_kctx_key_offset, 0x123456789ABu);
      EXPECT_EQ(fresh.kctx.colx_kctx_value_offset, 0x23456789ABCu);
      EXPECT_EQ(fresh.kctx.colx_kctx_resume_extra, PartitionStage::dirty_extra);
      EXPECT_EQ(partition_difference(batch), "");
    }
  }
}

TEST(Partition, OffsetsThatTheLayoutsDoNotUseStayAndTheStoppedPartitionIsWrittenOnAStopAlone) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(6);
    PartitionBatch batch = random_partition_batch(kernel.form, 100, random);
    const bool key_offset = oracle::is_stream(kernel.form.key);
    const Carried carried = kernel.form.carried;
    const bool value_offset = carried == Carried::lv || carried == Carried::lv_sep;
    for (const bool stops : {false, true}) {
      if (stops) batch.rooms.assign(16, 0);
      EXPECT_EQ(run_partition(batch).status, stops ? COLX_PARTITION_FULL : COLX_DONE);
      const colx_kctx& kctx = stage().kctx;
      EXPECT_EQ(kctx.colx_kctx_key_offset == PartitionStage::dirty_offset, !key_offset);
      EXPECT_EQ(kctx.colx_kctx_value_offset == PartitionStage::dirty_offset, !value_offset);
      EXPECT_EQ(kctx.colx_kctx_resume_extra == PartitionStage::dirty_extra, !stops);
    }
  }
}

TEST(Partition, AStopInASecondBlockGivesTheOffsetsOfItsRow) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(7);
    PartitionBatch batch = random_partition_batch(kernel.form, 2500, random);
    batch.position = 100;
    run_partition(batch);
    std::vector<uint64_t> rooms;
    for (uint64_t p = 0; p < 16; ++p) rooms.push_back(stage().filled_bytes(p));
    for (uint64_t p = 0; p < 16; ++p) rooms[p] -= p == 9 ? rooms[p] / 3 : 0;
    batch.rooms = rooms;
    const PartitionRun run = run_partition(batch);
    EXPECT_EQ(run.status, COLX_PARTITION_FULL);
    EXPECT_GT(run.position, 1124u);
    EXPECT_EQ(stage().kctx.colx_kctx_resume_extra, 9u);
    EXPECT_EQ(partition_difference(batch), "");
  }
}

TEST(Partition, ARecordAboveItsWholePartitionStopsEveryCallAtItsRow) {
  PartitionBatch batch = batch_of(lv_form, {2, 2, 2});
  batch.value_lengths = {1, 50, 1};
  batch.rooms.assign(16, 59);
  EXPECT_EQ(run_partition(batch).position, 1u);
  batch.position = 1;
  for (int call = 0; call < 3; ++call) {
    const PartitionRun run = run_partition(batch);
    EXPECT_EQ(run.status, COLX_PARTITION_FULL);
    EXPECT_EQ(run.position, 1u);
    EXPECT_EQ(stage().filled_bytes(2), 0u);
  }
}

TEST(Partition, WidthsAre16BitNumbers) {
  for (const PartitionForm& form :
       {PartitionForm{PartitionRecords::lv, KeyLayout::fixed, Carried::fixed},
        PartitionForm{PartitionRecords::fixed, KeyLayout::fixed, Carried::fixed},
        PartitionForm{PartitionRecords::rid, KeyLayout::fixed, Carried::payload}}) {
    PartitionBatch batch = batch_of(form, {1, 2, 3});
    batch.key_bits = 0xABCD0018;
    batch.value_bits = 0x10020;
    batch.value_lengths = {4, 4, 4};
    EXPECT_EQ(partition_difference(batch), "");
    batch.key_bits = batch.value_bits = 0xFFFF;
    batch.value_lengths = {8191, 8191, 8191};
    batch.fixed_len = 0xFFFF;
    EXPECT_EQ(partition_difference(batch), "");
  }
}

TEST(Partition, RowIdsWrapAt64Bits) {
  for (const KeyLayout key : {KeyLayout::hash_values, KeyLayout::gd, KeyLayout::lv}) {
    PartitionBatch batch = batch_of({PartitionRecords::rid, key, Carried::autorid}, {1, 1, 1, 1});
    batch.base_rid = UINT64_MAX - 1;
    EXPECT_EQ(partition_difference(batch), "");
  }
}

// Moves an array down so that its old first row is found at row `first`.
void* moved_down(void* array, uint64_t first, uint64_t row_bytes) {
  return static_cast<uint8_t*>(array) - first * row_bytes;
}

uint64_t row_bytes(KeyLayout layout, uint64_t width_bits) {
  switch (layout) {
    case KeyLayout::fixed:
      return (width_bits & 0xFFFF) >> 3;
    case KeyLayout::lp:
    case KeyLayout::hashrid:
      return 16;
    case KeyLayout::lp_sep:
    case KeyLayout::hash_values:
      return 8;
    case KeyLayout::gd:
      return 4;
    default:
      return 0;
  }
}

void move_rows_down(colx_cv& column, KeyLayout layout, uint64_t width_bits, uint64_t first) {
  column.colx_cv_data = moved_down(column.colx_cv_data, first, row_bytes(layout, width_bits));
  if (layout == KeyLayout::lv_sep || layout == KeyLayout::lp_sep) {
    column.colx_cv_aux = moved_down(column.colx_cv_aux, first, 2);
  }
}

TEST(Partition, RowsUpToTheHighestRowNumber) {
  constexpr uint32_t rows = 1500;
  constexpr uint64_t first = 0xFFFFFFFF - rows;
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(8);
    PartitionStage& fresh = partition_stage();
    const PartitionBatch batch = random_partition_batch(kernel.form, rows, random);
    fresh.set(batch);
    move_rows_down(fresh.src.cv, kernel.form.key, batch.key_bits, first);
    fresh.src.cv.colx_cv_num_of_rows = 0xFFFFFFFF;
    fresh.kctx.colx_kctx_position = first;
    const auto layout = oracle::carried_layout(kernel.form.carried);
    if (layout) move_rows_down(*fresh.payload(), *layout, batch.value_bits, first);
    if (kernel.form.carried == Carried::payload) {
      fresh.payload()->colx_cv_data = moved_down(fresh.payload()->colx_cv_data, first, 8);
    }
    fresh.place_partitions({});
    const oracle::PartitionOutcome expected = fresh.expected();
    set_crash_note("%s, rows up to the highest", kernel.name);
    EXPECT_EQ(fresh.difference(fresh.call(kernel.kernel), expected), "") << kernel.name;
  }
}

TEST(Partition, StreamOffsetsHave64Bits) {
  constexpr uint64_t gigabytes = uint64_t{5} << 30;
  for (const PartitionKernel& kernel : partition_kernels()) {
    const auto layout = oracle::carried_layout(kernel.form.carried);
    const bool value_stream = layout && oracle::is_stream(*layout);
    if (!oracle::is_stream(kernel.form.key) && !value_stream) continue;
    Random random(9);
    PartitionStage& fresh = partition_stage();
    fresh.set(random_partition_batch(kernel.form, 1200, random));
    if (oracle::is_stream(kernel.form.key)) {
      fresh.src.cv.colx_cv_data = moved_down(fresh.src.cv.colx_cv_data, gigabytes, 1);
      fresh.kctx.colx_kctx_key_offset += gigabytes;
    }
    if (value_stream) {
      fresh.payload()->colx_cv_data = moved_down(fresh.payload()->colx_cv_data, gigabytes, 1);
      fresh.kctx.colx_kctx_value_offset += gigabytes;
    }
    fresh.place_partitions({});
    const oracle::PartitionOutcome expected = fresh.expected();
    EXPECT_EQ(fresh.difference(fresh.call(kernel.kernel), expected), "") << kernel.name;
  }
}

}  // namespace
}  // namespace colx::test

// partition, stopped whenever one of its partitions is full, places the rows of one call with room
// for all; and partitions split again hold the same rows as partitions by both fields at once.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/partition_stage.h"

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::KeyLayout;
using oracle::PartitionForm;
using oracle::PartitionRecords;

colx_partition_call* entry() {
  return colx_global_specialized_ctx.colx_sctx_partition;
}

// Bytes of gd records that nobody writes, made equal for comparisons.
void clear_unwritten(const PartitionForm& form, Bytes& records) {
  if (form.key != KeyLayout::gd) return;
  for (size_t at = 0; at < records.size(); at += 24) std::memset(records.data() + at + 12, 0, 4);
}

struct Partitions {
  std::vector<Bytes> records;
  unsigned calls = 0;
  std::string fault;
};

// What one call leaves with room for everything.
Partitions partition_whole(const PartitionBatch& batch) {
  Partitions all;
  EXPECT_EQ(run_partition(batch).status, COLX_DONE);
  PartitionStage& stage = partition_stage();
  for (uint64_t p = 0; p < stage.partitions(); ++p) {
    all.records.push_back(Bytes(stage.records(p), stage.records(p) + stage.filled_bytes(p)));
    clear_unwritten(batch.form, all.records.back());
  }
  return all;
}

// Calls until all rows are placed. Before each call every partition has been emptied and has
// another room of `least` bytes and up to `more` besides.
Partitions partition_in_parts(const PartitionBatch& batch, uint64_t least, uint64_t more,
                              Random& random) {
  PartitionStage& stage = partition_stage();
  stage.set(batch);
  Partitions all;
  all.records.resize(stage.partitions());
  for (uint32_t status = COLX_PARTITION_FULL; status != COLX_DONE; ++all.calls) {
    std::vector<uint64_t> rooms(stage.partitions());
    for (uint64_t& room : rooms) room = least + random.below(more + 1);
    stage.place_partitions(rooms);
    const oracle::PartitionOutcome expected = stage.expected();
    const PartitionRun run = stage.call(entry());
    status = run.status;
    all.fault = stage.difference(run, expected);
    if (!all.fault.empty() || all.calls > 10000) return all;
    for (uint64_t p = 0; p < stage.partitions(); ++p) {
      Bytes& records = all.records[p];
      records.insert(records.end(), stage.records(p), stage.records(p) + stage.filled_bytes(p));
    }
  }
  for (Bytes& records : all.records) clear_unwritten(batch.form, records);
  return all;
}

TEST(PartitionResume, TinyRoomsPlaceTheRowsOfOneCall) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(1);
    PartitionBatch batch = random_partition_batch(kernel.form, 1200, random);
    for (const bool far_apart : {false, true}) {
      batch.far_apart = far_apart;
      const Partitions parts = partition_in_parts(batch, 65, 200, random);
      EXPECT_EQ(parts.fault, "") << kernel.name;
      EXPECT_GT(parts.calls, 5u) << kernel.name;
      EXPECT_TRUE(parts.records == partition_whole(batch).records) << kernel.name;
    }
  }
}

TEST(PartitionResume, RoomForOneRecordAtATime) {
  for (const PartitionKernel& kernel : partition_kernels()) {
    Random random(2);
    PartitionBatch batch = random_partition_batch(kernel.form, 100, random);
    batch.shift = 63;
    batch.hi = 63;
    for (KeyRow& key : batch.keys) key.length = 20;
    for (uint16_t& length : batch.value_lengths) length = 12;
    batch.value_bits = 96;
    batch.fixed_len = 12;
    const uint64_t record_bytes = kernel.form.records == PartitionRecords::lv      ? 22
                                  : kernel.form.records == PartitionRecords::fixed ? 20
                                  : kernel.form.key == KeyLayout::gd               ? 24
                                                                                   : 16;
    const Partitions parts = partition_in_parts(batch, record_bytes, 0, random);
    EXPECT_EQ(parts.fault, "") << kernel.name;
    EXPECT_GT(parts.calls, 30u) << kernel.name;
    EXPECT_TRUE(parts.records == partition_whole(batch).records) << kernel.name;
  }
}

// The records of partition `p` of such a call as a source of their own.
Partitions split_again(const PartitionForm& form, const Bytes& records, uint32_t rows, uint8_t hi,
                       uint8_t shift) {
  PartitionBatch batch;
  batch.form = form;
  batch.hi = hi;
  batch.shift = shift;
  PartitionStage& stage = partition_stage();
  stage.set(batch);
  static GuardedPages pages;
  stage.src.cv.colx_cv_data = pages.place(records, 0, Edge::end);
  stage.src.cv.colx_cv_num_of_rows = rows;
  stage.kctx.colx_kctx_key_offset = 0;
  stage.place_partitions({});
  Partitions all;
  EXPECT_EQ(stage.call(entry()).status, COLX_DONE);
  for (uint64_t p = 0; p < stage.partitions(); ++p) {
    all.records.push_back(Bytes(stage.records(p), stage.records(p) + stage.filled_bytes(p)));
  }
  return all;
}

uint32_t rows_of(const PartitionForm& form, const Bytes& records) {
  if (form.records == PartitionRecords::rid) return static_cast<uint32_t>(records.size() / 16);
  uint32_t rows = 0;
  for (size_t at = 0; at < records.size(); ++rows) {
    uint16_t length;
    std::memcpy(&length, records.data() + at, 2);
    at += length + 2u;
  }
  return rows;
}

// `splits` takes the records that `form` writes.
void expect_two_steps_to_do_what_one_does(const PartitionForm& form, const PartitionForm& splits) {
  Random random(3);
  PartitionBatch batch = random_partition_batch(form, 1500, random);
  batch.hi = 63;
  batch.shift = 58;
  const Partitions at_once = partition_whole(batch);
  batch.shift = 61;
  const Partitions first = partition_whole(batch);
  for (uint64_t p = 0; p < first.records.size(); ++p) {
    const Partitions second =
        split_again(splits, first.records[p], rows_of(splits, first.records[p]), 60, 58);
    for (uint64_t q = 0; q < 8; ++q) {
      EXPECT_TRUE(second.records[q] == at_once.records[8 * p + q])
          << oracle::partition_name(form) << ", partition " << p << "." << q;
    }
  }
}

TEST(PartitionResume, PartitionsOfLvRecordsAreSplitAgainByOtherBits) {
  const PartitionForm splits = {PartitionRecords::lv, KeyLayout::lv, Carried::nothing};
  for (const PartitionKernel& kernel : partition_kernels()) {
    if (kernel.form.records != PartitionRecords::lv) continue;
    if (kernel.form.carried == Carried::nothing) continue;
    expect_two_steps_to_do_what_one_does(kernel.form, splits);
  }
}

TEST(PartitionResume, PartitionsOfRowIdRecordsAreSplitAgainByOtherBits) {
  const PartitionForm splits = {PartitionRecords::rid, KeyLayout::hashrid, Carried::nothing};
  for (const PartitionKernel& kernel : partition_kernels()) {
    if (kernel.form.records != PartitionRecords::rid || kernel.form.key == KeyLayout::gd) continue;
    if (kernel.form.carried == Carried::nothing) continue;
    expect_two_steps_to_do_what_one_does(kernel.form, splits);
  }
}

}  // namespace
}  // namespace colx::test

// A probe whose output is too small: what counts, where it stops and goes on; and columns whose
// positions take more than 32 bits or lie at the end.
#include <gtest/gtest.h>

#include <map>

#include "tests/oracle/native_numbers.h"
#include "tests/support/build_stage.h"
#include "tests/support/probe_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_passes.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;
using oracle::RidValue;

// A table, and rows of the same few tags.
JoinRows set_up(ProbeStage& stage, const ProbeKernel& kernel, uint32_t rows, Random& random) {
  const TableShape shape = table_shape(table_type(kernel), static_cast<unsigned>(random.below(3)),
                                       static_cast<unsigned>(random.below(3)),
                                       static_cast<unsigned>(random.below(2)), 30);
  stage.table.set(shape);
  const auto tags = static_cast<uint32_t>(4 + random.below(60));
  const uint64_t tags_seed = random.next();
  Random table_tags(tags_seed), row_tags(tags_seed);
  fill_at_random(stage.table,
                 kernel.form.layout == KeyLayout::gd ? TableKeys::codes : TableKeys::tags, 60, tags,
                 table_tags);
  return join_rows(kernel, meeting_rows(shape, rows, tags, row_tags), random);
}

TEST(ProbeResume, AFewRecordsAtATimeGiveTheRecordsOfOneCall) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    for (const uint32_t rows : {50u, 1100u}) {
      for (const uint32_t records : {1u, 2u, 3u, 7u}) {
        if (rows > 1000 && records < 7) continue;
        const uint64_t seed = mixed_seed(rows, records);
        Random random(seed);
        const JoinRows all = set_up(stage, kernel, rows, random);
        stage.set_rows(all, kernel.form.form.value_bytes);
        std::vector<RidValue> by_and_by;
        EXPECT_EQ(probe_by_and_by(stage, kernel, records, by_and_by), "") << "seed " << seed;
        stage.set_rows(all, kernel.form.form.value_bytes);
        stage.set_room(static_cast<uint32_t>(by_and_by.size() + 10));
        EXPECT_EQ(stage.difference(kernel), "") << "seed " << seed;
        EXPECT_EQ(stage.status, COLX_DONE);
        EXPECT_EQ(stage.counted, by_and_by) << kernel.name << ", seed " << seed;
      }
    }
  }
}

TEST(ProbeResume, StreamsStopAndGoOnInTheMiddleOfABlock) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    if (!oracle::is_stream(kernel.form.layout)) continue;
    Random random(9);
    stage.table.set(table_shape(table_type(kernel), 0, 0, 0, 0));
    const oracle::TableRow stored[] = {{5, 5, 50}};
    oracle::insert_rows(kernel.form.form, oracle::bucket_choice(stage.table.ht, false),
                        stage.table.ht.colx_ht_buckets, stage.table.ht.colx_ht_over_cur,
                        stage.table.ht.colx_ht_over_end, stored, true);
    std::vector<KeyRow> rows(1200);
    for (KeyRow& row : rows) {
      row = {.hash = 5, .length = static_cast<uint16_t>(8 + random.below(200))};
    }
    stage.set_rows(join_rows(kernel, rows, random), kernel.form.form.value_bytes);
    for (uint32_t stopped = 100; stopped < 1200; stopped += 100) {
      stage.set_room(100);
      EXPECT_EQ(stage.difference(kernel), "");
      ASSERT_EQ(stage.status, COLX_PROBE_FULL);
      EXPECT_EQ(stage.kctx.colx_kctx_position, stopped);
      EXPECT_EQ(stage.kctx.colx_kctx_key_offset, stage.keys.stream_offset(stopped));
    }
    stage.set_room(100);
    EXPECT_EQ(stage.difference(kernel), "");
    EXPECT_EQ(stage.status, COLX_DONE);
    EXPECT_EQ(stage.kctx.colx_kctx_key_offset, stage.keys.stream_offset(1200));
  }
}

// A table of one bucket: `tag` once for each of `counts`, values 1, 2, ...
ProbeStage& table_of(std::vector<std::pair<uint64_t, unsigned>> counts) {
  ProbeStage& stage = probe_stage();
  stage.table.set(table_shape(COLX_HT_K2V4, 0, 0, 0, 10));
  std::vector<oracle::TableRow> rows;
  for (const auto& [tag, count] : counts) {
    for (unsigned i = 0; i < count; ++i) {
      rows.push_back({tag, static_cast<uint32_t>(tag), rows.size() + 1});
    }
  }
  oracle::insert_rows(stage.table.shape().form(), oracle::bucket_choice(stage.table.ht, false),
                      stage.table.ht.colx_ht_buckets, stage.table.ht.colx_ht_over_cur,
                      stage.table.ht.colx_ht_over_end, rows, true);
  return stage;
}

void set_hashes(ProbeStage& stage, std::vector<uint64_t> hashes) {
  JoinRows rows;
  for (const uint64_t hash : hashes) rows.keys.rows.push_back({.hash = hash});
  stage.set_rows(rows, 4);
}

TEST(ProbeResume, WithoutRoomTheFirstHitStopsAtItsRow) {
  ProbeStage& stage = table_of({{7, 1}});
  set_hashes(stage, {1, 2, 7, 3});
  stage.set_room(0);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_PROBE_FULL);
  EXPECT_EQ(stage.kctx.colx_kctx_position, 2u);
  EXPECT_EQ(stage.res.colx_cv_num_of_rows, 0u);
}

TEST(ProbeResume, WithoutRoomAColumnWithoutHitsIsDone) {
  ProbeStage& stage = table_of({{7, 1}});
  set_hashes(stage, std::vector<uint64_t>(3000, 8));
  stage.set_room(0);
  stage.res.colx_cv_data = stage.res.colx_cv_aux;  // unreadable
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
  EXPECT_EQ(stage.kctx.colx_kctx_position, 3000u);
}

TEST(ProbeResume, ARowThatFillsTheOutputToItsEndIsFollowedByRowsWithoutHits) {
  ProbeStage& stage = table_of({{7, 2}});
  set_hashes(stage, {7, 1, 2, 3});
  stage.set_room(2);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
  EXPECT_EQ(stage.res.colx_cv_num_of_rows, 2u);

  set_hashes(stage, {7, 1, 7});
  stage.set_room(2);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_PROBE_FULL);
  EXPECT_EQ(stage.kctx.colx_kctx_position, 2u);
  EXPECT_EQ(stage.res.colx_cv_num_of_rows, 2u);
}

TEST(ProbeResume, ARowHalfWrittenIsNotCountedAndComesAgainFromItsFirstHit) {
  ProbeStage& stage = table_of({{7, 2}, {8, 3}});
  set_hashes(stage, {7, 8, 7});
  stage.set_room(4);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_PROBE_FULL);
  EXPECT_EQ(stage.kctx.colx_kctx_position, 1u);
  EXPECT_EQ(stage.res.colx_cv_num_of_rows, 2u);
  EXPECT_EQ(stage.uncounted, (std::vector<RidValue>{{1, 3}, {1, 4}}));  // they stay in the array

  stage.set_room(4);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.counted, (std::vector<RidValue>{{1, 3}, {1, 4}, {1, 5}}));
  EXPECT_EQ(stage.status, COLX_PROBE_FULL);
  EXPECT_EQ(stage.kctx.colx_kctx_position, 2u);
}

TEST(ProbeResume, ARowWithMoreHitsThanTheWholeOutputMakesNoProgress) {
  ProbeStage& stage = table_of({{7, 30}});
  set_hashes(stage, {7});
  for (int again = 0; again < 3; ++again) {
    stage.set_room(29);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.status, COLX_PROBE_FULL);
    EXPECT_EQ(stage.kctx.colx_kctx_position, 0u);
    EXPECT_EQ(stage.res.colx_cv_num_of_rows, 0u);
    EXPECT_EQ(stage.uncounted.size(), 29u);
  }
  stage.set_room(30);
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
}

TEST(ProbeResume, EachCallWritesFromTheStartOfTheOutput) {
  ProbeStage& stage = table_of({{7, 1}});
  set_hashes(stage, {7, 7, 7});
  for (uint64_t row = 0; row < 3; ++row) {
    stage.set_room(1);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.counted, (std::vector<RidValue>{{row, 1}}));
  }
  EXPECT_EQ(stage.status, COLX_DONE);
}

// The room is what the blocks before have left.
TEST(ProbeResume, TheOutputFillsUpInALaterBlock) {
  ProbeStage& stage = table_of({{7, 1}});
  for (const uint32_t room : {1023u, 1024u, 1025u, 2047u, 2048u, 2049u}) {
    set_hashes(stage, std::vector<uint64_t>(2500, 7));
    stage.set_room(room);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.status, COLX_PROBE_FULL);
    EXPECT_EQ(stage.kctx.colx_kctx_position, room);
  }
}

TEST(ProbeResume, RoomIsCountedIn32BitsToItsTop) {
  ProbeStage& stage = table_of({{7, 3}});
  set_hashes(stage, std::vector<uint64_t>(1100, 7));
  stage.set_room(3300);
  stage.res.colx_cv_num_of_rows = 0xFFFFFFFF;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.status, COLX_DONE);
  EXPECT_EQ(stage.res.colx_cv_num_of_rows, 3300u);
}

TEST(ProbeResume, HashValuesNeedNoHashFunction) {
  ProbeStage& stage = table_of({{7, 3}});
  set_hashes(stage, {7, 8});
  stage.set_room(3);
  stage.fn = nullptr;
  EXPECT_EQ(stage.entry_difference(), "");
  EXPECT_EQ(stage.counted.size(), 3u);
  stage.fn = chosen_hash;
}

TEST(ProbeResume, APositionAtOrPastTheRowCountIsSetBackToIt) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    for (const uint32_t position : {9u, 10u, 2000u, 0xFFFFFFFFu}) {
      Random random(position);
      stage.set_rows(set_up(stage, kernel, 9, random), kernel.form.form.value_bytes);
      stage.set_room(5);
      stage.kctx.colx_kctx_position = position;
      stage.kctx.colx_kctx_key_offset = stage.keys.stream_offset(9);
      EXPECT_EQ(stage.difference(kernel), "");
      EXPECT_EQ(stage.status, COLX_DONE);
      EXPECT_EQ(stage.kctx.colx_kctx_position, 9u);
      EXPECT_EQ(stage.res.colx_cv_num_of_rows, 0u);
    }
  }
}

TEST(ProbeResume, NoRowsAreDoneWithNoRecords) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    Random random(1);
    stage.set_rows(set_up(stage, kernel, 0, random), kernel.form.form.value_bytes);
    stage.set_room(3);
    EXPECT_EQ(stage.difference(kernel), "");
    EXPECT_EQ(stage.status, COLX_DONE);
    EXPECT_EQ(stage.res.colx_cv_num_of_rows, 0u);
  }
}

// Rows far into a column: what stands before them need not exist.

void* moved_back(void* at, uint64_t bytes) {
  return reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(at) - bytes);
}

TEST(ProbeResume, RowsAndStreamsBeyondFourGigabytes) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    for (const uint32_t first : {0x7FFFFFF0u, 0x80000000u, 0xFFFFFF00u}) {
      Random random(first);
      const JoinRows rows = set_up(stage, kernel, 20, random);
      stage.set_rows(rows, kernel.form.form.value_bytes);
      stage.set_room(400);
      const std::map<KeyLayout, uint64_t> row_bytes = {{KeyLayout::fixed, rows.keys.width_bits / 8},
                                                       {KeyLayout::lv, 9},
                                                       {KeyLayout::lv_sep, 9},
                                                       {KeyLayout::lp, 16},
                                                       {KeyLayout::lp_sep, 8},
                                                       {KeyLayout::hash_values, 8},
                                                       {KeyLayout::gd, 4}};
      colx_cv& src = stage.keys.cv;
      src.colx_cv_data = moved_back(src.colx_cv_data, first * row_bytes.at(kernel.form.layout));
      src.colx_cv_aux = moved_back(src.colx_cv_aux, 2 * uint64_t{first});
      if (!kernel.form.autorid) {
        stage.payload.cv.colx_cv_data = moved_back(stage.payload.cv.colx_cv_data,
                                                   first * uint64_t{kernel.form.form.value_bytes});
      }
      src.colx_cv_num_of_rows = first + 20;
      stage.kctx.colx_kctx_position = first;
      stage.kctx.colx_kctx_key_offset = first * uint64_t{9};
      EXPECT_EQ(stage.difference(kernel), "") << "from row " << first;
      EXPECT_EQ(stage.kctx.colx_kctx_position, first + 20);
    }
  }
}

// A probe starts at the first entry and keeps the partition bits unless the fields are equal.
TEST(ProbeResume, OnePartitionIsToldByEqualFieldsNotByEqualMasks) {
  ProbeStage& stage = probe_stage();
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
    std::vector<uint64_t> hashes;
    std::vector<oracle::TableRow> stored;
    for (int i = 0; i < 60; ++i) {
      const uint64_t hash = random.bits(20) & 0xF000F;
      hashes.push_back(hash);
      if (i % 2 == 0) stored.push_back({hash, oracle::tag_of(shape.form(), hash), random.next()});
    }
    oracle::insert_rows(shape.form(), oracle::bucket_choice(stage.table.ht, false),
                        stage.table.ht.colx_ht_buckets, stage.table.ht.colx_ht_over_cur,
                        stage.table.ht.colx_ht_over_end, stored, false);
    set_hashes(stage, hashes);
    stage.set_room(500);
    EXPECT_EQ(stage.entry_difference(), "") << int{part_hi};
    EXPECT_FALSE(stage.counted.empty());
  }
}

// The whole road: rows built by the kernels a bucket of room at a time, probed a record at a time,
// give every pair of equal tag and bucket once.
TEST(ProbeResume, JoinsWhatABuildHasStored) {
  BuildStage& built = build_stage();
  ProbeStage& probing = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    Random random(table_type(kernel));
    const BuildKernel& building = build_kernel_named(
        "colx_ht_build" + std::string(kernel.name).substr(std::string("colx_ht_probe").size()));
    const TableShape shape = table_shape(table_type(kernel), 2, 1, 0, 120);
    const std::vector<KeyRow> rows = meeting_rows(shape, 250, 40, random);
    built.table.set(shape);
    built.set_rows(join_rows(building, rows, random), building.form.form.value_bytes);
    EXPECT_EQ(build_bucket_by_bucket(built, building, true, random), "");

    probing.table.set(shape);
    const colx_ht own = probing.table.ht;
    probing.table.ht.colx_ht_buckets = built.table.ht.colx_ht_buckets;
    const JoinRows asked = join_rows(kernel, rows, random);
    probing.set_rows(asked, kernel.form.form.value_bytes);
    const std::vector<oracle::TableRow> pairs =
        oracle::row_block(kernel.form.form, kernel.form.layout, true, probing.keys.cv,
                          probing.payload.cv, 0, 0, chosen_hash)
            .rows;
    std::vector<RidValue> all;
    EXPECT_EQ(probe_by_and_by(probing, kernel, 5, all), "");
    const oracle::BucketChoice choice = oracle::bucket_choice(own, false);
    const auto bucket_of = [&](const oracle::TableRow& row) {
      return oracle::first_bucket(kernel.form.form, choice, own.colx_ht_buckets, row.hash);
    };
    uint64_t expected = 0;
    for (const oracle::TableRow& a : pairs) {
      for (const oracle::TableRow& b : pairs) {
        expected += a.key == b.key && bucket_of(a) == bucket_of(b) ? 1 : 0;
      }
    }
    EXPECT_EQ(all.size(), expected) << kernel.name;
  }
}

}  // namespace
}  // namespace colx::test

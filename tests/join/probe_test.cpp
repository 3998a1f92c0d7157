// colx_ht_probe_dydi and the 52 kernels behind it: which kernel serves what, and which records a
// column finds in a table.
#include <gtest/gtest.h>

#include "tests/join/dispatch_trials.h"
#include "tests/support/probe_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_passes.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;
using oracle::RidValue;

TableKeys table_keys(KeyLayout layout) {
  return layout == KeyLayout::gd ? TableKeys::codes : TableKeys::tags;
}

// A table, and rows of the same few tags to probe it with.
std::vector<KeyRow> set_table(ProbeStage& stage, const TableShape& shape, KeyLayout layout,
                              uint32_t table_rows, uint32_t rows, uint32_t tags, Random& random) {
  stage.table.set(shape);
  const uint64_t tags_seed = random.next();
  Random table_tags(tags_seed), row_tags(tags_seed);
  fill_at_random(stage.table, table_keys(layout), table_rows, tags, table_tags);
  return meeting_rows(shape, rows, tags, row_tags);
}

TEST(Probe, EveryKernelOnEverySplitOfTheHash) {
  EXPECT_EQ(probe_kernels().size(), 52u);
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    uint64_t records = 0;
    for (const HashSplit bits : hash_splits) {
      for (const uint32_t rows : {0u, 1u, 2u, 40u, 1023u, 1024u, 1025u, 2100u}) {
        const uint64_t seed = mixed_seed(rows, bits.bucket + 10 * bits.part + 100 * bits.low);
        Random random(seed);
        const TableShape shape = table_shape(table_type(kernel), bits.bucket, bits.part, bits.low,
                                             static_cast<uint32_t>(random.below(3) * 30));
        const auto table_rows = static_cast<uint32_t>(random.below(100));
        const auto tags = static_cast<uint32_t>(5 + random.below(100));
        stage.set_rows(
            join_rows(kernel,
                      set_table(stage, shape, kernel.form.layout, table_rows, rows, tags, random),
                      random),
            kernel.form.form.value_bytes);
        stage.set_room(rows * 30 + 10);
        EXPECT_EQ(stage.difference(kernel), "") << "seed " << seed;
        records += stage.counted.size();
      }
    }
    EXPECT_GT(records, 1000u) << kernel.name;
  }
}

TEST(Probe, ColumnsMayLieAtAnyAddress) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    for (size_t slack_bytes = 1; slack_bytes < 16; ++slack_bytes) {
      Random random(slack_bytes);
      const TableShape shape = table_shape(table_type(kernel), 1, 1, 0, 40);
      JoinRows rows = join_rows(
          kernel, set_table(stage, shape, kernel.form.layout, 50, 71, 20, random), random);
      rows.keys.edge = Edge::end;
      rows.keys.slack_bytes = slack_bytes;
      stage.set_rows(rows, kernel.form.form.value_bytes);
      stage.set_room(2000);
      EXPECT_EQ(stage.difference(kernel), "") << slack_bytes;
      EXPECT_EQ(stage.status, COLX_DONE);
    }
  }
}

TEST(Probe, TheEntryGivesWhatTheNamedKernelGives) {
  ProbeStage& stage = probe_stage();
  for (const ProbeKernel& kernel : probe_kernels()) {
    Random random(table_type(kernel));
    const TableShape shape = table_shape(table_type(kernel), 1, 1, 0, 40);
    stage.set_rows(
        join_rows(kernel, set_table(stage, shape, kernel.form.layout, 50, 100, 20, random), random),
        kernel.form.form.value_bytes);
    stage.set_room(2000, Place::middle);
    EXPECT_EQ(stage.entry_difference(), "") << kernel.name;
    EXPECT_EQ(stage.status, COLX_DONE);
    EXPECT_FALSE(stage.counted.empty()) << kernel.name;
  }
}

// Of every type, with every pair of flags: the first that serves decides, and where none does
// nothing is touched. Columns lie in the layout that is to be picked; all else is unreadable.
std::string served_as_told(const DispatchTrial& trial) {
  const auto [type, src_flags, payload_flags] = trial;
  ProbeStage& stage = probe_stage();
  Random random(mixed_seed(type, src_flags ^ payload_flags));
  const auto picked = oracle::probe_kernel(type, src_flags, payload_flags);
  const TableShape shape = table_shape(picked.has_value() ? picked->form.type : 1, 1, 0, 0, 5);
  JoinRows rows;
  rows.keys.layout = picked.has_value() ? picked->layout : KeyLayout::hash_values;
  rows.keys.rows =
      set_table(stage, shape, rows.keys.layout, 12, picked.has_value() ? 12 : 0, 6, random);
  stage.table.ht.colx_ht_type = type;
  rows.values.resize(rows.keys.rows.size(), 7);
  rows.autorid = (payload_flags & COLX_AUTORID) != 0;
  stage.set_rows(rows, shape.form().value_bytes);
  stage.set_room(200);
  stage.keys.encoding.colx_enc_ctx_flags = src_flags;
  stage.payload.encoding.colx_enc_ctx_flags = payload_flags;
  if (!picked.has_value()) {
    stage.keys.cv.colx_cv_data = stage.keys.cv.colx_cv_aux;  // unreadable, as are 12 rows
    stage.keys.cv.colx_cv_num_of_rows = 12;
    stage.kctx.colx_kctx_position = 3;
  }
  return stage.entry_difference();
}

TEST(Probe, TheDispatchGoesByTypeThenByFlagsInTheirOrder) {
  unsigned served = 0;
  for_each_dispatch_trial([&served](const DispatchTrial& trial) {
    EXPECT_EQ(served_as_told(trial), "")
        << std::hex << "type 0x" << trial.type << ", flags 0x" << trial.src_flags << ", payload 0x"
        << trial.payload_flags;
    served += probe_stage().status == COLX_DONE ? 1 : 0;
  });
  EXPECT_GT(served, 2500u);
}

TEST(Probe, RecordsOfHashAndRowIdAreNotServed) {
  for (const uint32_t type : {1u, 2u, 4u, 8u}) {
    EXPECT_EQ(served_as_told({type, COLX_HASHRID, COLX_AUTORID}), "");
    EXPECT_EQ(probe_stage().status, COLX_NOT_SERVED);
  }
  for (const uint32_t type : {0x1004u, 0x1008u}) {
    EXPECT_EQ(served_as_told({type, COLX_HASHGD, COLX_AUTORID}), "");
    EXPECT_EQ(probe_stage().status, COLX_NOT_SERVED);
  }
}

TEST(Probe, DictionaryKeysAreNotServed) {
  for (const uint32_t type : {1u, 2u, 4u, 8u}) {
    EXPECT_EQ(served_as_told({type, COLX_DICT, COLX_AUTORID}), "");
    EXPECT_EQ(probe_stage().status, COLX_NOT_SERVED);
  }
}

TEST(Probe, ALengthPrefixedRecordOfHashValuesIsAKeyToProbeWith) {
  EXPECT_EQ(served_as_told({COLX_HT_K2V4, COLX_LV | COLX_HASH_VALUES, COLX_AUTORID}), "");
  EXPECT_EQ(probe_stage().status, COLX_DONE);
}

// A table of one bucket with the given header and the tags 1, 2, ... and values 101, 102, ...
void one_bucket(uint32_t type, uint8_t header, std::vector<uint32_t> tags) {
  TableMemory& table = probe_stage().table;
  table.set(table_shape(type, 0, 0, 0, 2));
  const oracle::TableForm& form = table.shape().form();
  std::vector<oracle::TableRow> rows;
  for (const uint32_t tag : tags) rows.push_back({tag, tag, 100 + rows.size() + 1});
  oracle::insert_rows(form, oracle::bucket_choice(table.ht, false), table.ht.colx_ht_buckets,
                      table.ht.colx_ht_over_cur, table.ht.colx_ht_over_end, rows, true);
  *table.bucket(0, 0) = header;
}

// What probing hashes gives, row ids 0 and up.
std::vector<RidValue> found(std::vector<uint64_t> hashes, uint32_t room = 50) {
  ProbeStage& stage = probe_stage();
  JoinRows rows;
  for (const uint64_t hash : hashes) rows.keys.rows.push_back({.hash = hash});
  stage.set_rows(rows, 8);
  stage.set_room(room);
  EXPECT_EQ(stage.entry_difference(), "");
  return stage.counted;
}

TEST(Probe, AnEmptyBucketYieldsNothingThoughItsSlotsHoldTheKey) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    one_bucket(form.type, 0x00, {7, 7});
    EXPECT_TRUE(found({7, 8, 7}).empty()) << form.name;
    one_bucket(form.type, 0x01, {7, 7});
    EXPECT_EQ(found({7}), (std::vector<RidValue>{{0, 101}})) << form.name;
  }
}

TEST(Probe, AKeyTwiceInAnUnmarkedBucketYieldsTwoRecordsInSlotOrder) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    one_bucket(form.type, 0x03, {7, 8, 7});
    EXPECT_EQ(found({7}), (std::vector<RidValue>{{0, 101}, {0, 103}})) << form.name;
  }
}

TEST(Probe, AHitInAMarkedBucketEndsTheRow) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    one_bucket(form.type, 0x43, {7, 8, 7});
    EXPECT_EQ(found({7, 7, 8}), (std::vector<RidValue>{{0, 101}, {1, 101}, {2, 102}})) << form.name;
  }
}

// Full first bucket of 10, 11, ..., behind it `behind`.
void two_buckets(const oracle::TableForm& form, std::vector<uint32_t> behind, bool marked) {
  std::vector<uint32_t> tags;
  for (uint32_t i = 0; i < form.slots; ++i) tags.push_back(10 + i);
  tags.insert(tags.end(), behind.begin(), behind.end());
  one_bucket(form.type, static_cast<uint8_t>(0x80 | (marked ? 0x40 : 0) | form.slots), tags);
}

TEST(Probe, AHitInAMarkedBucketEndsTheRowThoughTheChainGoesOn) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    two_buckets(form, {10, 99}, true);
    EXPECT_EQ(found({10}), (std::vector<RidValue>{{0, 101}})) << form.name;
    EXPECT_EQ(found({99}), (std::vector<RidValue>{{0, 102u + form.slots}})) << form.name;
  }
}

TEST(Probe, AnUnmarkedBucketIsSearchedToItsEndAndSoIsItsChain) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    two_buckets(form, {10, 99}, false);
    EXPECT_EQ(found({10}), (std::vector<RidValue>{{0, 101}, {0, 101u + form.slots}})) << form.name;
  }
}

// Each bucket's own mark counts: the one behind may be marked where the first is not.
TEST(Probe, TheMarkOfALaterBucketEndsTheRowThere) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    two_buckets(form, {10, 10}, false);
    *probe_stage().table.overflow(0, 0) = 0x42;
    EXPECT_EQ(found({10}), (std::vector<RidValue>{{0, 101}, {0, 101u + form.slots}})) << form.name;
    *probe_stage().table.overflow(0, 0) = 0x02;
    EXPECT_EQ(found({10}).size(), 3u) << form.name;
  }
}

TEST(Probe, ATagHitIsAHitWhateverTheKeys) {
  one_bucket(COLX_HT_K2V4, 0x41, {0x1234});
  EXPECT_EQ(found({0xAAAA000000001234, 0x1234}), (std::vector<RidValue>{{0, 101}, {1, 101}}));
  one_bucket(COLX_HT_K4V4, 0x41, {0x12345678});
  EXPECT_EQ(found({0xAAAA000012345678, 0x5678}), (std::vector<RidValue>{{0, 101}}));
}

TEST(Probe, EverySlotOfEveryFormIsFound) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    two_buckets(form, {50, 51}, true);
    for (uint32_t slot = 0; slot < form.slots; ++slot) {
      EXPECT_EQ(found({10 + slot}), (std::vector<RidValue>{{0, 101u + slot}})) << form.name;
    }
  }
}

// Row ids are whole in tables of 4-byte values, elements of the payload array have 4 bytes there.
TEST(Probe, TheCutTo4BytesBelongsToThePayloadArray) {
  for (const oracle::TableForm& form : oracle::table_forms) {
    one_bucket(form.type, 0x41, {7});
    ProbeStage& stage = probe_stage();
    JoinRows rows;
    rows.keys.rows = {{.hash = 5}, {.hash = 7}};
    rows.base_rid = 0xFFFFFFFF00000000;
    stage.set_rows(rows, form.value_bytes);
    stage.set_room(5);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.counted, (std::vector<RidValue>{{0xFFFFFFFF00000001, 101}})) << form.name;

    rows.autorid = false;
    rows.values = {0, 0x1122334455667788};
    stage.set_rows(rows, form.value_bytes);
    stage.set_room(5);
    EXPECT_EQ(stage.entry_difference(), "");
    const uint64_t value = form.value_bytes == 8 ? 0x1122334455667788u : 0x55667788u;
    EXPECT_EQ(stage.counted, (std::vector<RidValue>{{value, 101}})) << form.name;
  }
}

TEST(Probe, CodesMeetCodesAndNotHashes) {
  ProbeStage& stage = probe_stage();
  for (const uint32_t type : {COLX_HT_K4V8, COLX_HT_K4V4}) {
    one_bucket(type, 0x43, {1, 2, 3});
    stage.table.ht.colx_ht_type = type | COLX_HT_GD;
    JoinRows rows;
    rows.keys.layout = KeyLayout::gd;
    rows.keys.rows = {{.code = 3}, {.code = 4}, {.code = 1}};
    stage.set_rows(rows, 8);
    stage.set_room(9);
    EXPECT_EQ(stage.entry_difference(), "");
    EXPECT_EQ(stage.counted, (std::vector<RidValue>{{0, 103}, {2, 101}}));
  }
}

}  // namespace
}  // namespace colx::test

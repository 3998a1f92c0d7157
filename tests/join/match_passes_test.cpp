// The passes of the probe by name: rows of one block, the hint of the prefetch pass forced both
// ways, with any room, on tables whose marks are true or not.
#include <gtest/gtest.h>

#include <set>

#include "tests/oracle/native_numbers.h"
#include "tests/oracle/probe_oracle.h"
#include "tests/support/crash_note.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_passes.h"

namespace colx::test {
namespace {

using oracle::BucketChoice;

struct Case {
  TableShape shape;
  uint32_t table_rows;
  uint32_t rows;
  uint32_t tags;
};

Case random_case(const oracle::TableForm& form, Random& random) {
  constexpr uint32_t counts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 200, 1023, 1024};
  Case c;
  c.table_rows = static_cast<uint32_t>(random.below(80));
  c.rows = random.pick<uint32_t>(counts);
  c.tags = static_cast<uint32_t>(1 + random.below(40));
  c.shape = table_shape(
      form.type, static_cast<unsigned>(random.below(4)), static_cast<unsigned>(random.below(3)),
      static_cast<unsigned>(random.below(3)), static_cast<uint32_t>(random.below(20)));
  return c;
}

// The probing rows come of the same few tags as the table's.
std::vector<KeyRow> set_up(TableMemory& table, oracle::KeyLayout layout, const Case& c,
                           Random& random) {
  table.set(c.shape);
  const uint64_t tags_seed = random.next();
  Random table_tags(tags_seed), row_tags(tags_seed);
  fill_at_random(table, layout == oracle::KeyLayout::gd ? TableKeys::codes : TableKeys::tags,
                 c.table_rows, c.tags, table_tags);
  return meeting_rows(c.shape, c.rows, c.tags, row_tags);
}

TEST(MatchPrefetchPass, TellsWhetherNoRowsFirstBucketIsChained) {
  EXPECT_EQ(match_prefetch_passes().size(), 4u);
  TableMemory table;
  PassColumn column;
  for (const PrefetchPass& pass : match_prefetch_passes()) {
    std::set<uint32_t> answers;
    for (uint64_t seed = 0; seed < 400; ++seed) {
      Random random(seed);
      const Case c = random_case(pass.form, random);
      column.set(pass.layout, true, c.shape, set_up(table, pass.layout, c, random), random);
      const BucketChoice choice = oracle::bucket_choice(table.ht, random.one_in(4));
      set_crash_note("%s, seed %llu", pass.name, static_cast<unsigned long long>(seed));
      const uint32_t answer = pass.call(column.rows, table.ht.colx_ht_buckets, choice);
      EXPECT_EQ(answer,
                oracle::none_chained(pass.form, choice, table.ht.colx_ht_buckets, column.meaning)
                    ? 1u
                    : 0u)
          << pass.name << ", seed " << seed;
      answers.insert(answer);
    }
    EXPECT_EQ(answers.size(), 2u) << pass.name;
  }
}

// A full bucket without a successor is no chain.
TEST(MatchPrefetchPass, DoesNotLookAtTheNumberOfSlots) {
  TableMemory table;
  PassColumn column;
  for (const PrefetchPass& pass : match_prefetch_passes()) {
    Random random(1);
    table.set(table_shape(pass.form.type, 0, 0, 0, 0));
    for (size_t rows = 0; rows <= 9; ++rows) {
      for (unsigned header = 0; header < 128; ++header) {
        *table.bucket(0, 0) = static_cast<uint8_t>(header);
        column.set(pass.layout, true, table.shape(), std::vector<KeyRow>(rows), random);
        EXPECT_EQ(pass.call(column.rows, table.ht.colx_ht_buckets,
                            oracle::bucket_choice(table.ht, false)),
                  1u)
            << pass.name << ", header " << header;
      }
    }
  }
}

// Records as they have to lie in the output: all that was written, dirt behind it.
Bytes output_bytes(const std::vector<oracle::RidValue>& written, size_t room) {
  Bytes all(16 * room);
  for (size_t i = 0; i < all.size(); ++i) all[i] = GuardedOutput::dirty_byte(i);
  for (size_t i = 0; i < written.size(); ++i) {
    oracle::put_native(all.data() + 16 * i, written[i].rid, 8);
    oracle::put_native(all.data() + 16 * i + 8, written[i].value, 8);
  }
  return all;
}

struct MatchCall {
  uint64_t room;
  uint32_t flag;
};

std::string match_difference(const MatchPass& pass, TableMemory& table, PassColumn& column,
                             const BucketChoice& choice, MatchCall call) {
  static GuardedOutput output, stop_output;
  const oracle::MatchOutcome expected = oracle::match_rows(
      pass.form, choice, table.ht.colx_ht_buckets, column.meaning, call.room, call.flag == 1);
  uint8_t* const out = output.bytes(16 * call.room, Place::end);
  auto* const stop_row = reinterpret_cast<uint32_t*>(stop_output.bytes(4, Place::end));
  const Bytes table_before = table.bytes();
  const uint32_t counted =
      pass.call(out, column.rows, call.room, stop_row, table.ht.colx_ht_buckets, choice, call.flag);
  if (counted != expected.counted) {
    return "counted " + std::to_string(counted) + ", not " + std::to_string(expected.counted);
  }
  if (*stop_row != expected.stop_row) {
    return "stopped at " + std::to_string(*stop_row) + ", not " + std::to_string(expected.stop_row);
  }
  const Bytes records = output_bytes(expected.written, call.room);
  for (size_t i = 0; i < records.size(); ++i) {
    if (out[i] != records[i]) {
      return "record " + std::to_string(i / 16) + ", byte " + std::to_string(i % 16);
    }
  }
  for (const GuardedOutput* guarded : {&output, &stop_output}) {
    if (std::string text = guarded->damage(); !text.empty()) return text;
  }
  if (std::string text = table.difference(table_before); !text.empty()) return text;
  return column.damage();
}

TEST(MatchPass, WritesTheHitsOfEveryRowInOrder) {
  EXPECT_EQ(match_passes().size(), 12u);
  TableMemory table;
  PassColumn column;
  for (const MatchPass& pass : match_passes()) {
    for (uint64_t seed = 0; seed < 300; ++seed) {
      Random random(seed);
      const Case c = random_case(pass.form, random);
      column.set(pass.layout, pass.autorid, c.shape, set_up(table, pass.layout, c, random), random);
      const BucketChoice choice = oracle::bucket_choice(table.ht, random.one_in(4));
      const MatchCall call = {uint64_t{c.rows} * (c.table_rows + 1),
                              static_cast<uint32_t>(seed % 2)};
      set_crash_note("%s, seed %llu", pass.name, static_cast<unsigned long long>(seed));
      EXPECT_EQ(match_difference(pass, table, column, choice, call), "")
          << pass.name << ", seed " << seed;
    }
  }
}

TEST(MatchPass, EndsAtTheFirstRecordWithoutRoom) {
  TableMemory table;
  PassColumn column;
  for (const MatchPass& pass : match_passes()) {
    unsigned stopped = 0;
    for (uint64_t seed = 0; seed < 60; ++seed) {
      Random random(seed);
      const Case c = random_case(pass.form, random);
      column.set(pass.layout, pass.autorid, c.shape, set_up(table, pass.layout, c, random), random);
      const BucketChoice choice = oracle::bucket_choice(table.ht, false);
      for (uint64_t room = 0; room < 12; ++room) {
        for (const uint32_t flag : {0u, 1u}) {
          set_crash_note("%s, seed %llu", pass.name, static_cast<unsigned long long>(seed));
          EXPECT_EQ(match_difference(pass, table, column, choice, {room, flag}), "")
              << pass.name << ", seed " << seed << ", room " << room << ", flag " << flag;
        }
      }
      const auto all = oracle::match_rows(pass.form, choice, table.ht.colx_ht_buckets,
                                          column.meaning, 11, false);
      stopped += all.stop_row < c.rows ? 1 : 0;
    }
    EXPECT_GT(stopped, 5u) << pass.name;
  }
}

// The flag is taken at its word: with it no chain is followed even where there is one.
TEST(MatchPass, TheHintThatNothingIsChainedEndsEveryWalkAtItsFirstBucket) {
  TableMemory table;
  PassColumn column;
  for (const MatchPass& pass : match_passes()) {
    Random random(3);
    const oracle::TableForm& form = pass.form;
    table.set(table_shape(form.type, 0, 0, 0, 1));
    const BucketChoice choice = oracle::bucket_choice(table.ht, false);
    const uint32_t code = 7;
    const uint64_t hash = pass.layout == oracle::KeyLayout::gd ? 0 : code;
    std::vector<oracle::TableRow> stored(form.slots + 1u, {hash, code, 1});
    ASSERT_EQ(oracle::insert_rows(form, choice, table.ht.colx_ht_buckets, table.ht.colx_ht_over_cur,
                                  table.ht.colx_ht_over_end, stored, true),
              form.slots + 1u);
    column.set(pass.layout, pass.autorid, table.shape(), {{.hash = hash, .code = code}}, random);
    GuardedOutput output;
    uint8_t* const out = output.bytes(16 * 20, Place::end);
    uint32_t stop_row;
    EXPECT_EQ(pass.call(out, column.rows, 20, &stop_row, table.ht.colx_ht_buckets, choice, 1),
              form.slots);
    EXPECT_EQ(pass.call(out, column.rows, 20, &stop_row, table.ht.colx_ht_buckets, choice, 0),
              form.slots + 1u);
  }
}

// One chain of `buckets` full buckets, in which every `period`-th slot holds the code 7.
void set_chain(TableMemory& table, const MatchPass& pass, uint32_t buckets, uint32_t period) {
  const bool codes = pass.layout == oracle::KeyLayout::gd;
  table.set(table_shape(pass.form.type, 0, 0, 0, buckets - 1));
  std::vector<oracle::TableRow> stored;
  for (uint32_t slot = 0; slot < buckets * pass.form.slots; ++slot) {
    const uint32_t key = slot % period == 0 ? 7 : 1000 + slot;
    stored.push_back({codes ? 0 : key, key, slot});
  }
  ASSERT_EQ(oracle::insert_rows(pass.form, oracle::bucket_choice(table.ht, false),
                                table.ht.colx_ht_buckets, table.ht.colx_ht_over_cur,
                                table.ht.colx_ht_over_end, stored, true),
            stored.size());
}

// Rows that find everything from one record to all of a chain, behind rows that find nothing: a
// pass may hold records of many rows back, but only as many as it has a place for.
TEST(MatchPass, WritesTheHitsOfManyRowsThatHitOften) {
  TableMemory table;
  PassColumn column;
  for (const MatchPass& pass : match_passes()) {
    Random random(5);
    for (const uint32_t period : {1u, 2u, pass.form.slots, 3 * pass.form.slots, 1000u}) {
      for (uint32_t buckets = 1; buckets <= 9; ++buckets) {
        set_chain(table, pass, buckets, period);
        BucketChoice choice = oracle::bucket_choice(table.ht, false);
        // Every other table looks as large as memory: its chains may be asked for ahead. The hashes
        // of tags are small enough for its one bucket, those of codes are any.
        const bool looks_large = buckets % 2 == 0 && pass.layout != oracle::KeyLayout::gd;
        if (looks_large) choice.bucket_mask = ~uint64_t{0};
        const auto flag = static_cast<uint32_t>(buckets == 1);
        for (const uint32_t misses : {0u, 1u, 40u, 90u, 120u}) {
          std::vector<KeyRow> rows(misses, KeyRow{.hash = 5, .code = 5});
          const bool codes = pass.layout == oracle::KeyLayout::gd;
          rows.resize(280, KeyRow{.hash = codes ? 0u : 7u, .code = 7});
          column.set(pass.layout, pass.autorid, table.shape(), rows, random);
          const uint64_t slots = uint64_t{buckets} * pass.form.slots;
          const uint64_t room = (280 - misses) * ((slots + period - 1) / period);
          set_crash_note("%s, %u buckets, a hit in %u slots", pass.name, buckets, period);
          for (const uint64_t less : {0, 1}) {
            EXPECT_EQ(match_difference(pass, table, column, choice, {room - less, flag}), "")
                << pass.name << ", " << buckets << " buckets, a hit in " << period << " slots, "
                << misses << " misses, room less " << less;
          }
        }
      }
    }
  }
}

TEST(MatchPass, ARoomBeyond32BitsIsRoomEnough) {
  TableMemory table;
  PassColumn column;
  for (const MatchPass& pass : match_passes()) {
    Random random(4);
    const Case c = {table_shape(pass.form.type, 1, 0, 0, 5), 30, 40, 9};
    column.set(pass.layout, pass.autorid, c.shape, set_up(table, pass.layout, c, random), random);
    const BucketChoice choice = oracle::bucket_choice(table.ht, false);
    const auto expected = oracle::match_rows(pass.form, choice, table.ht.colx_ht_buckets,
                                             column.meaning, uint64_t{1} << 32, false);
    GuardedOutput output;
    uint8_t* const out = output.bytes(16 * expected.written.size(), Place::end);
    uint32_t stop_row;
    EXPECT_EQ(pass.call(out, column.rows, uint64_t{1} << 32, &stop_row, table.ht.colx_ht_buckets,
                        choice, 0),
              expected.counted);
    EXPECT_EQ(stop_row, 40u);
  }
}

}  // namespace
}  // namespace colx::test

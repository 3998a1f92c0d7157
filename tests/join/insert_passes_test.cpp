// The passes of the build by name: rows of one block, the hint of the prefetch pass forced both
// ways, on tables that hold rows already.
#include <gtest/gtest.h>

#include <set>

#include "tests/support/crash_note.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_passes.h"

namespace colx::test {
namespace {

using oracle::BucketChoice;
using oracle::KeyLayout;

struct Case {
  TableShape shape;
  uint32_t rows;
  uint32_t tags;
};

Case random_case(const oracle::TableForm& form, Random& random) {
  constexpr uint32_t counts[] = {0, 1, 2, 3, 4, 5, 8, 9, 33, 200, 1023, 1024};
  Case c;
  c.rows = random.pick<uint32_t>(counts);
  c.shape = table_shape(
      form.type, static_cast<unsigned>(random.below(4)), static_cast<unsigned>(random.below(3)),
      static_cast<unsigned>(random.below(3)), static_cast<uint32_t>(random.below(c.rows + 2)));
  c.tags = static_cast<uint32_t>(1 + random.below(c.rows + 4));
  return c;
}

// The choice of the table, or of one named partition.
BucketChoice random_choice(const TableMemory& table, Random& random) {
  return oracle::bucket_choice(table.ht, random.one_in(4));
}

TEST(BuildPrefetchPass, TellsWhetherEveryRowsFirstBucketHasRoom) {
  EXPECT_EQ(build_prefetch_passes().size(), 9u);
  TableMemory table;
  PassColumn column;
  for (const PrefetchPass& pass : build_prefetch_passes()) {
    std::set<uint32_t> answers;
    for (uint64_t seed = 0; seed < 300; ++seed) {
      Random random(seed);
      const Case c = random_case(pass.form, random);
      table.set(c.shape);
      fill_at_random(table, TableKeys::tags, static_cast<uint32_t>(random.below(60)), c.tags,
                     random);
      column.set(pass.layout, true, c.shape, meeting_rows(c.shape, c.rows, c.tags, random), random);
      const BucketChoice choice = random_choice(table, random);
      const Bytes before = table.bytes();
      set_crash_note("%s, seed %llu", pass.name, static_cast<unsigned long long>(seed));
      const uint32_t answer = pass.call(column.rows, table.ht.colx_ht_buckets, choice);
      EXPECT_EQ(answer,
                oracle::all_with_room(pass.form, choice, table.ht.colx_ht_buckets, column.meaning)
                    ? 1u
                    : 0u)
          << pass.name << ", seed " << seed;
      EXPECT_EQ(table.difference(before), "") << pass.name << ", seed " << seed;
      answers.insert(answer);
    }
    EXPECT_EQ(answers.size(), 2u) << pass.name;
  }
}

TEST(BuildPrefetchPass, NoRowsAllHaveRoom) {
  TableMemory table;
  PassColumn column;
  for (const PrefetchPass& pass : build_prefetch_passes()) {
    Random random(1);
    const TableShape shape = table_shape(pass.form.type, 0, 0, 0, 0);
    table.set(shape);
    column.set(pass.layout, true, shape, {}, random);
    EXPECT_EQ(
        pass.call(column.rows, table.ht.colx_ht_buckets, oracle::bucket_choice(table.ht, false)),
        1u)
        << pass.name;
  }
}

TEST(InsertPass, PutsRowsInOrderOnTheFastAndOnTheGeneralPath) {
  EXPECT_EQ(insert_passes().size(), 17u);
  TableMemory table;
  PassColumn column;
  for (const InsertPass& pass : insert_passes()) {
    unsigned stopped = 0, finished = 0;
    for (uint64_t seed = 0; seed < 300; ++seed) {
      Random random(seed);
      const Case c = random_case(pass.form, random);
      table.set(c.shape);
      fill_at_random(table, TableKeys::tags, static_cast<uint32_t>(random.below(60)), c.tags,
                     random);
      column.set(pass.layout, pass.autorid, c.shape, meeting_rows(c.shape, c.rows, c.tags, random),
                 random);
      const BucketChoice choice = random_choice(table, random);
      const uint32_t flag = static_cast<uint32_t>(seed % 2);

      const Bytes before = table.bytes();
      const uint32_t expected = oracle::insert_rows(
          pass.form, choice, table.ht.colx_ht_buckets, table.ht.colx_ht_over_cur,
          table.ht.colx_ht_over_end, column.meaning, flag == 1);
      const Bytes table_expected = table.bytes();
      table.restore(before);
      set_crash_note("%s, seed %llu", pass.name, static_cast<unsigned long long>(seed));
      EXPECT_EQ(pass.call(column.rows, table.ht, choice, flag), expected)
          << pass.name << ", seed " << seed;
      EXPECT_EQ(table.difference(table_expected), "") << pass.name << ", seed " << seed;
      EXPECT_EQ(column.damage(), "") << pass.name << ", seed " << seed;
      ++(expected < c.rows ? stopped : finished);
    }
    EXPECT_GT(stopped, 10u) << pass.name;
    EXPECT_GT(finished, 10u) << pass.name;
  }
}

TEST(InsertPass, NoRowsChangeNothing) {
  TableMemory table;
  PassColumn column;
  for (const InsertPass& pass : insert_passes()) {
    Random random(1);
    const TableShape shape = table_shape(pass.form.type, 1, 1, 0, 1);
    table.set(shape);
    column.set(pass.layout, pass.autorid, shape, {}, random);
    const Bytes before = table.bytes();
    for (const uint32_t flag : {0u, 1u}) {
      EXPECT_EQ(pass.call(column.rows, table.ht, oracle::bucket_choice(table.ht, false), flag), 0u);
    }
    EXPECT_EQ(table.difference(before), "") << pass.name;
  }
}

// With the partition mask 0 the first entry serves, whatever shift and low bits say.
TEST(InsertPass, WithoutAPartitionMaskTheFirstEntryServes) {
  TableMemory table;
  PassColumn column;
  for (const InsertPass& pass : insert_passes()) {
    Random random(2);
    TableShape shape = table_shape(pass.form.type, 1, 2, 1, 40);
    table.set(shape);
    for (uint32_t other = 1; other < shape.partitions; ++other) {
      table.ht.colx_ht_buckets[other] = table.ht.colx_ht_over_cur[other] = nullptr;
    }
    column.set(pass.layout, pass.autorid, shape, meeting_rows(shape, 60, 20, random), random);
    BucketChoice choice = oracle::bucket_choice(table.ht, true);
    ASSERT_EQ(choice.part_mask, 0u);
    ASSERT_EQ(choice.part_low_bits, 1u);
    EXPECT_EQ(pass.call(column.rows, table.ht, choice, 1), 60u) << pass.name;
  }
}

}  // namespace
}  // namespace colx::test

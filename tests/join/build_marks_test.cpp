// The bytes that a build leaves in buckets: headers and uniqueness marks on the fast and the
// general path, what a new bucket gets, what never counts.
#include <gtest/gtest.h>

#include "tests/oracle/native_numbers.h"
#include "tests/support/build_stage.h"

namespace colx::test {
namespace {

using oracle::table_forms;
using oracle::TableForm;

// Hashes by bucket and tag, in a table of one partition.
uint64_t hash_of(const TableForm& form, uint64_t bucket, uint64_t tag) {
  return bucket << (8 * form.key_bytes) | tag;
}

// Tables of two buckets; each call is one block. Everything is compared with the oracle on top.
struct TwoBuckets {
  explicit TwoBuckets(const TableForm& f, uint32_t over_buckets = 8) : form(f) {
    build_stage().table.set(table_shape(form.type, 1, 0, 0, over_buckets));
  }
  TwoBuckets& put(std::vector<uint64_t> hashes) {
    JoinRows rows;
    for (const uint64_t hash : hashes) rows.keys.rows.push_back({.hash = hash});
    build_stage().set_rows(rows, form.value_bytes);
    EXPECT_EQ(build_stage().entry_difference(), "");
    return *this;
  }
  // Tags `first` and up into bucket `b`, a call each, until it holds `used`.
  TwoBuckets& fill(uint64_t b, uint64_t first, unsigned used) {
    for (unsigned i = 0; i < used; ++i) put({hash_of(form, b, first + i)});
    return *this;
  }
  unsigned header(uint64_t b) const { return build_stage().table.header(0, b); }
  unsigned over_header(uint64_t b) const { return *build_stage().table.overflow(0, b); }

  TableForm form;
};

TEST(BuildMarks, NineDistinctTagsFillABucketAndTheTenthOpensAChain) {
  TwoBuckets table(oracle::table_form(COLX_HT_K2V4));
  table.put({1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(table.header(0), 0x49u);
  table.put({10});
  EXPECT_EQ(table.header(0), 0xC9u);
  EXPECT_EQ(table.over_header(0), 0x41u);
}

TEST(BuildMarks, EveryFormFillsItsSlotsAndThenOpensAChain) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.fill(1, 1, form.slots);
    EXPECT_EQ(table.header(1), 0x40u | form.slots) << form.name;
    table.put({hash_of(form, 1, 99)});
    EXPECT_EQ(table.header(1), 0xC0u | form.slots) << form.name;
    EXPECT_EQ(table.over_header(0), 0x41u) << form.name;
    const uint8_t* const bucket = build_stage().table.bucket(0, 1);
    EXPECT_EQ(oracle::address_at(bucket + 56), build_stage().table.overflow(0, 0)) << form.name;
  }
}

TEST(BuildMarks, ASecondRowOfTheSameTagTakesTheMarkAway) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.put({7});
    EXPECT_EQ(table.header(0), 0x41u) << form.name;
    table.put({7});
    EXPECT_EQ(table.header(0), 0x02u) << form.name;
    table.put({8});
    EXPECT_EQ(table.header(0), 0x03u) << form.name;
  }
}

TEST(BuildMarks, KeysAndValuesStandWhereTheFormHasThem) {
  for (const TableForm& form : table_forms) {
    build_stage().table.set(table_shape(form.type, 0, 0, 0, 0));
    JoinRows rows;
    for (uint32_t slot = 0; slot < form.slots; ++slot) {
      rows.keys.rows.push_back({.hash = 0x01010101u * (slot + 1)});
    }
    rows.base_rid = 500;
    build_stage().set_rows(rows, form.value_bytes);
    EXPECT_EQ(build_stage().entry_difference(), "");
    const bool two_bytes = form.type == COLX_HT_K2V8 || form.type == COLX_HT_K2V4;
    const unsigned values_at = form.type == COLX_HT_K2V8   ? 16
                               : form.type == COLX_HT_K2V4 ? 20
                               : form.type == COLX_HT_K4V8 ? 24
                                                           : 32;
    const uint8_t* const bucket = build_stage().table.bucket(0, 0);
    for (unsigned slot = 0; slot < form.slots; ++slot) {
      const unsigned key_at = two_bytes ? 2 + 2 * slot : 4 + 4 * slot;
      EXPECT_EQ(oracle::native_at(bucket + key_at, two_bytes ? 2 : 4),
                (0x01010101u * (slot + 1)) & (two_bytes ? 0xFFFFu : 0xFFFFFFFFu));
      EXPECT_EQ(oracle::native_at(bucket + values_at + slot * form.value_bytes, form.value_bytes),
                500 + slot);
    }
    EXPECT_LE(values_at + form.slots * form.value_bytes, 56u);
  }
}

TEST(BuildMarks, ABlockThatMeetsAFullBucketLeavesEmptyOnesUnmarked) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.fill(0, 1, form.slots);
    table.put({hash_of(form, 1, 50), hash_of(form, 0, 60)});  // bucket 0 is full
    EXPECT_EQ(table.header(1), 0x01u) << form.name;
    table.put({hash_of(form, 1, 51)});
    EXPECT_EQ(table.header(1), 0x02u) << form.name;  // it stays unmarked for good
  }
}

// What the prefetch pass found holds for its block, also when the block itself fills a bucket.
TEST(BuildMarks, TheHintStaysInForceThoughItGoesStale) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    std::vector<uint64_t> hashes;
    for (unsigned i = 0; i <= form.slots; ++i) hashes.push_back(hash_of(form, 0, 10 + i));
    hashes.push_back(hash_of(form, 1, 50));
    table.put(hashes);
    EXPECT_EQ(table.header(0), 0xC0u | form.slots) << form.name;
    EXPECT_EQ(table.header(1), 0x41u) << form.name;
  }
}

TEST(BuildMarks, TheHintIsTakenOncePerBlockOf1024Rows) {
  const TableForm& form = oracle::table_form(COLX_HT_K4V8);
  for (const uint64_t rows_before : {uint64_t{1023}, uint64_t{1024}}) {
    TwoBuckets table(form, 300);
    std::vector<uint64_t> hashes(rows_before);
    for (uint64_t i = 0; i < rows_before; ++i) hashes[i] = hash_of(form, 0, 10 + i);
    hashes.push_back(hash_of(form, 1, 50));
    hashes.push_back(hash_of(form, 0, 5));
    table.put(hashes);
    EXPECT_EQ(table.header(1), rows_before == 1023 ? 0x41u : 0x01u);
  }
}

// An odd block has its last row looked at as well.
TEST(BuildMarks, TheHintLooksAtEveryRowOfTheBlock) {
  for (const TableForm& form : table_forms) {
    for (size_t rows = 2; rows <= 9; ++rows) {
      for (size_t full = 0; full < rows; ++full) {
        build_stage().table.set(table_shape(form.type, 4, 0, 0, 1));
        JoinRows filling;
        for (unsigned i = 0; i < form.slots; ++i) {
          filling.keys.rows.push_back({.hash = hash_of(form, 15, i)});
        }
        build_stage().set_rows(filling, form.value_bytes);
        EXPECT_EQ(build_stage().entry_difference(), "");
        JoinRows block;
        for (size_t i = 0; i < rows; ++i) {
          block.keys.rows.push_back({.hash = hash_of(form, i == full ? 15 : i, 77)});
        }
        build_stage().set_rows(block, form.value_bytes);
        EXPECT_EQ(build_stage().entry_difference(), "");
        EXPECT_EQ(build_stage().table.header(0, full == 0 ? 1 : 0), 0x01) << form.name;
      }
    }
  }
}

// Every slot is compared, those beyond the first vector of keys too.
TEST(BuildMarks, EachSlotOfAFullBucketCanTakeTheMarkAway) {
  for (const TableForm& form : table_forms) {
    for (unsigned slot = 0; slot < form.slots; ++slot) {
      TwoBuckets last(form);  // full, without a successor: the row opens one
      last.fill(0, 10, form.slots).put({10 + slot});
      EXPECT_EQ(last.header(0), 0x80u | form.slots) << form.name << ", slot " << slot;

      TwoBuckets chained(form);
      chained.fill(0, 10, form.slots + 1).put({10 + slot});
      EXPECT_EQ(chained.header(0), 0x80u | form.slots) << form.name << ", slot " << slot;
      EXPECT_EQ(chained.over_header(0), 0x42u) << form.name;

      TwoBuckets with_room(form);  // the fast path, where the bucket has room
      with_room.fill(0, 10, slot + 1);
      if (slot + 1 == form.slots) continue;
      with_room.put({10 + slot});
      EXPECT_EQ(with_room.header(0), slot + 2u) << form.name << ", slot " << slot;
    }
    TwoBuckets distinct(form);
    distinct.fill(0, 10, form.slots + 1).put({99});
    EXPECT_EQ(distinct.header(0), 0xC0u | form.slots) << form.name;
  }
}

// A key is compared whole: one that differs in a single bit is another.
TEST(BuildMarks, KeysThatDifferInOneBitKeepTheMark) {
  for (const TableForm& form : table_forms) {
    for (unsigned bit = 0; bit < 8 * form.key_bytes; ++bit) {
      TwoBuckets table(form);
      const uint64_t top_tag = hash_of(form, 1, 0) - 1;
      table.fill(0, 10, form.slots - 1).put({top_tag});
      table.put({200}).put({top_tag ^ uint64_t{1} << bit});
      EXPECT_EQ(table.header(0), 0xC0u | form.slots) << form.name << ", bit " << bit;
    }
  }
}

TEST(BuildMarks, KeysAboveTheUsedSlotsNeverCount) {
  for (const TableForm& form : table_forms) {
    TableShape shape = table_shape(form.type, 1, 0, 0, 4);
    shape.stale_keys = {7};
    TwoBuckets table(form);
    build_stage().table.set(shape);
    table.put({7});
    EXPECT_EQ(table.header(0), 0x41u) << form.name;
    table.fill(0, 10, form.slots - 2).put({8});
    EXPECT_EQ(table.header(0), 0x40u | form.slots) << form.name;
    table.put({9}).put({11});  // the new bucket is full of stale sevens, too
    EXPECT_EQ(table.over_header(0), 0x42u) << form.name;
  }
}

// The unused tail of a bucket holds the very key, on the general path as well.
TEST(BuildMarks, StaleKeysDoNotCountAtTheEndOfAChain) {
  for (const TableForm& form : table_forms) {
    TableShape shape = table_shape(form.type, 1, 0, 0, 4);
    shape.stale_keys = {7};
    TwoBuckets table(form);
    build_stage().table.set(shape);
    table.fill(0, 10, form.slots + 1).put({7});
    EXPECT_EQ(table.header(0), 0xC0u | form.slots) << form.name;
    EXPECT_EQ(table.over_header(0), 0x42u) << form.name;
  }
}

TEST(BuildMarks, ANewBucketGetsHeaderFirstKeyAndFirstValueAndNothingMore) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.fill(0, 10, form.slots);
    const uint8_t* const fresh = build_stage().table.overflow(0, 0);
    const Bytes before(fresh, fresh + 64);
    table.put({99});
    for (unsigned byte = 0; byte < 64; ++byte) {
      const bool first_key = byte >= form.keys_at && byte < form.keys_at + form.key_bytes;
      const bool first_value = byte >= form.values_at && byte < form.values_at + form.value_bytes;
      if (byte == 0 || first_key || first_value) continue;
      EXPECT_EQ(fresh[byte], before[byte]) << form.name << ", byte " << byte;
    }
  }
}

// Without room for the next bucket: marks that the row's walk has cleared stay cleared, but the
// last bucket's own mark stays although the row's key stands in that bucket.
TEST(BuildMarks, AStopKeepsTheLastBucketsMarkAndTheClearedOnes) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form, 1);
    table.fill(0, 10, 2 * form.slots);
    EXPECT_EQ(table.header(0), 0xC0u | form.slots);
    EXPECT_EQ(table.over_header(0), 0x40u | form.slots);
    table.put({10});  // stands in the first bucket
    EXPECT_EQ(build_stage().status, COLX_OVERFLOW_FULL);
    EXPECT_EQ(table.header(0), 0x80u | form.slots) << form.name;
    EXPECT_EQ(table.over_header(0), 0x40u | form.slots) << form.name;
    table.put({10 + form.slots});  // stands in the last one
    EXPECT_EQ(build_stage().status, COLX_OVERFLOW_FULL);
    EXPECT_EQ(table.over_header(0), 0x40u | form.slots) << form.name;
  }
}

// The mark covers the bucket and what is behind it: a key of the last bucket leaves the first
// one's.
TEST(BuildMarks, AKeyOfALaterBucketTakesThatBucketsMarkAlone) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.fill(0, 10, form.slots + 1).put({10 + form.slots});
    EXPECT_EQ(table.header(0), 0xC0u | form.slots) << form.name;
    EXPECT_EQ(table.over_header(0), 0x02u) << form.name;
  }
}

TEST(BuildMarks, ABucketWithoutItsMarkIsNeverMarkedAgain) {
  for (const TableForm& form : table_forms) {
    TwoBuckets table(form);
    table.put({1, 1});
    table.fill(0, 10, form.slots - 2);
    EXPECT_EQ(table.header(0), form.slots) << form.name;
    table.put({77});
    EXPECT_EQ(table.header(0), 0x80u | form.slots) << form.name;
    EXPECT_EQ(table.over_header(0), 0x41u) << form.name;
  }
}

// A code table compares codes, whatever the hashes are.
TEST(BuildMarks, CodesAreTheKeysOfACodeTable) {
  build_stage().table.set(table_shape(COLX_HT_K4V8 | COLX_HT_GD, 0, 0, 0, 0));
  JoinRows rows;
  rows.keys.layout = oracle::KeyLayout::hashgdrid;
  rows.keys.rows = {{.hash = 5, .code = 1, .rid = 10}, {.hash = 5, .code = 2, .rid = 20}};
  build_stage().set_rows(rows, 8);
  EXPECT_EQ(build_stage().entry_difference(), "");
  EXPECT_EQ(build_stage().table.header(0, 0), 0x42);
  rows.keys.rows = {{.hash = 6, .code = 2, .rid = 30}};
  build_stage().set_rows(rows, 8);
  EXPECT_EQ(build_stage().entry_difference(), "");
  EXPECT_EQ(build_stage().table.header(0, 0), 0x03);
  EXPECT_EQ(chain_of(oracle::table_form(COLX_HT_K4V8), build_stage().table.bucket(0, 0)),
            (std::vector<StoredSlot>{{1, 10}, {2, 20}, {2, 30}}));
}

}  // namespace
}  // namespace colx::test

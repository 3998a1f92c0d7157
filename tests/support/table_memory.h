// A hash table's memory at the edge of unreadable pages: bucket arrays, overflow regions, their
// cursors and ends.
//
// Buckets begin with a header of 0 and noise behind it, overflow regions with noise throughout: no
// byte that has not been written may count. The whole of it can be copied out, compared and put
// back, so that an oracle and a kernel work on the same addresses one after the other.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_table_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/key_column.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct TableShape {
  uint32_t type = COLX_HT_K2V4;  // COLX_HT_GD included
  uint8_t bucket_hi = 15;
  uint8_t part_hi = 15;
  uint8_t part_shift = 16;
  uint8_t part_low_bits = 0;
  uint32_t partitions = 1;           // entries of the arrays
  uint32_t buckets = 1;              // a partition
  uint32_t over_buckets = 0;         // a partition: size of its region, all of it granted
  std::vector<uint32_t> stale_keys;  // what unused slots hold instead of noise

  const oracle::TableForm& form() const { return oracle::table_form(type & ~COLX_HT_GD); }
};

// 2^bucket_bits buckets in each of 2^(part_bits + low_bits) partitions, the fields side by side
// above the tag.
TableShape table_shape(uint32_t type, unsigned bucket_bits, unsigned part_bits, unsigned low_bits,
                       uint32_t over_buckets);

// Fields of the hash by their bits: none, bucket or partition alone, two of them, all.
struct HashSplit {
  unsigned bucket;
  unsigned part;
  unsigned low;
};
inline constexpr HashSplit hash_splits[] = {{0, 0, 0}, {3, 0, 0}, {0, 2, 0},
                                            {2, 1, 0}, {1, 2, 1}, {2, 0, 2}};

std::string describe(const TableShape& shape);

class TableMemory {
 public:
  void set(const TableShape& shape);

  // Grants a partition's region up to `buckets` buckets behind its cursor.
  void grant(uint64_t partition, uint32_t buckets);
  // Points a partition's cursor at one bucket of its region, the one behind it the end.
  void grant_bucket(uint64_t partition, uint32_t bucket);

  // Everything that a build may change, and everything that it must not.
  Bytes bytes() const;
  void restore(const Bytes& bytes);
  // Where `bytes()` differs from `expected`, in words; empty if it does not.
  std::string difference(const Bytes& expected) const;

  uint8_t* bucket(uint64_t partition, uint64_t number) const;
  uint8_t* overflow(uint64_t partition, uint64_t number) const;
  uint8_t header(uint64_t partition, uint64_t number) const { return *bucket(partition, number); }
  const TableShape& shape() const { return shape_; }

  colx_ht ht;

 private:
  size_t bucket_area() const;
  size_t overflow_area() const;

  TableShape shape_;
  uint8_t* buckets_ = nullptr;
  uint8_t* overflow_ = nullptr;
  GuardedPages bucket_pages_, overflow_pages_, array_pages_, cursor_pages_, end_pages_;
};

// What a first bucket's chain holds, first bucket first: the rows that a probe has to find there.
struct StoredSlot {
  uint32_t key;
  uint64_t value;
  bool operator==(const StoredSlot&) const = default;
};
std::vector<StoredSlot> chain_of(const oracle::TableForm& form, const uint8_t* bucket);

// Empty if every chain is as the contract has it: successors behind full buckets only, and no key
// of a marked bucket again in it or behind it.
std::string broken_chain(const TableMemory& table);

// Rows that meet each other: tags out of `tags` values, buckets and partitions at random, noise in
// the bits above.
std::vector<KeyRow> meeting_rows(const TableShape& shape, uint32_t rows, uint32_t tags,
                                 Random& random);

}  // namespace colx::test

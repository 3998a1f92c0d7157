// join_table.h: the hash table of a join, built through the library.
//
// A table is an array of 64-byte buckets for each partition. Of a key's 64 hash bits the low 16 or
// 32 are the tag that a slot keeps, the next ones choose the bucket, the next the partition. A
// match is a match of bucket and tag, not of the key: see join_probe.h. Only tables of exact codes
// tell keys apart.
//
//   form   slots of a bucket   tag or code   value
//   k2v4   9                   16 bits       4 bytes
//   k2v8   5                   16 bits       8 bytes
//   k4v4   6                   32 bits       4 bytes
//   k4v8   4                   32 bits       8 bytes
#pragma once

#include <cstdint>
#include <vector>

#include "host/key_rows.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/stream_buffer.h"

namespace colx::host {

// What a slot of a bucket holds, by the table above.
enum class BucketForm : uint32_t {
  k2v8 = COLX_HT_K2V8,
  k2v4 = COLX_HT_K2V4,
  k4v8 = COLX_HT_K4V8,
  k4v4 = COLX_HT_K4V4
};

// Rows that a bucket takes.
constexpr uint32_t bucket_slots(BucketForm form) {
  return form == BucketForm::k2v4   ? 9
         : form == BucketForm::k4v4 ? 6
         : form == BucketForm::k2v8 ? 5
                                    : 4;
}
// Bits of a tag or code.
constexpr uint32_t tag_bits(BucketForm form) {
  return form == BucketForm::k2v8 || form == BucketForm::k2v4 ? 16 : 32;
}
// Bytes of a value.
constexpr uint32_t value_bytes(BucketForm form) {
  return form == BucketForm::k2v4 || form == BucketForm::k4v4 ? 4 : 8;
}

// What a table is sized by and what it holds.
struct JoinTableOptions {
  uint64_t expected_rows = 0;  // of the whole table; more are taken, at the price of longer chains
  // 4-byte values hold row numbers below 2^32.
  BucketForm form = BucketForm::k4v8;
  bool exact_codes = false;     // keys are KeyRows::codes(); forms k4v4 and k4v8
  uint32_t partition_bits = 0;  // 2^bits partitions, 0 to 16
};

// One call builds at a time, except build_partition() for different partitions, which may run at
// once. A built table is only read: any number of probes share it.
class JoinTable {
 public:
  // Allocates and clears the buckets. Errors: codes in a form of 16-bit tags, too many partition
  // bits, more hash bits than there are, a library without the function.
  static Result<JoinTable> create(const Library& library, const JoinTableOptions& options);

  // Adds rows to the partitions that their hashes name; a table may grow by many calls. Errors,
  // with no row added: keys of the wrong kind, values that do not go with them.
  Result<void> build(const KeyRows& keys, const RowValues& values);
  // Adds rows to one partition whatever their hashes say: rows that were partitioned before, by
  // partition_hi() and partition_shift(). Errors: as above, no such partition.
  Result<void> build_partition(uint32_t partition, const KeyRows& keys, const RowValues& values);

  // The whole table, for probes by rows of all partitions.
  const colx_ht& descriptor() const { return descriptor_; }
  // One partition as a table of its own, for probes by rows that were partitioned likewise.
  colx_ht descriptor_of(uint32_t partition) const;

  // As create() was told.
  BucketForm form() const { return options_.form; }
  // Whether its keys are KeyRows::codes().
  bool exact() const { return options_.exact_codes; }
  // How many there are, a power of two.
  uint32_t partitions() const { return uint32_t{1} << options_.partition_bits; }
  // The hash bits of a row's partition: (hash & (2 << partition_hi) - 1) >> partition_shift.
  uint32_t partition_hi() const { return descriptor_.colx_ht_part_hi; }
  // See partition_hi().
  uint32_t partition_shift() const { return descriptor_.colx_ht_part_shift; }
  // Buckets of a partition, overflow not counted.
  uint64_t buckets() const { return uint64_t{1} << bucket_bits_; }
  // Regions of overflow buckets that builds have added so far, in all partitions.
  uint64_t overflow_regions() const;
  // Memory of all buckets, overflow included.
  uint64_t bytes() const;
  // What kernels of this table take as keys; the error says what was given instead.
  Result<void> check(const KeyRows& keys, const RowValues& values) const;

 private:
  JoinTable() = default;
  Result<void> run(int32_t part, const KeyRows& keys, const RowValues& values);
  void add_overflow(uint32_t partition);
  void add_overflow_where_full(int32_t part, const colx_kctx& kctx);

  JoinTableOptions options_;
  uint32_t bucket_bits_ = 0;
  colx_ht_build_call* build_ = nullptr;
  colx_ht descriptor_{};
  // Per partition. Vectors keep their place when a table moves, so the descriptor stays true.
  std::vector<StreamBuffer> bucket_arrays_;
  std::vector<std::vector<StreamBuffer>> overflow_;
  std::vector<void*> buckets_;
  std::vector<void*> over_cur_;
  std::vector<void*> over_end_;
};

}  // namespace colx::host

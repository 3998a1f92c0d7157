// Two sides of a join on 32-bit keys, and what builds and probes their tables: the kernels on a
// table of 64-byte buckets, and std::unordered_multimap.
//
// A key's hash is given with it: its low 32 bits are the key itself mixed by a bijection, so that
// equal tags of 32 bits are equal keys and both tables find the same rows.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "bench/support/random_reads.h"
#include "bench/support/working_set.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {

// Tables: in L2 (256 KB of buckets) and far out of cache (256 MB). Each window of the latter probes
// with rows of its own. Rows come in batches, each to the same output.
inline constexpr uint64_t rows_per_batch = 16384;
inline constexpr SizeClass table_in_memory{"memory", 256 << 20, 4};

struct JoinSide {
  std::vector<uint32_t> keys;
  std::vector<uint64_t> hashes;
  std::vector<uint32_t> values;
};

uint64_t hash_of_key(uint32_t key);
// The same as a hash function for keys of 4 bytes.
uint64_t hash_of_4_bytes(const void* key, uint64_t length, uint64_t seed);

struct JoinShape {
  uint32_t type;         // COLX_HT_K4V4 or COLX_HT_K4V8
  unsigned bucket_log2;  // how many
  unsigned rows_per_key;
  unsigned hit_percent;  // of the probing rows

  uint64_t buckets() const { return uint64_t{1} << bucket_log2; }
  uint64_t slots() const { return type == COLX_HT_K4V4 ? 6 : 4; }
  // Half of the slots are used; few buckets overflow then.
  uint64_t build_rows() const { return buckets() * slots() / 2; }
};

unsigned bucket_log2_for(const SizeClass& size);

// Sides of other numbers have other keys.
JoinSide build_side(const JoinShape& shape, unsigned number = 0);
// `rows` rows, of which hit_percent have a key of the build side, in random order.
JoinSide probe_side(const JoinShape& shape, const JoinSide& build, uint64_t rows);

// The bucket table with room for overflow; only one exists per size at a time.
struct BucketTable {
  JoinShape shape;
  uint8_t* buckets;
  uint8_t* overflow;
  uint64_t overflow_bytes;
  void* bucket_array;
  void* over_cur;
  void* over_end;
  colx_ht ht = {};

  BucketTable(const JoinShape& shape, const SizeClass& size);
  BucketTable(const BucketTable&) = delete;
  void clear();
  LineNumbers first_buckets(const JoinSide& side) const;
};

// A column of hash values with its payload of 4 or 8 bytes a row, or of codes.
struct JoinColumn {
  colx_cv keys = {};
  colx_cv payload = {};
  colx_enc_ctx keys_encoding = {};
  colx_enc_ctx payload_encoding = {};
  std::vector<uint64_t> wide_values;
  const JoinSide* side;
  bool codes;

  JoinColumn(const JoinSide& side, const JoinShape& shape, bool codes);
  JoinColumn(const JoinColumn&) = delete;
  void window(uint64_t first, uint64_t rows, const JoinShape& shape);
};

using MultiMap = std::unordered_multimap<uint32_t, uint32_t>;

// Writes (own value, found value) pairs as the probe kernels do; returns how many.
uint64_t probe_map(const MultiMap& map, const uint32_t* keys, const uint32_t* values, uint64_t rows,
                   uint64_t* out);

}  // namespace colx::bench

#include "bench/support/join_tables.h"

#include <cstring>
#include <map>
#include <string>

#include "bench/support/random_stream.h"

namespace colx::bench {
namespace {

// Invertible, so distinct keys keep distinct values (Appleby: MurmurHash3, the 32-bit finalizer).
uint32_t mixed_key(uint32_t key) {
  key = (key ^ key >> 16) * 0x85EBCA6B;
  key = (key ^ key >> 13) * 0xC2B2AE35;
  return key ^ key >> 16;
}

uint8_t* area_of(const char* what, const SizeClass& size, uint64_t bytes) {
  static std::map<std::string, std::pair<uint8_t*, uint64_t>> areas;
  auto& [at, room] = areas[std::string(what) + size.name];
  if (room < bytes) {
    at = lasting_bytes(bytes);
    room = bytes;
  }
  return at;
}

void add(JoinSide& side, uint32_t key, uint64_t value) {
  side.keys.push_back(key);
  side.hashes.push_back(hash_of_key(key));
  side.values.push_back(static_cast<uint32_t>(value));
}

// Distinct for distinct numbers, and in no order.
uint32_t key_of(uint64_t number) {
  return mixed_key(static_cast<uint32_t>(number) ^ 0x5BD1E995);
}

}  // namespace

uint64_t hash_of_key(uint32_t key) {
  const uint64_t high = RandomNumbers(key).next() >> 32 << 32;
  return high | mixed_key(key);
}

uint64_t hash_of_4_bytes(const void* key, uint64_t, uint64_t) {
  uint32_t number;
  std::memcpy(&number, key, sizeof number);
  return hash_of_key(number);
}

unsigned bucket_log2_for(const SizeClass& size) {
  return size.windows == 1 ? 12 : 22;
}

JoinSide build_side(const JoinShape& shape, unsigned number) {
  JoinSide side;
  const uint64_t rows = shape.build_rows();
  for (uint64_t row = 0; row < rows; ++row)
    add(side, key_of((number * rows + row) / shape.rows_per_key), row);
  // In random order, so that equal keys do not come one behind the other.
  RandomNumbers random(rows + number);
  for (uint64_t row = rows - 1; row > 0; --row) {
    const uint64_t other = random.below(row + 1);
    std::swap(side.keys[row], side.keys[other]);
    std::swap(side.hashes[row], side.hashes[other]);
  }
  return side;
}

JoinSide probe_side(const JoinShape& shape, const JoinSide& build, uint64_t rows) {
  JoinSide side;
  const uint64_t keys = build.keys.size() / shape.rows_per_key;
  RandomNumbers random(rows + shape.hit_percent);
  for (uint64_t row = 0; row < rows; ++row) {
    const bool hits = random.below(100) < shape.hit_percent;
    add(side, key_of(hits ? random.below(keys) : keys + random.below(keys)), row);
  }
  return side;
}

BucketTable::BucketTable(const JoinShape& s, const SizeClass& size)
    : shape(s),
      buckets(area_of("buckets", size, s.buckets() * 64)),
      overflow_bytes(s.buckets() * 32),
      bucket_array(buckets) {
  overflow = area_of("overflow", size, overflow_bytes);
  ht.colx_ht_type = s.type;
  ht.colx_ht_bucket_hi = static_cast<uint8_t>(31 + s.bucket_log2);
  ht.colx_ht_part_hi = ht.colx_ht_bucket_hi;
  ht.colx_ht_part_shift = static_cast<uint8_t>(ht.colx_ht_bucket_hi + 1);
  ht.colx_ht_buckets = &bucket_array;
  ht.colx_ht_over_cur = &over_cur;
  ht.colx_ht_over_end = &over_end;
  clear();
}

void BucketTable::clear() {
  std::memset(buckets, 0, shape.buckets() * 64);
  over_cur = overflow;
  over_end = overflow + overflow_bytes;
}

LineNumbers BucketTable::first_buckets(const JoinSide& side) const {
  LineNumbers lines;
  lines.reserve(side.hashes.size());
  for (const uint64_t hash : side.hashes)
    lines.push_back(static_cast<uint32_t>(hash >> 32 & (shape.buckets() - 1)));
  return lines;
}

JoinColumn::JoinColumn(const JoinSide& s, const JoinShape& shape, bool by_codes)
    : side(&s), codes(by_codes) {
  keys.colx_cv_encoding_context = &keys_encoding;
  payload.colx_cv_encoding_context = &payload_encoding;
  keys_encoding.colx_enc_ctx_flags = by_codes ? COLX_GD : COLX_HASH_VALUES;
  if (shape.type != COLX_HT_K4V4) wide_values.assign(s.values.begin(), s.values.end());
  window(0, s.keys.size(), shape);
}

void JoinColumn::window(uint64_t first, uint64_t rows, const JoinShape& shape) {
  const void* const key_data =
      codes ? static_cast<const void*>(&side->keys[first]) : &side->hashes[first];
  const void* const value_data = shape.type == COLX_HT_K4V4
                                     ? static_cast<const void*>(&side->values[first])
                                     : &wide_values[first];
  keys.colx_cv_data = const_cast<void*>(key_data);
  keys.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  payload.colx_cv_data = const_cast<void*>(value_data);
}

uint64_t probe_map(const MultiMap& map, const uint32_t* keys, const uint32_t* values, uint64_t rows,
                   uint64_t* out) {
  uint64_t records = 0;
  for (uint64_t row = 0; row < rows; ++row) {
    const auto [begin, end] = map.equal_range(keys[row]);
    for (auto hit = begin; hit != end; ++hit, ++records) {
      out[2 * records] = values[row];
      out[2 * records + 1] = hit->second;
    }
  }
  return records;
}

}  // namespace colx::bench

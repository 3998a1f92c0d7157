#include "tests/support/table_memory.h"

#include <algorithm>
#include <cstring>

#include "tests/oracle/native_numbers.h"

namespace colx::test {
namespace {

using oracle::bucket_bytes;

void fill_slots(const oracle::TableForm& form, const std::vector<uint32_t>& keys, uint8_t* bucket,
                Random& random) {
  if (keys.empty()) return;
  for (unsigned slot = 0; slot < form.slots; ++slot) {
    oracle::put_native(bucket + form.keys_at + slot * form.key_bytes,
                       keys[random.below(keys.size())], form.key_bytes);
  }
}

std::string place_of(const char* area, size_t offset, uint32_t buckets_a_partition) {
  const size_t bucket = offset / bucket_bytes;
  return std::string(area) + " " + std::to_string(bucket % buckets_a_partition) + " of partition " +
         std::to_string(bucket / buckets_a_partition) + ", byte " +
         std::to_string(offset % bucket_bytes);
}

}  // namespace

TableShape table_shape(uint32_t type, unsigned bucket_bits, unsigned part_bits, unsigned low_bits,
                       uint32_t over_buckets) {
  TableShape shape;
  shape.type = type;
  const unsigned tag_bits = 8 * shape.form().key_bytes;
  shape.bucket_hi = static_cast<uint8_t>(tag_bits + bucket_bits - 1);
  shape.part_hi = static_cast<uint8_t>(shape.bucket_hi + part_bits);
  shape.part_shift = static_cast<uint8_t>(shape.bucket_hi + 1);
  shape.part_low_bits = static_cast<uint8_t>(low_bits);
  shape.partitions = 1u << (part_bits + low_bits);
  shape.buckets = 1u << bucket_bits;
  shape.over_buckets = over_buckets;
  return shape;
}

std::string describe(const TableShape& shape) {
  return "table type " + std::to_string(shape.type) + ", bucket_hi " +
         std::to_string(shape.bucket_hi) + ", part_hi " + std::to_string(shape.part_hi) +
         ", part_shift " + std::to_string(shape.part_shift) + ", low bits " +
         std::to_string(shape.part_low_bits) + ", " + std::to_string(shape.over_buckets) +
         " overflow buckets";
}

size_t TableMemory::bucket_area() const {
  return size_t{shape_.partitions} * shape_.buckets * bucket_bytes;
}

size_t TableMemory::overflow_area() const {
  return size_t{shape_.partitions} * shape_.over_buckets * bucket_bytes;
}

uint8_t* TableMemory::bucket(uint64_t partition, uint64_t number) const {
  return buckets_ + (partition * shape_.buckets + number) * bucket_bytes;
}

uint8_t* TableMemory::overflow(uint64_t partition, uint64_t number) const {
  return overflow_ + (partition * shape_.over_buckets + number) * bucket_bytes;
}

void TableMemory::set(const TableShape& shape) {
  shape_ = shape;
  Random random(shape.partitions * shape.buckets);
  const Bytes bucket_noise = random.bytes(bucket_area());
  const Bytes overflow_noise = random.bytes(overflow_area());
  buckets_ = bucket_pages_.place(bucket_noise, 0, Edge::end);
  overflow_ = overflow_pages_.place(overflow_noise, 0, Edge::end);
  for (size_t at = 0; at < bucket_area(); at += bucket_bytes) {
    fill_slots(shape.form(), shape.stale_keys, buckets_ + at, random);
    buckets_[at] = 0;
  }
  for (size_t at = 0; at < overflow_area(); at += bucket_bytes) {
    fill_slots(shape.form(), shape.stale_keys, overflow_ + at, random);
  }

  std::memset(&ht, 0, sizeof ht);
  ht.colx_ht_type = shape.type;
  ht.colx_ht_bucket_hi = shape.bucket_hi;
  ht.colx_ht_part_hi = shape.part_hi;
  ht.colx_ht_part_shift = shape.part_shift;
  ht.colx_ht_part_low_bits = shape.part_low_bits;
  const size_t array_bytes = 8 * size_t{shape.partitions};
  ht.colx_ht_buckets = reinterpret_cast<void**>(array_pages_.at_end(array_bytes));
  ht.colx_ht_over_cur = reinterpret_cast<void**>(cursor_pages_.at_end(array_bytes));
  ht.colx_ht_over_end = reinterpret_cast<void**>(end_pages_.at_end(array_bytes));
  for (uint32_t p = 0; p < shape.partitions; ++p) {
    ht.colx_ht_buckets[p] = bucket(p, 0);
    ht.colx_ht_over_cur[p] = overflow(p, 0);
    ht.colx_ht_over_end[p] = overflow(p, shape.over_buckets);
  }
}

void TableMemory::grant(uint64_t partition, uint32_t buckets) {
  ht.colx_ht_over_end[partition] =
      static_cast<uint8_t*>(ht.colx_ht_over_cur[partition]) + size_t{buckets} * bucket_bytes;
}

void TableMemory::grant_bucket(uint64_t partition, uint32_t bucket) {
  ht.colx_ht_over_cur[partition] = overflow(partition, bucket);
  ht.colx_ht_over_end[partition] = overflow(partition, bucket + 1);
}

Bytes TableMemory::bytes() const {
  Bytes all;
  const auto add = [&all](const void* from, size_t count) {
    const auto* const bytes = static_cast<const uint8_t*>(from);
    all.insert(all.end(), bytes, bytes + count);
  };
  add(buckets_, bucket_area());
  add(overflow_, overflow_area());
  add(ht.colx_ht_buckets, 8 * size_t{shape_.partitions});
  add(ht.colx_ht_over_cur, 8 * size_t{shape_.partitions});
  add(ht.colx_ht_over_end, 8 * size_t{shape_.partitions});
  add(&ht, sizeof ht);
  return all;
}

void TableMemory::restore(const Bytes& bytes) {
  const uint8_t* from = bytes.data();
  const auto take = [&from](void* to, size_t count) {
    if (count != 0) std::memcpy(to, from, count);
    from += count;
  };
  take(buckets_, bucket_area());
  take(overflow_, overflow_area());
  take(ht.colx_ht_buckets, 8 * size_t{shape_.partitions});
  take(ht.colx_ht_over_cur, 8 * size_t{shape_.partitions});
  take(ht.colx_ht_over_end, 8 * size_t{shape_.partitions});
}

std::string TableMemory::difference(const Bytes& expected) const {
  const Bytes now = bytes();
  const size_t at = static_cast<size_t>(
      std::mismatch(now.begin(), now.end(), expected.begin()).first - now.begin());
  if (at == now.size()) return {};
  const std::string what =
      " is " + std::to_string(now[at]) + ", not " + std::to_string(expected[at]);
  if (at < bucket_area()) return place_of("bucket", at, shape_.buckets) + what;
  if (at < bucket_area() + overflow_area()) {
    return place_of("overflow bucket", at - bucket_area(), shape_.over_buckets) + what;
  }
  const size_t in_arrays = at - bucket_area() - overflow_area();
  constexpr const char* arrays[] = {"the bucket arrays", "the cursors", "the ends"};
  const size_t array = in_arrays / (8 * size_t{shape_.partitions});
  if (array >= 3) return "changed: a field of colx_ht";
  return std::string(arrays[array]) + ": entry " +
         std::to_string(in_arrays / 8 % shape_.partitions) + " is not as expected";
}

std::vector<StoredSlot> chain_of(const oracle::TableForm& form, const uint8_t* bucket) {
  std::vector<StoredSlot> slots;
  for (;;) {
    const uint8_t header = *bucket;
    for (unsigned slot = 0; slot < (header & oracle::used_slots_mask); ++slot) {
      const uint64_t key =
          oracle::native_at(bucket + form.keys_at + slot * form.key_bytes, form.key_bytes);
      slots.push_back(
          {static_cast<uint32_t>(key),
           oracle::native_at(bucket + form.values_at + slot * form.value_bytes, form.value_bytes)});
    }
    if ((header & oracle::has_successor) == 0) return slots;
    bucket = oracle::address_at(bucket + oracle::next_bucket_at);
  }
}

std::string broken_chain(const TableMemory& table) {
  const oracle::TableForm& form = table.shape().form();
  for (uint64_t i = 0; i < uint64_t{table.shape().partitions} * table.shape().buckets; ++i) {
    for (const uint8_t* bucket = table.bucket(0, i);;) {
      const uint8_t header = *bucket;
      const unsigned used = header & oracle::used_slots_mask;
      const bool chained = (header & oracle::has_successor) != 0;
      const std::string where = "bucket " + std::to_string(i) + " and behind: ";
      if (used > form.slots || (chained && used != form.slots) || (header & 0x30) != 0) {
        return where + "header " + std::to_string(header);
      }
      const std::vector<StoredSlot> rest = chain_of(form, bucket);
      for (unsigned slot = 0; (header & oracle::unique_mark) != 0 && slot < used; ++slot) {
        const auto same_key = [&](const StoredSlot& s) { return s.key == rest[slot].key; };
        if (std::count_if(rest.begin(), rest.end(), same_key) > 1) {
          return where + "marked unique and is not";
        }
      }
      if (!chained) break;
      bucket = oracle::address_at(bucket + oracle::next_bucket_at);
    }
  }
  return {};
}

std::vector<KeyRow> meeting_rows(const TableShape& shape, uint32_t rows, uint32_t tags,
                                 Random& random) {
  const unsigned tag_bits = 8 * shape.form().key_bytes;
  std::vector<uint64_t> pool(tags);
  for (uint64_t& tag : pool) tag = random.bits(tag_bits);
  std::vector<KeyRow> all(rows);
  for (KeyRow& row : all) {
    row.hash = random.next() >> tag_bits << tag_bits | pool[random.below(tags)];
    row.code = static_cast<uint32_t>(pool[random.below(tags)]);
    row.rid = random.next();
    row.length = random.one_in(4) ? static_cast<uint16_t>(random.below(12))
                                  : static_cast<uint16_t>(8 + random.below(20));
  }
  return all;
}

}  // namespace colx::test

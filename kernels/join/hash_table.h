// The hash table of the join: chained buckets of one cache line, 64 bytes, in four forms that
// differ in the bytes of a key and of a value and in nothing else.
//
//   byte 0         header: bits 0 to 3 the used slots, bit 6 unique, bit 7 chained
//   from key_bytes keys in slot order: a tag of low hash bits, or an exact code
//   up to byte 56  values in slot order
//   byte 56        address of the next bucket of the chain, valid if chained
//
// Slots fill from 0 and are never freed; what lies behind the used ones is stale. While a bucket is
// unique, none of its keys occurs again in it or further down its chain. Only a full bucket is
// chained. Buckets need no alignment, and all of a bucket may be read.
#pragma once

#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"
#include "kernels/join/bit_fields.h"
#include "kernels/join/key_layouts.h"

namespace colx {

inline constexpr uint32_t bucket_bytes = 64;
inline constexpr uint32_t next_bucket_at = 56;
inline constexpr uint8_t used_slots_mask = 0x0F;
inline constexpr uint8_t unique_mark = 0x40;
inline constexpr uint8_t chained_mark = 0x80;

// The used slots by header, a bit for each at a multiple of `stride`; words, which a mask takes as
// they lie.
template <unsigned stride>
inline constexpr std::array<uint32_t, 256> used_slot_bits = [] {
  std::array<uint32_t, 256> bits{};
  for (unsigned header = 0; header < 256; ++header)
    for (unsigned slot = 0; slot < (header & used_slots_mask) && slot * stride < 16; ++slot)
      bits[header] |= 1u << slot * stride;
  return bits;
}();
static_assert(used_slot_bits<1>[0x40] == 0 && used_slot_bits<1>[0xC9] == 0x1FF);
static_assert(used_slot_bits<2>[0x43] == 0x15);

template <unsigned key_width, unsigned value_width>
struct BucketForm {
  using Key = Unsigned<key_width>;
  using Value = Unsigned<value_width>;
  static constexpr unsigned key_bytes = key_width;
  static constexpr unsigned value_bytes = value_width;
  static constexpr unsigned slots = (next_bucket_at - key_bytes) / (key_bytes + value_bytes);
  static constexpr unsigned keys_at = key_bytes;
  static constexpr unsigned values_at = next_bucket_at - slots * value_bytes;
  static_assert(keys_at + slots * key_bytes <= values_at && slots <= used_slots_mask);

  // Where a set of slots has the bit of slot i: at i * slot_stride. Slots that fit a vector of two
  // bytes each keep the two bits that a comparison leaves; four lanes have a mask of their own.
  static constexpr unsigned slot_stride = slots <= 8 && slots != 4 ? 2 : 1;

  COLX_INLINE static uint8_t* key_at(uint8_t* bucket, size_t slot) {
    return bucket + keys_at + slot * key_bytes;
  }
  COLX_INLINE static uint8_t* value_at(uint8_t* bucket, size_t slot) {
    return bucket + values_at + slot * value_bytes;
  }

  // The value of the first slot of a set, which must not be empty.
  COLX_INLINE static Value first_value(const uint8_t* bucket, uint32_t set) {
    const size_t at = lowest_set_index(set) * (value_bytes / slot_stride);
    return load_as<Value>(bucket + values_at + at);
  }

  // The set of slots that hold the key. `header` is the bucket's: stale slots do not count.
  COLX_INLINE static uint32_t slots_of(const uint8_t* bucket, uint32_t header, Key key) {
    constexpr unsigned lanes = 16 / key_bytes;
    const Vec wanted = splat<key_bytes>(key);
    const uint8_t* const keys = bucket + keys_at;
    const uint32_t used = used_slot_bits<slot_stride>[header];
    Vec same = equal<key_bytes>(load(keys), wanted);
    if constexpr (slots == 4) return lane_top_bits(same) & used;
    if constexpr (slots > lanes)
      same = narrowed<key_bytes>(same, equal<key_bytes>(load(keys + 16), wanted));
    return top_bits(same) & used;
  }
};
static_assert(BucketForm<2, 8>::slots == 5 && BucketForm<2, 8>::values_at == 16);
static_assert(BucketForm<2, 4>::slots == 9 && BucketForm<2, 4>::values_at == 20);
static_assert(BucketForm<4, 8>::slots == 4 && BucketForm<4, 8>::values_at == 24);
static_assert(BucketForm<4, 4>::slots == 6 && BucketForm<4, 4>::values_at == 32);

// In the order of their codes: form f has code 1 << f.
enum class TableForm : uint32_t { k2v8, k2v4, k4v8, k4v4, none };
static_assert(1u << ordinal(TableForm::k4v4) == COLX_HT_K4V4);

template <TableForm form>
using FormOf = BucketForm<form == TableForm::k2v8 || form == TableForm::k2v4 ? 2 : 4,
                          form == TableForm::k2v8 || form == TableForm::k4v8 ? 8 : 4>;

// How a hash leads to a bucket.
struct BucketChoice {
  void* const* buckets;  // an array of buckets per partition
  uint64_t bucket_mask;
  uint64_t part_mask;  // 0: partition 0 whatever the hash
  uint32_t part_shift;
  uint32_t part_low_bits;
  uint64_t low_mask;  // low hash bits that join the partition number
};

// A table is one partition if the partition field adds no bits to the bucket field.
COLX_INLINE BucketChoice bucket_choice(const colx_ht* ht) {
  const bool one_partition =
      ht->colx_ht_part_hi == ht->colx_ht_bucket_hi && ht->colx_ht_part_low_bits == 0;
  return {ht->colx_ht_buckets,
          bits_up_to(ht->colx_ht_bucket_hi),
          one_partition ? 0 : bits_up_to(ht->colx_ht_part_hi),
          ht->colx_ht_part_shift,
          ht->colx_ht_part_low_bits,
          (uint64_t{1} << (ht->colx_ht_part_low_bits & 63)) - 1};
}

// Buckets by hash. Without partitions the one array is looked up once.
template <class Form, bool partitioned>
struct BucketFinder {
  BucketChoice choice;
  uint8_t* first;             // bucket array of partition 0
  uint64_t bucket_byte_mask;  // of the hash without its tag, times the bytes of a bucket

  COLX_INLINE explicit BucketFinder(const BucketChoice& of)
      : choice(of),
        first(static_cast<uint8_t*>(of.buckets[0])),
        bucket_byte_mask((of.bucket_mask >> (8 * Form::key_bytes)) * bucket_bytes) {}

  COLX_INLINE uint64_t partition(uint64_t hash) const {
    if constexpr (!partitioned) return 0;
    const uint64_t high = (hash & choice.part_mask) >> (choice.part_shift & 63);
    return high << (choice.part_low_bits & 63) | (hash & choice.low_mask);
  }

  COLX_INLINE uint8_t* bucket(uint64_t hash, uint64_t partition) const {
    uint8_t* array = first;
    if constexpr (partitioned) array = static_cast<uint8_t*>(choice.buckets[partition]);
    constexpr unsigned tag_to_bytes = 8 * Form::key_bytes - std::countr_zero(bucket_bytes);
    return array + (hash >> tag_to_bytes & bucket_byte_mask);
  }
  COLX_INLINE uint8_t* bucket(uint64_t hash) const { return bucket(hash, partition(hash)); }
};

// Calls work(finder) with the finder of buckets that a call needs.
template <class Form, class Work>
COLX_INLINE auto with_finder(const BucketChoice& choice, Work work) {
  if (choice.part_mask == 0) return work(BucketFinder<Form, false>(choice));
  return work(BucketFinder<Form, true>(choice));
}

// Reads the header of every row's first bucket by plain loads and gives the OR of `fact(header)`.
// No load waits for another one, so the misses of neighbouring rows overlap.
template <class Form, class Rows, class Fact>
COLX_INLINE uint32_t headers_or(const Rows& of, uint32_t rows, const BucketChoice& choice,
                                Fact fact) {
  return with_finder<Form>(
      choice, [&](const auto& finder) __attribute__((always_inline)) {
        decltype(fact(uint8_t{})) all = 0;
#pragma GCC unroll 2
        for (size_t r = 0; r < rows; ++r) all |= fact(*finder.bucket(of.hash(r)));
        return uint32_t{all};
      });
}

// Whether a table may be out of cache, as far as the hash bits above the tag tell.
template <class Form>
COLX_INLINE bool may_be_far(const BucketChoice& choice) {
  constexpr uint64_t near_bytes = 1 << 20;
  return (choice.bucket_mask | choice.part_mask) >> 8 * Form::key_bytes > near_bytes / bucket_bytes;
}

// Puts the first buckets of a block on their way.
template <class Form, class Rows>
COLX_INLINE void fetch_buckets(const Rows& of, uint32_t rows, const BucketChoice& choice) {
  with_finder<Form>(
      choice, [&](const auto& finder) __attribute__((always_inline)) {
        for (size_t r = 0; r < rows; ++r) prefetch(finder.bucket(of.hash(r)));
      });
}

// Puts the column on its way that the rows from `row` on of the next block take. Behind the last
// one nothing is amiss: hints never fault.
template <unsigned value_bytes>
COLX_INLINE void fetch_next_block(const void* block, size_t row, size_t rows) {
  const uint8_t* const from = bytes_at(block, (block_rows + row) * value_bytes);
  for (size_t line = 0; line < rows * value_bytes; line += 64) prefetch(from + line);
}

// The rows of a block: hash, and the key that a slot keeps.
struct HashRows {
  const uint64_t* hashes;
  COLX_INLINE uint64_t hash(size_t r) const { return load_as<uint64_t>(hashes + r); }
  COLX_INLINE uint64_t key(size_t r) const { return hash(r); }
  COLX_INLINE void fetch_next(size_t r, size_t rows) const { fetch_next_block<8>(hashes, r, rows); }
};

struct CodeRows {
  const uint64_t* hashes;
  const uint32_t* codes;
  COLX_INLINE uint64_t hash(size_t r) const { return load_as<uint64_t>(hashes + r); }
  COLX_INLINE uint64_t key(size_t r) const { return load_as<uint32_t>(codes + r); }
  COLX_INLINE void fetch_next(size_t r, size_t rows) const { fetch_next_block<4>(codes, r, rows); }
};

struct HashridRows {
  const void* records;
  COLX_INLINE const uint8_t* at(size_t r) const {
    return bytes_at(records, r * sizeof(HashridRecord));
  }
  COLX_INLINE uint64_t hash(size_t r) const {
    return load_as<uint64_t>(at(r) + offsetof(HashridRecord, hash));
  }
  COLX_INLINE uint64_t key(size_t r) const { return hash(r); }
  COLX_INLINE uint64_t value(size_t r) const { return load_as<uint64_t>(at(r)); }
};

struct HashgdridRows {
  const void* records;
  COLX_INLINE const uint8_t* at(size_t r) const {
    return bytes_at(records, r * sizeof(HashgdridRecord));
  }
  COLX_INLINE uint64_t hash(size_t r) const { return load_as<uint64_t>(at(r)); }
  COLX_INLINE uint64_t key(size_t r) const {
    return load_as<uint32_t>(at(r) + offsetof(HashgdridRecord, code));
  }
  COLX_INLINE uint64_t value(size_t r) const {
    return load_as<uint64_t>(at(r) + offsetof(HashgdridRecord, rid));
  }
};

COLX_INLINE HashRows rows_of(const uint64_t* hashes) {
  return {hashes};
}
COLX_INLINE HashridRows rows_of(const HashridRecord* records) {
  return {records};
}
COLX_INLINE HashgdridRows rows_of(const HashgdridRecord* records) {
  return {records};
}

// The values of a block that stand beside its keys: numbers from `first` on, whole, or an array of
// the table's value size.
struct NumberedValues {
  uint64_t first;
  COLX_INLINE uint64_t value(size_t r) const { return first + r; }
  COLX_INLINE void fetch_next(size_t, size_t) const {}
};

template <class Form>
struct ArrayValues {
  const void* values;
  COLX_INLINE uint64_t value(size_t r) const {
    return load_as<typename Form::Value>(bytes_at(values, r * Form::value_bytes));
  }
  COLX_INLINE void fetch_next(size_t r, size_t rows) const {
    fetch_next_block<Form::value_bytes>(values, r, rows);
  }
};

// Where the values come from: row numbers, an array, the records of the keys.
enum class RowValue : uint32_t { autorid, payload, record };

// What a pass gets of the vector of values for the rows from `row` on: the number of the first, or
// the address of its value.
template <RowValue kind, class Form>
COLX_INLINE auto values_from(const colx_cv* payload, uint64_t row) {
  if constexpr (kind == RowValue::autorid) {
    return payload->colx_cv_base_rid + row;
  } else {
    return static_cast<const void*>(bytes_at(payload->colx_cv_data, row * Form::value_bytes));
  }
}

// The codes of a vector from `row` on.
COLX_INLINE const uint32_t* codes_from(const colx_cv* src, uint64_t row) {
  return reinterpret_cast<const uint32_t*>(bytes_at(src->colx_cv_data, row * 4));
}

}  // namespace colx

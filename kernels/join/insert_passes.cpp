// The passes of the build: a look at the first buckets of a block's rows, then their insertion.
#include "kernels/join/table_passes.h"

namespace colx {
namespace {

// Puts a row into a bucket with a free slot. `header` is the bucket's, with what the caller adds to
// it. The keys are compared whether the bucket is marked or not: a clear mark stays clear.
template <class Form>
COLX_INLINE void put(uint8_t* bucket, uint32_t header, typename Form::Key key,
                     typename Form::Value value) {
  const uint32_t used = header & used_slots_mask;
  const bool repeated = Form::slots_of(bucket, header, key) != 0;
  store_as(Form::key_at(bucket, used), key);
  store_as(Form::value_at(bucket, used), value);
  *bucket = static_cast<uint8_t>((header & ~(repeated ? unique_mark : 0)) + 1);
}

// Without a branch: which buckets are empty is beyond prediction.
COLX_INLINE uint32_t marked_if_empty(uint32_t header) {
  static_assert(unique_mark == 1 << 6);
  return header | uint32_t{header == 0} << 6;
}

// Where the overflow buckets of a partition come from.
struct OverflowRoom {
  void** cursor;
  void* const* end;
};

// Puts a row at the end of the chain of its first bucket; false if that takes a bucket and there is
// no room for one. The marks that the key ends are cleared on the way, in the last bucket only if
// the row finds room. An empty bucket is not marked here. Of a new bucket nothing is written but
// header, key and value.
template <class Form>
COLX_INLINE bool put_in_chain(uint8_t* bucket, typename Form::Key key, typename Form::Value value,
                              OverflowRoom overflow) {
  uint32_t header = *bucket;
  for (; header & chained_mark; header = *bucket) {
    if (header & unique_mark && Form::slots_of(bucket, Form::slots, key) != 0)
      *bucket = static_cast<uint8_t>(header & ~unique_mark);
    bucket = load_as<uint8_t*>(bucket + next_bucket_at);
  }
  if ((header & used_slots_mask) < Form::slots) {
    put<Form>(bucket, header, key, value);
    return true;
  }
  uint8_t* const added = static_cast<uint8_t*>(*overflow.cursor);
  if (added >= *overflow.end) return false;
  const bool repeated = Form::slots_of(bucket, header, key) != 0;
  *bucket = static_cast<uint8_t>((header & ~(repeated ? unique_mark : 0)) | chained_mark);
  store_as(bucket + next_bucket_at, added);
  *overflow.cursor = added + bucket_bytes;
  *added = unique_mark + 1;
  store_as(Form::key_at(added, 0), key);
  store_as(Form::value_at(added, 0), value);
  return true;
}

// The prefetch pass's answer stays in force for the whole block, though its own rows may fill a
// bucket: it only says whether the short way is tried, which alone marks an empty bucket.
template <class Form, class Rows, class Values>
COLX_INLINE uint32_t insert(const Rows& of, const Values& values, uint32_t rows,
                            const BucketChoice& choice, OverflowRoom overflow,
                            uint32_t all_with_room) {
  return with_finder<Form>(
      choice, [&](const auto& finder) __attribute__((always_inline)) {
        for (uint32_t r = 0; r < rows; ++r) {
          const uint64_t hash = of.hash(r);
          const uint64_t partition = finder.partition(hash);
          uint8_t* const bucket = finder.bucket(hash, partition);
          const auto key = static_cast<typename Form::Key>(of.key(r));
          const auto value = static_cast<typename Form::Value>(values.value(r));
          const uint32_t header = *bucket;
          if (all_with_room && (header & used_slots_mask) < Form::slots)
            put<Form>(bucket, marked_if_empty(header), key, value);
          else if (!put_in_chain<Form>(bucket, key, value,
                                       {overflow.cursor + partition, overflow.end + partition}))
            return r;
        }
        return rows;
      });
}

// The used slots plus what is missing to 16: bit 4 is set in a full bucket.
template <class Form, class Rows>
COLX_INLINE uint32_t prefetch_rows(const Rows& of, uint32_t rows, const BucketChoice& choice) {
  constexpr uint32_t full_bit = used_slots_mask + 1;
  const auto fullness = [](uint8_t header) {
    return (header & used_slots_mask) + full_bit - Form::slots;
  };
  const uint32_t any = headers_or<Form>(of, rows, choice, fullness);
  return (any & full_bit) == 0;
}

}  // namespace

extern "C" {

#define COLX_CHOICE (BucketChoice{COLX_ARGS_bucket_choice})

#define COLX_DEFINE_PREFETCH(rows_name, form, pointer, Rows)                         \
  uint32_t colx_ht_build_prefetch_##rows_name##_##form(pointer first, uint32_t rows, \
                                                       COLX_PARAMS_bucket_choice) {  \
    return prefetch_rows<FormOf<TableForm::form>>(Rows{first}, rows, COLX_CHOICE);   \
  }                                                                                  \
  void colx_ht_fetch_##rows_name##_##form(pointer first, uint32_t rows,              \
                                          COLX_PARAMS_bucket_choice) {               \
    fetch_buckets<FormOf<TableForm::form>>(Rows{first}, rows, COLX_CHOICE);          \
  }
#define COLX_DEFINE_PREFETCHES(form)                                 \
  COLX_DEFINE_PREFETCH(hash_values, form, const uint64_t*, HashRows) \
  COLX_DEFINE_PREFETCH(hashrid, form, const void*, HashridRows)
COLX_TABLE_FORMS(COLX_DEFINE_PREFETCHES)
COLX_DEFINE_PREFETCH(hashgdrid, k4v8, const void*, HashgdridRows)

#define COLX_DEFINE_INSERT(name, form, rows_of, values_of, ...)                          \
  uint32_t colx_insert_##name##_##form(__VA_ARGS__, uint32_t rows, COLX_PARAMS_insert) { \
    using Form = FormOf<TableForm::form>;                                                \
    const OverflowRoom overflow = {over_cur, over_end};                                  \
    return insert<Form>(rows_of, values_of, rows, COLX_CHOICE, overflow, all_with_room); \
  }

#define COLX_DEFINE_INSERT_HASHES(form)                                                      \
  COLX_DEFINE_INSERT(hash_values_autorid, form, HashRows{hashes}, NumberedValues{first_rid}, \
                     const uint64_t* hashes, uint64_t first_rid)                             \
  COLX_DEFINE_INSERT(hash_values_payload, form, HashRows{hashes}, ArrayValues<Form>{values}, \
                     const uint64_t* hashes, const void* values)
COLX_TABLE_FORMS(COLX_DEFINE_INSERT_HASHES)

#define COLX_DEFINE_INSERT_RECORDS(name, form, Rows) \
  COLX_DEFINE_INSERT(name, form, Rows{records}, Rows{records}, const void* records)
#define COLX_DEFINE_INSERT_HASHRID(form) COLX_DEFINE_INSERT_RECORDS(hashrid, form, HashridRows)
COLX_TABLE_FORMS(COLX_DEFINE_INSERT_HASHRID)
COLX_DEFINE_INSERT_RECORDS(hashgdrid, k4v8, HashgdridRows)

#define COLX_DEFINE_INSERT_CODES(form)                                                       \
  COLX_DEFINE_INSERT(gd_autorid, form, (CodeRows{hashes, codes}), NumberedValues{first_rid}, \
                     const uint64_t* hashes, const uint32_t* codes, uint64_t first_rid)      \
  COLX_DEFINE_INSERT(gd_payload, form, (CodeRows{hashes, codes}), ArrayValues<Form>{values}, \
                     const uint64_t* hashes, const uint32_t* codes, const void* values)
COLX_CODE_TABLE_FORMS(COLX_DEFINE_INSERT_CODES)

}  // extern "C"
}  // namespace colx

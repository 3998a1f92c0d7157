// The passes of the probe: a look at the first buckets of a block's rows, then the search for their
// keys.
//
// The search goes in groups of rows and twice over each. First all rows compare their key with
// their first bucket, without a branch on data, and those that have anything to do are listed; then
// the list is worked off. Which rows hit is beyond prediction; that a listed row has one record is
// what most joins have.
#include "kernels/join/table_passes.h"

namespace colx {
namespace {

constexpr uint32_t group_rows = 128;

// What a bucket has for a key. A unique one ends the search with its first hit.
struct BucketHits {
  uint32_t slots;    // a bit per slot with a hit
  uint32_t further;  // 1: the search goes on in the next bucket, else 0
};

template <class Form>
COLX_INLINE BucketHits bucket_hits(const uint8_t* bucket, typename Form::Key key) {
  static_assert(chained_mark == 1 << 7 && unique_mark == 1 << 6);
  const uint32_t header = *bucket;
  const uint32_t slots = Form::slots_of(bucket, key, header & used_slots_mask);
  const uint32_t chained = header >> 7;
  const uint32_t unique = header >> 6 & 1;
  const uint32_t ended = unique & uint32_t{slots != 0};
  return {unique ? slots & -slots : slots, chained & ~ended};
}

COLX_INLINE const uint8_t* next_bucket(const uint8_t* bucket) {
  return load_as<const uint8_t*>(bucket + next_bucket_at);
}

// A row that hits in its first bucket or has to search further.
struct Candidate {
  const uint8_t* bucket;
  uint32_t row;
  uint16_t slots;
  uint16_t further;
};
static_assert(sizeof(Candidate) == 16);

// Lists the rows from `row` to `end`; the second buckets of chains are on their way then.
template <class Form, bool partitioned, bool chains, class Rows>
COLX_INLINE uint32_t list_candidates(const BucketFinder<Form, partitioned>& finder, const Rows& of,
                                     uint32_t row, uint32_t end, Candidate* list) {
  uint32_t listed = 0;
  for (; row < end; ++row) {
    const uint8_t* const bucket = finder.bucket(of.hash(row));
    const auto key = static_cast<typename Form::Key>(of.key(row));
    const BucketHits hits = bucket_hits<Form>(bucket, key);
    const uint32_t further = chains ? hits.further : 0;
    if constexpr (chains) prefetch(further ? next_bucket(bucket) : bucket);
    list[listed] = {bucket, row, static_cast<uint16_t>(hits.slots), static_cast<uint16_t>(further)};
    listed += (hits.slots | further) != 0;
  }
  return listed;
}

// The output of a pass.
struct Records {
  uint8_t* out;
  uint64_t room;  // in records
  uint64_t written;

  // False if a record finds no room.
  template <class Form>
  COLX_INLINE bool put(uint64_t left, const uint8_t* bucket, uint32_t slots) {
    for (; slots != 0; slots &= slots - 1) {
      if (written == room) return false;
      uint8_t* const record = out + written * sizeof(RidvalueRecord);
      store_as(record, left);
      store_as<uint64_t>(record + offsetof(RidvalueRecord, value),
                         Form::value(bucket, std::countr_zero(slots)));
      ++written;
    }
    return true;
  }
};

template <class Form, bool chains>
COLX_INLINE bool put_candidate(Records& records, const Candidate& candidate, typename Form::Key key,
                               uint64_t left) {
  const uint8_t* bucket = candidate.bucket;
  if (!records.template put<Form>(left, bucket, candidate.slots)) return false;
  if constexpr (chains) {
    for (uint32_t further = candidate.further; further;) {
      bucket = next_bucket(bucket);
      const BucketHits hits = bucket_hits<Form>(bucket, key);
      if (!records.template put<Form>(left, bucket, hits.slots)) return false;
      further = hits.further;
    }
  }
  return true;
}

// The room is looked at when a record is to be written and at no other time. The records of a row
// that finds none stay behind those that count.
template <class Form, bool partitioned, bool chains, class Rows, class Values>
COLX_INLINE uint32_t match_rows(Records records, const Rows& of, const Values& values,
                                uint32_t rows, uint32_t* stop_row, const BucketChoice& choice) {
  const BucketFinder<Form, partitioned> finder(choice);
  Candidate list[group_rows];
  for (uint32_t row = 0; row < rows; row += group_rows) {
    const uint32_t end = std::min(rows, row + group_rows);
    const uint32_t listed = list_candidates<Form, partitioned, chains>(finder, of, row, end, list);
    for (uint32_t k = 0; k < listed; ++k) {
      const uint64_t finished = records.written;
      const uint32_t r = list[k].row;
      const auto key = static_cast<typename Form::Key>(of.key(r));
      if (!put_candidate<Form, chains>(records, list[k], key, values.value(r))) {
        *stop_row = r;
        return static_cast<uint32_t>(finished);
      }
    }
  }
  *stop_row = rows;
  return static_cast<uint32_t>(records.written);
}

template <class Form, bool chains, class Rows, class Values>
COLX_INLINE uint32_t match_in(const Records& records, const Rows& of, const Values& values,
                              uint32_t rows, uint32_t* stop_row, const BucketChoice& choice) {
  if (choice.part_mask == 0)
    return match_rows<Form, false, chains>(records, of, values, rows, stop_row, choice);
  return match_rows<Form, true, chains>(records, of, values, rows, stop_row, choice);
}

template <class Form, class Rows, class Values>
COLX_INLINE uint32_t match(const Records& records, const Rows& of, const Values& values,
                           uint32_t rows, uint32_t* stop_row, const BucketChoice& choice,
                           uint32_t none_chained) {
  if (none_chained) return match_in<Form, false>(records, of, values, rows, stop_row, choice);
  return match_in<Form, true>(records, of, values, rows, stop_row, choice);
}

template <class Form>
COLX_INLINE uint32_t prefetch_rows(const uint64_t* hashes, uint32_t rows,
                                   const BucketChoice& choice) {
  const auto header = [](uint8_t header) { return uint32_t{header}; };
  const HashRows of = {hashes};
  const uint32_t any = choice.part_mask == 0 ? headers_or<Form, false>(of, rows, choice, header)
                                             : headers_or<Form, true>(of, rows, choice, header);
  return (any & chained_mark) == 0;
}

}  // namespace

extern "C" {

#define COLX_CHOICE (BucketChoice{COLX_ARGS_bucket_choice})

#define COLX_DEFINE_PREFETCH(form)                                            \
  uint32_t colx_match_prefetch_##form(const uint64_t* hashes, uint32_t rows,  \
                                      COLX_PARAMS_bucket_choice) {            \
    return prefetch_rows<FormOf<TableForm::form>>(hashes, rows, COLX_CHOICE); \
  }
COLX_TABLE_FORMS(COLX_DEFINE_PREFETCH)

#define COLX_DEFINE_MATCH(name, form, rows_of, values_of, ...)                                  \
  uint32_t colx_match_##form##_##name(void* out, const uint64_t* hashes, uint32_t rows,         \
                                      __VA_ARGS__, COLX_PARAMS_match) {                         \
    using Form = FormOf<TableForm::form>;                                                       \
    const Records records = {static_cast<uint8_t*>(out), room, 0};                              \
    return match<Form>(records, rows_of, values_of, rows, stop_row, COLX_CHOICE, none_chained); \
  }

#define COLX_DEFINE_MATCH_HASHES(form)                                          \
  COLX_DEFINE_MATCH(autorid, form, HashRows{hashes}, NumberedValues{first_rid}, \
                    uint64_t first_rid)                                         \
  COLX_DEFINE_MATCH(payload, form, HashRows{hashes}, ArrayValues<Form>{values}, const void* values)
COLX_TABLE_FORMS(COLX_DEFINE_MATCH_HASHES)

#define COLX_DEFINE_MATCH_CODES(form)                                                       \
  COLX_DEFINE_MATCH(gd_autorid, form, (CodeRows{hashes, codes}), NumberedValues{first_rid}, \
                    uint64_t first_rid, const uint32_t* codes)                              \
  COLX_DEFINE_MATCH(gd_payload, form, (CodeRows{hashes, codes}), ArrayValues<Form>{values}, \
                    const void* values, const uint32_t* codes)
COLX_CODE_TABLE_FORMS(COLX_DEFINE_MATCH_CODES)

}  // extern "C"
}  // namespace colx

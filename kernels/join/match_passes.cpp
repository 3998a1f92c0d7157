// The passes of the probe: a look at the first buckets of a block's rows, then the search for their
// keys.
//
// The search goes in groups of rows and twice over each. First every row compares its key with the
// keys of its first bucket, without a branch on data, and the rows that may have something to do
// are listed; then the list is worked off. Which rows hit is beyond prediction; that a listed row
// has one record, found in its first bucket, is what most joins have.
#include "kernels/join/table_passes.h"

namespace colx {
namespace {

constexpr uint32_t group_rows = 512;

// Rows of a group whose key stands in their first bucket, used or stale, or whose bucket is
// chained.
struct Candidates {
  uint32_t listed;
  const uint8_t* bucket[group_rows];
  uint16_t row[group_rows];
  uint16_t same[group_rows];  // slots with the key, used or stale
};

COLX_INLINE const uint8_t* next_bucket(const uint8_t* bucket) {
  return load_as<const uint8_t*>(bucket + next_bucket_at);
}

// Puts second buckets on their way, so that their misses overlap too.
COLX_INLINE void prefetch_next(const Candidates& list, const uint16_t* places, uint32_t chained) {
  for (uint32_t k = 0; k < chained; ++k) prefetch(next_bucket(list.bucket[places[k]]));
}

template <class Form, bool chains, class Finder, class Rows>
COLX_INLINE void list_candidates(Candidates& list, const Finder& finder, const Rows& of,
                                 size_t first, size_t end) {
  uint16_t chained_places[group_rows];
  uint32_t chained = 0;
  uint32_t listed = 0;
  for (size_t r = first; r < end; ++r) {
    const uint8_t* const bucket = finder.bucket(of.hash(r));
    const uint32_t same = Form::same_keys(bucket, static_cast<typename Form::Key>(of.key(r)));
    list.bucket[listed] = bucket;
    list.row[listed] = static_cast<uint16_t>(r - first);
    list.same[listed] = static_cast<uint16_t>(same);
    if constexpr (chains) {
      const uint32_t header = *bucket;
      chained_places[chained] = static_cast<uint16_t>(listed);
      chained += header >> 7;
      listed += (same | (header & chained_mark)) != 0;
    } else {
      listed += same != 0;
    }
  }
  list.listed = listed;
  if constexpr (chains) prefetch_next(list, chained_places, chained);
}

// The output of a pass.
struct Records {
  uint8_t* next;
  uint8_t* end;

  // Writes a record per slot, of a unique bucket for the first one alone; false if a record finds
  // no room.
  template <class Form>
  COLX_INLINE bool put(uint64_t left, const uint8_t* bucket, uint32_t slots) {
    while (slots != 0) {
      if (next == end) return false;
      store_as(next, left);
      store_as<uint64_t>(next + offsetof(RidvalueRecord, value),
                         Form::value(bucket, std::countr_zero(slots)));
      next += sizeof(RidvalueRecord);
      slots &= slots - 1;
      if (slots != 0 && *bucket & unique_mark) break;
    }
    return true;
  }

  // All records of a row. A hit in a unique bucket ends its search.
  template <class Form, bool chains>
  COLX_INLINE bool put_row(uint64_t left, const uint8_t* bucket, uint32_t same,
                           typename Form::Key key) {
    uint32_t slots = same & used_slots(*bucket);
    if (!put<Form>(left, bucket, slots)) return false;
    if constexpr (chains) {
      while (*bucket & chained_mark && !(*bucket & unique_mark && slots != 0)) {
        bucket = next_bucket(bucket);
        slots = Form::same_keys(bucket, key) & used_slots(*bucket);
        if (!put<Form>(left, bucket, slots)) return false;
      }
    }
    return true;
  }
};

// The room is looked at when a record is to be written and at no other time. The records of a row
// that finds none stay behind those that count.
template <class Form, bool partitioned, bool chains, class Rows, class Values>
COLX_INLINE uint32_t match_rows(Records records, const Rows& of, const Values& values,
                                uint32_t rows, uint32_t* stop_row, const BucketChoice& choice) {
  const BucketFinder<Form, partitioned> finder(choice);
  const uint8_t* const out = records.next;
  Candidates list;
  for (uint32_t first = 0; first < rows; first += group_rows) {
    list_candidates<Form, chains>(list, finder, of, first, std::min(rows, first + group_rows));
    for (uint32_t k = 0; k < list.listed; ++k) {
      const uint32_t r = first + list.row[k];
      const auto key = static_cast<typename Form::Key>(of.key(r));
      const uint8_t* const finished = records.next;
      if (!records.template put_row<Form, chains>(values.value(r), list.bucket[k], list.same[k],
                                                  key)) {
        *stop_row = r;
        return static_cast<uint32_t>((finished - out) / sizeof(RidvalueRecord));
      }
    }
  }
  *stop_row = rows;
  return static_cast<uint32_t>((records.next - out) / sizeof(RidvalueRecord));
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
    const Records records = {static_cast<uint8_t*>(out),                                        \
                             bytes_at(out, room * sizeof(RidvalueRecord))};                     \
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

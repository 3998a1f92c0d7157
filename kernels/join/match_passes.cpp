// The passes of the probe: a look at the first buckets of a block's rows, then the search for their
// keys.
//
// The search takes rows in groups. Records of a group are gathered beside the output, the first one
// of a row without a branch: which rows hit is beyond prediction. That a row has more records, or
// has to look into a second bucket, is seldom in most joins. A group whose records might not fit
// their place or do not fit the output is searched again row by row, straight into the output.
#include <algorithm>
#include <cstring>

#include "kernels/join/table_passes.h"

namespace colx {
namespace {

constexpr uint32_t group_rows = 128;
constexpr uint32_t record_bytes = sizeof(RidvalueRecord);

COLX_INLINE const uint8_t* next_bucket(const uint8_t* bucket) {
  return load_as<const uint8_t*>(bucket + next_bucket_at);
}

// The bytes of a record if the set of slots is not empty, else 0. Taken from the sign of the
// negated set, which compilers do not make a branch of.
COLX_INLINE uint32_t record_bytes_if_any(uint32_t slots) {
  return -slots >> 27 & record_bytes;
}

// Whether a search goes on behind a bucket with these hits. One in a unique bucket ends it.
COLX_INLINE bool goes_on(uint32_t header, uint32_t slots) {
  constexpr uint32_t to_mark = unique_mark / record_bytes;
  return (header & (chained_mark + record_bytes_if_any(slots) * to_mark)) == chained_mark;
}

COLX_INLINE void put_record(uint8_t* to, uint64_t left, uint64_t value) {
  store_as(to, left);
  store_as(to + offsetof(RidvalueRecord, value), value);
}

// The output of a pass.
struct Output {
  uint8_t* next;
  uint8_t* end;

  // All records of a row, false if one finds no room: the room is looked at when a record is to be
  // written and at no other time.
  template <class Form, bool chains>
  COLX_INLINE bool put_row(const uint8_t* bucket, typename Form::Key key, uint64_t left) {
    for (;; bucket = next_bucket(bucket)) {
      const uint32_t header = *bucket;
      const uint32_t slots = Form::slots_of(bucket, header, key);
      for (uint32_t rest = slots; rest != 0; rest &= rest - 1) {
        if (next == end) return false;
        put_record(next, left, Form::first_value(bucket, rest));
        next += record_bytes;
        if (header & unique_mark) break;
      }
      if (!chains || !goes_on(header, slots)) return true;
    }
  }
};

// The records of a group on their way to the output. The first record of a row always has a place;
// where it has more of them, or a chain, those before must not have passed the limit.
struct GroupRecords {
  static constexpr uint32_t limit = 4 * group_rows;
  static constexpr uint32_t room = limit + group_rows + used_slots_mask;
  alignas(16) uint8_t records[room * record_bytes];
  const uint8_t* last_place() const { return records + limit * record_bytes; }
};

// Puts the records of a bucket and gives their end, or null if there are too many. The first one is
// written even if there is none, and counts if there is.
template <class Form>
COLX_INLINE uint8_t* put_hits(uint8_t* to, const uint8_t* last_place, uint64_t left,
                              const uint8_t* bucket, uint32_t header, uint32_t slots) {
  constexpr uint32_t last_slot = 1 << (Form::slots - 1) * Form::slot_stride;
  put_record(to, left, Form::first_value(bucket, slots | last_slot));
  to += record_bytes_if_any(slots);
  const uint32_t more = slots & (slots - 1);
  if (more == 0) [[likely]]
    return to;
  // The header stays behind the branch: which first buckets are empty is beyond prediction.
  uint32_t marks = header;
  COLX_MEET_IN_REGISTER(marks);
  if (marks & unique_mark) return to;
  if (to > last_place) return nullptr;
  for (uint32_t rest = more; rest != 0; rest &= rest - 1) {
    put_record(to, left, Form::first_value(bucket, rest));
    to += record_bytes;
  }
  return to;
}

// The same for all buckets behind a row's first one.
template <class Form>
COLX_INLINE uint8_t* put_chain(uint8_t* to, const uint8_t* last_place, uint64_t left,
                               const uint8_t* bucket, typename Form::Key key) {
  uint32_t header;
  uint32_t slots;
  do {
    if (to > last_place) return nullptr;
    bucket = next_bucket(bucket);
    header = *bucket;
    slots = Form::slots_of(bucket, header, key);
    to = put_hits<Form>(to, last_place, left, bucket, header, slots);
  } while (to != nullptr && goes_on(header, slots));
  return to;
}

// Gathers the records of a group; gives their end, or null if there are too many.
template <class Form, bool chains, class Finder, class Rows, class Values>
COLX_INLINE uint8_t* gather_group(GroupRecords& group, const Finder& finder, const Rows& of,
                                  const Values& values, size_t first, size_t end) {
  uint8_t* to = group.records;
  const uint8_t* const last_place = group.last_place();
  for (size_t r = first; r < end; ++r) {
    const uint8_t* const bucket = finder.bucket(of.hash(r));
    const auto key = static_cast<typename Form::Key>(of.key(r));
    const uint64_t left = values.value(r);
    const uint32_t header = *bucket;
    const uint32_t slots = Form::slots_of(bucket, header, key);
    to = put_hits<Form>(to, last_place, left, bucket, header, slots);
    if (to == nullptr) return nullptr;
    if (chains && goes_on(header, slots)) [[unlikely]] {
      to = put_chain<Form>(to, last_place, left, bucket, key);
      if (to == nullptr) return nullptr;
    }
  }
  return to;
}

// Puts the second buckets of chains on their way.
template <class Finder, class Rows>
COLX_INLINE void prefetch_chains(const Finder& finder, const Rows& of, uint32_t rows) {
  const uint8_t* chained[group_rows];
  for (uint32_t first = 0; first < rows; first += group_rows) {
    const uint32_t end = std::min(rows, first + group_rows);
    uint32_t found = 0;
    for (size_t r = first; r < end; ++r) {
      chained[found] = finder.bucket(of.hash(r));
      found += *chained[found] >> 7;
    }
    for (uint32_t k = 0; k < found; ++k) prefetch(next_bucket(chained[k]));
  }
}

// Gathers a group and puts it out; false, with nothing put out, if that cannot be.
template <class Form, bool chains, class Finder, class Rows, class Values>
COLX_INLINE bool put_group(Output& output, GroupRecords& group, const Finder& finder,
                           const Rows& of, const Values& values, size_t first, size_t end) {
  const uint8_t* const to = gather_group<Form, chains>(group, finder, of, values, first, end);
  if (to == nullptr) return false;
  const auto bytes = static_cast<size_t>(to - group.records);
  if (bytes > static_cast<size_t>(output.end - output.next)) return false;
  if (bytes != 0) std::memcpy(output.next, group.records, bytes);
  output.next += bytes;
  return true;
}

// After a group that could not be gathered the others are not tried: its like will follow.
template <class Form, bool chains, class Finder, class Rows, class Values>
COLX_INLINE uint32_t match_rows(Output output, const Finder& finder, const Rows& of,
                                const Values& values, uint32_t rows, uint32_t* stop_row) {
  const uint8_t* const out = output.next;
  GroupRecords group;
  bool gathers = true;
  uint32_t first = 0;
  for (uint32_t end; first < rows; first = end) {
    end = std::min(rows, first + group_rows);
    of.fetch_next(first, group_rows);
    values.fetch_next(first, group_rows);
    gathers = gathers && put_group<Form, chains>(output, group, finder, of, values, first, end);
    if (gathers) continue;
    for (uint32_t r = first; r < end; ++r) {
      const uint8_t* const finished = output.next;
      const auto key = static_cast<typename Form::Key>(of.key(r));
      const uint8_t* const bucket = finder.bucket(of.hash(r));
      if (output.template put_row<Form, chains>(bucket, key, values.value(r))) continue;
      *stop_row = r;
      return static_cast<uint32_t>((finished - out) / record_bytes);
    }
  }
  *stop_row = rows;
  return static_cast<uint32_t>((output.next - out) / record_bytes);
}

template <class Form, class Rows, class Values>
COLX_INLINE uint32_t match(const Output& output, const Rows& of, const Values& values,
                           uint32_t rows, uint32_t* stop_row, const BucketChoice& choice,
                           uint32_t none_chained) {
  return with_finder<Form>(
      choice, [&](const auto& finder) __attribute__((always_inline)) {
        if (none_chained)
          return match_rows<Form, false>(output, finder, of, values, rows, stop_row);
        if (may_be_far<Form>(choice)) prefetch_chains(finder, of, rows);
        return match_rows<Form, true>(output, finder, of, values, rows, stop_row);
      });
}

template <class Form>
COLX_INLINE uint32_t prefetch_rows(const uint64_t* hashes, uint32_t rows,
                                   const BucketChoice& choice) {
  const auto header = [](uint8_t header) { return header; };
  return (headers_or<Form>(HashRows{hashes}, rows, choice, header) & chained_mark) == 0;
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

#define COLX_DEFINE_MATCH(name, form, rows_of, values_of, ...)                                 \
  uint32_t colx_match_##form##_##name(void* out, const uint64_t* hashes, uint32_t rows,        \
                                      __VA_ARGS__, COLX_PARAMS_match) {                        \
    using Form = FormOf<TableForm::form>;                                                      \
    const Output output = {static_cast<uint8_t*>(out),                                         \
                           bytes_at(out, room * sizeof(RidvalueRecord))};                      \
    return match<Form>(output, rows_of, values_of, rows, stop_row, COLX_CHOICE, none_chained); \
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

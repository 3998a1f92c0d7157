#include "tests/support/table_passes.h"

#include "kernels/join/table_passes.h"
#include "tests/support/chosen_hash.h"

namespace colx::test {
namespace {

using oracle::BucketChoice;
using oracle::KeyLayout;

constexpr uint32_t k2v8 = COLX_HT_K2V8, k2v4 = COLX_HT_K2V4, k4v8 = COLX_HT_K4V8,
                   k4v4 = COLX_HT_K4V4;

}  // namespace

void PassColumn::set(KeyLayout layout, bool autorid, const TableShape& shape,
                     const std::vector<KeyRow>& key_rows, Random& random) {
  KeyBatch batch;
  batch.layout = layout;
  batch.rows = key_rows;
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  keys_.set(batch);
  const uint64_t first_rid = random.next();
  if (autorid) {
    payload_.set_autorid(first_rid);
  } else {
    std::vector<uint64_t> values(key_rows.size());
    for (uint64_t& value : values) value = random.next();
    payload_.set_array(values, shape.form().value_bytes, batch.edge);
  }
  keys_.remember();
  payload_.remember();
  meaning =
      oracle::row_block(shape.form(), layout, autorid, keys_.cv, payload_.cv, 0, 0, chosen_hash)
          .rows;

  std::vector<uint64_t> hashes;
  for (const oracle::TableRow& row : meaning) hashes.push_back(row.hash);
  const auto* const bytes = reinterpret_cast<const uint8_t*>(hashes.data());
  const uint8_t* const placed = hash_pages_.place({bytes, 8 * hashes.size()}, 0, batch.edge);
  rows = {reinterpret_cast<const uint64_t*>(placed),
          keys_.cv.colx_cv_data,
          static_cast<const uint32_t*>(keys_.cv.colx_cv_data),
          first_rid,
          payload_.cv.colx_cv_data,
          static_cast<uint32_t>(key_rows.size())};
}

std::string PassColumn::damage() const {
  std::string text = keys_.damage();
  return text.empty() ? payload_.damage() : text;
}

void fill_at_random(TableMemory& table, TableKeys keys, uint32_t rows, uint32_t tags,
                    Random& random) {
  const TableShape& shape = table.shape();
  const BucketChoice choice = oracle::bucket_choice(table.ht, false);
  for (const KeyRow& row : meeting_rows(shape, rows, tags, random)) {
    oracle::TableRow one[] = {{row.hash, oracle::tag_of(shape.form(), row.hash), row.rid}};
    if (keys == TableKeys::codes) one[0] = {chosen_hash(&row.code, 4, 0), row.code, row.rid};
    oracle::insert_rows(shape.form(), choice, table.ht.colx_ht_buckets, table.ht.colx_ht_over_cur,
                        table.ht.colx_ht_over_end, one, random.one_in(2));
  }
  for (uint64_t b = 0; b < uint64_t{shape.partitions} * shape.buckets; ++b) {
    uint8_t* const header = table.bucket(0, b);
    if (*header != 0 && random.one_in(3)) *header ^= oracle::unique_mark;
  }
}

#define COLX_CHOICE                                                                       \
  buckets, choice.bucket_mask, choice.part_mask, choice.part_shift, choice.part_low_bits, \
      choice.low_mask

#define COLX_PREFETCH(pass, form, layout, rows_of)                           \
  {#pass "_" #form,                                                          \
   [](const PassRows& r, void* const* buckets, const BucketChoice& choice) { \
     return pass##_##form(r.rows_of, r.count, COLX_CHOICE);                  \
   },                                                                        \
   oracle::table_form(form), KeyLayout::layout},
#define COLX_BUILD_PREFETCH(form)                                              \
  COLX_PREFETCH(colx_ht_build_prefetch_hash_values, form, hash_values, hashes) \
  COLX_PREFETCH(colx_ht_build_prefetch_hashrid, form, hashrid, records)
#define COLX_MATCH_PREFETCH(form) COLX_PREFETCH(colx_match_prefetch, form, hash_values, hashes)

const std::vector<PrefetchPass>& build_prefetch_passes() {
  static const std::vector<PrefetchPass> passes = {
      COLX_TABLE_FORMS(COLX_BUILD_PREFETCH)
          COLX_PREFETCH(colx_ht_build_prefetch_hashgdrid, k4v8, hashgdrid, records)};
  return passes;
}

const std::vector<PrefetchPass>& match_prefetch_passes() {
  static const std::vector<PrefetchPass> passes = {COLX_TABLE_FORMS(COLX_MATCH_PREFETCH)};
  return passes;
}

#define COLX_INSERT(pass, form, layout, autorid, ...)                                    \
  {#pass "_" #form,                                                                      \
   [](const PassRows& r, const colx_ht& ht, const BucketChoice& choice, uint32_t flag) { \
     void* const* const buckets = ht.colx_ht_buckets;                                    \
     return pass##_##form(__VA_ARGS__, r.count, COLX_CHOICE, ht.colx_ht_over_cur,        \
                          ht.colx_ht_over_end, flag);                                    \
   },                                                                                    \
   oracle::table_form(form), KeyLayout::layout, autorid},
#define COLX_INSERT_HASHES(f)                                                               \
  COLX_INSERT(colx_insert_hash_values_autorid, f, hash_values, true, r.hashes, r.first_rid) \
  COLX_INSERT(colx_insert_hash_values_payload, f, hash_values, false, r.hashes, r.values)   \
  COLX_INSERT(colx_insert_hashrid, f, hashrid, false, r.records)
#define COLX_INSERT_CODES(f)                                                       \
  COLX_INSERT(colx_insert_gd_autorid, f, gd, true, r.hashes, r.codes, r.first_rid) \
  COLX_INSERT(colx_insert_gd_payload, f, gd, false, r.hashes, r.codes, r.values)

const std::vector<InsertPass>& insert_passes() {
  static const std::vector<InsertPass> passes = {
      COLX_TABLE_FORMS(COLX_INSERT_HASHES) COLX_CODE_TABLE_FORMS(COLX_INSERT_CODES)
          COLX_INSERT(colx_insert_hashgdrid, k4v8, hashgdrid, false, r.records)};
  return passes;
}

#define COLX_MATCH(pass, form, layout, autorid, ...)                                         \
  {#pass,                                                                                    \
   [](void* out, const PassRows& r, uint64_t room, uint32_t* stop_row, void* const* buckets, \
      const BucketChoice& choice, uint32_t flag) {                                           \
     return pass(out, r.hashes, r.count, __VA_ARGS__, room, stop_row, COLX_CHOICE, flag);    \
   },                                                                                        \
   oracle::table_form(form), KeyLayout::layout, autorid},
#define COLX_MATCH_HASHES(form)                                                 \
  COLX_MATCH(colx_match_##form##_autorid, form, hash_values, true, r.first_rid) \
  COLX_MATCH(colx_match_##form##_payload, form, hash_values, false, r.values)
#define COLX_MATCH_CODES(form)                                                     \
  COLX_MATCH(colx_match_##form##_gd_autorid, form, gd, true, r.first_rid, r.codes) \
  COLX_MATCH(colx_match_##form##_gd_payload, form, gd, false, r.values, r.codes)

const std::vector<MatchPass>& match_passes() {
  static const std::vector<MatchPass> passes = {COLX_TABLE_FORMS(COLX_MATCH_HASHES)
                                                    COLX_CODE_TABLE_FORMS(COLX_MATCH_CODES)};
  return passes;
}

}  // namespace colx::test

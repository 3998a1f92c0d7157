// Prototypes of the hash table's kernels and of the passes that they run over a block of at most
// 1024 rows. Hidden C linkage: profiles, debuggers and tests know them by name.
//
// A pass gets its rows, their number, and how a hash leads to a bucket (bucket_choice): the bucket
// arrays (one per partition), the bucket mask, the partition mask (0: partition 0 whatever the
// hash), the right shift of the partition field, the number of low hash bits that join the
// partition number and their mask.
#pragma once

#include "kernels/join/hash_table.h"

// The axes. K is called as K(form, layout, value), layouts standing in the order in which flags are
// tried: 48 kernels on hashed keys and 4 on exact codes, for build and for probe alike.
#define COLX_TABLE_FORMS(X)          X(k2v8) X(k2v4) X(k4v8) X(k4v4)
#define COLX_CODE_TABLE_FORMS(X)     X(k4v8) X(k4v4)
#define COLX_OF_KEY(form, layout, K) K(form, layout, autorid) K(form, layout, payload)
#define COLX_OF_FORM(form, K)  \
  COLX_OF_KEY(form, fixed, K)  \
  COLX_OF_KEY(form, lv_sep, K) \
  COLX_OF_KEY(form, lv, K)     \
  COLX_OF_KEY(form, lp_sep, K) COLX_OF_KEY(form, lp, K) COLX_OF_KEY(form, hash_values, K)
#define COLX_HASHED_TABLE_KERNELS(K) \
  COLX_OF_FORM(k2v8, K) COLX_OF_FORM(k2v4, K) COLX_OF_FORM(k4v8, K) COLX_OF_FORM(k4v4, K)
#define COLX_CODE_TABLE_KERNELS(K) COLX_OF_KEY(k4v8, gd, K) COLX_OF_KEY(k4v4, gd, K)

#define COLX_PARAMS_ht_build                                                                   \
  colx_ht *ht, colx_cv *src, [[maybe_unused]] colx_cv *payload, int32_t part, colx_hash_fn fn, \
      colx_kctx *kctx
#define COLX_ARGS_ht_build ht, src, payload, part, fn, kctx

#define COLX_PARAMS_ht_probe \
  colx_cv *res, colx_cv *src, colx_cv *payload, const colx_ht *ht, colx_hash_fn fn, colx_kctx *kctx
#define COLX_ARGS_ht_probe res, src, payload, ht, fn, kctx

#define COLX_PARAMS_bucket_choice                                                      \
  void *const *buckets, uint64_t bucket_mask, uint64_t part_mask, uint32_t part_shift, \
      uint32_t part_low_bits, uint64_t low_mask
#define COLX_ARGS_bucket_choice buckets, bucket_mask, part_mask, part_shift, part_low_bits, low_mask
#define COLX_ARGS_of_choice(choice)                                                \
  (choice).buckets, (choice).bucket_mask, (choice).part_mask, (choice).part_shift, \
      (choice).part_low_bits, (choice).low_mask

// What an insert pass gets besides: per partition where the next overflow bucket goes and where
// that room ends, and what the prefetch pass gave for these rows.
#define COLX_PARAMS_insert \
  COLX_PARAMS_bucket_choice, void **over_cur, void *const *over_end, uint32_t all_with_room

// What a match pass gets besides, between its values and the bucket choice: the room of the output
// in records, and where the number of rows goes that were finished; at the end what the prefetch
// pass gave for these rows.
#define COLX_PARAMS_room  uint64_t room, uint32_t *stop_row
#define COLX_PARAMS_match COLX_PARAMS_room, COLX_PARAMS_bucket_choice, uint32_t none_chained

#pragma GCC visibility push(hidden)
extern "C" {

#define COLX_DECLARE(form, layout, value)                                   \
  uint32_t colx_ht_build_##form##_##layout##_##value(COLX_PARAMS_ht_build); \
  uint32_t colx_ht_probe_##form##_##layout##_##value(COLX_PARAMS_ht_probe);
COLX_HASHED_TABLE_KERNELS(COLX_DECLARE)
COLX_CODE_TABLE_KERNELS(COLX_DECLARE)
#undef COLX_DECLARE

uint32_t colx_ht_build_k4v8_hashgdrid(COLX_PARAMS_ht_build);
#define COLX_DECLARE(form) uint32_t colx_ht_build_##form##_hashrid(COLX_PARAMS_ht_build);
COLX_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE

// Prefetch passes read the header of every row's first bucket. Build: 1 if each of them has a free
// slot, else 0. Probe: 1 if none of them is chained, else 0. No rows give 1.
#define COLX_DECLARE(form)                                                                  \
  uint32_t colx_ht_build_prefetch_hash_values_##form(const uint64_t* hashes, uint32_t rows, \
                                                     COLX_PARAMS_bucket_choice);            \
  uint32_t colx_ht_build_prefetch_hashrid_##form(const void* records, uint32_t rows,        \
                                                 COLX_PARAMS_bucket_choice);                \
  uint32_t colx_match_prefetch_##form(const uint64_t* hashes, uint32_t rows,                \
                                      COLX_PARAMS_bucket_choice);
COLX_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE
uint32_t colx_ht_build_prefetch_hashgdrid_k4v8(const void* records, uint32_t rows,
                                               COLX_PARAMS_bucket_choice);

// Fetch passes go before prefetch passes where the table may be far away. They put the same buckets
// on their way by hints: rows that wait for memory fill the processor long before all of its line
// buffers are in use, and hints do not wait.
#define COLX_DECLARE(form)                                                     \
  void colx_ht_fetch_hash_values_##form(const uint64_t* hashes, uint32_t rows, \
                                        COLX_PARAMS_bucket_choice);            \
  void colx_ht_fetch_hashrid_##form(const void* records, uint32_t rows, COLX_PARAMS_bucket_choice);
COLX_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE
void colx_ht_fetch_hashgdrid_k4v8(const void* records, uint32_t rows, COLX_PARAMS_bucket_choice);

// Insert passes put the rows into the table in order and return how many they put: fewer than all
// if the next one needs an overflow bucket and its partition has no room for one. Values are cut to
// the table's value size; an array of values has elements of that size.
#define COLX_DECLARE(form)                                                                    \
  uint32_t colx_insert_hash_values_autorid_##form(const uint64_t* hashes, uint64_t first_rid, \
                                                  uint32_t rows, COLX_PARAMS_insert);         \
  uint32_t colx_insert_hash_values_payload_##form(const uint64_t* hashes, const void* values, \
                                                  uint32_t rows, COLX_PARAMS_insert);         \
  uint32_t colx_insert_hashrid_##form(const void* records, uint32_t rows, COLX_PARAMS_insert);
COLX_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE
uint32_t colx_insert_hashgdrid_k4v8(const void* records, uint32_t rows, COLX_PARAMS_insert);
#define COLX_DECLARE(form)                                                                       \
  uint32_t colx_insert_gd_autorid_##form(const uint64_t* hashes, const uint32_t* codes,          \
                                         uint64_t first_rid, uint32_t rows, COLX_PARAMS_insert); \
  uint32_t colx_insert_gd_payload_##form(const uint64_t* hashes, const uint32_t* codes,          \
                                         const void* values, uint32_t rows, COLX_PARAMS_insert);
COLX_CODE_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE

// Match passes write a ridvalue record per hit to `out`: the row's own value and the slot's, both
// widened to 64 bits. They return the records of the finished rows. A row that finds no room for a
// record ends the pass unfinished; what it wrote stays behind the records that count.
#define COLX_DECLARE(form)                                                               \
  uint32_t colx_match_##form##_autorid(void* out, const uint64_t* hashes, uint32_t rows, \
                                       uint64_t first_rid, COLX_PARAMS_match);           \
  uint32_t colx_match_##form##_payload(void* out, const uint64_t* hashes, uint32_t rows, \
                                       const void* values, COLX_PARAMS_match);
COLX_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE
#define COLX_DECLARE(form)                                                                  \
  uint32_t colx_match_##form##_gd_autorid(void* out, const uint64_t* hashes, uint32_t rows, \
                                          uint64_t first_rid, const uint32_t* codes,        \
                                          COLX_PARAMS_match);                               \
  uint32_t colx_match_##form##_gd_payload(void* out, const uint64_t* hashes, uint32_t rows, \
                                          const void* values, const uint32_t* codes,        \
                                          COLX_PARAMS_match);
COLX_CODE_TABLE_FORMS(COLX_DECLARE)
#undef COLX_DECLARE

}  // extern "C"
#pragma GCC visibility pop

// Group keys: the dictionary codes of several columns, folded row by row into one 32-bit key.
//
//   multiplied   key = key * symbols of the column + code
//   shifted      key = (key << bits of a code of the column) + code
//
// from the first column, whose code is the first key, to the last one. Keys wrap. Columns are
// unpacked chunk by chunk, the first into the keys, each other one into the scratch array, whose
// capacity is the size of a chunk.
#include "kernels/aggregate/group_keys.h"

#include <algorithm>

#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/operation_names.h"
#include "kernels/frame/vectors.h"

namespace colx {
namespace {

// Replaces keys by lanes(four keys, i), four vectors a turn while there are as many; the others one
// by one by the same rule.
template <class Lanes, class One>
COLX_INLINE void replace_all(uint32_t* keys, uint64_t n, const Lanes& lanes, const One& one) {
  uint8_t* const at = bytes_at(keys, 0);
  uint64_t i = 0;
  for (; n - i >= 16; i += 16) {
#pragma GCC unroll 4
    for (uint64_t k = 0; k < 16; k += 4)
      store(at + i * 4 + k * 4, lanes(load(at + i * 4 + k * 4), i + k));
  }
  for (; n - i >= 4; i += 4) store(at + i * 4, lanes(load(at + i * 4), i));
  for (; i < n; ++i) store_as(at + i * 4, one(load_as<uint32_t>(at + i * 4), i));
}

// How the keys of some columns make room for the code of the next one: four keys, or one.
struct MultipliedKeys {
  uint32_t by;
  COLX_INLINE Vec operator()(Vec keys) const { return product<4>(keys, splat<4>(by)); }
  COLX_INLINE uint32_t operator()(uint32_t key) const { return key * by; }
};

struct ShiftedKeys {
  uint32_t by;  // below 32
  COLX_INLINE Vec operator()(Vec keys) const { return shifted_left_by(keys, by); }
  COLX_INLINE uint32_t operator()(uint32_t key) const { return key << by; }
};

struct KeysAsTheyAre {
  COLX_INLINE Vec operator()(Vec keys) const { return keys; }
  COLX_INLINE uint32_t operator()(uint32_t key) const { return key; }
};

MultipliedKeys multiplied_by(uint64_t factor) {
  return {static_cast<uint32_t>(factor)};
}

ShiftedKeys shifted_by(uint64_t bits) {
  return {static_cast<uint32_t>(bits & 31)};
}

template <class Keys>
COLX_INLINE void make_room(uint32_t* keys, uint64_t n, const Keys& with_room) {
  replace_all(
      keys, n, [with_room](Vec key, uint64_t) { return with_room(key); },
      [with_room](uint32_t key, uint64_t) { return with_room(key); });
}

template <class Keys>
COLX_INLINE void take_codes(uint32_t* keys, const uint32_t* codes, uint64_t n,
                            const Keys& with_room) {
  replace_all(
      keys, n,
      [codes, with_room](Vec key, uint64_t i) { return sum<4>(with_room(key), load(codes + i)); },
      [codes, with_room](uint32_t key, uint64_t i) {
        return with_room(key) + load_as<uint32_t>(codes + i);
      });
}

}  // namespace

extern "C" {

void colx_mul_ub4_const(uint32_t* keys, uint64_t factor, uint64_t n) {
  make_room(keys, n, multiplied_by(factor));
}

void colx_shl_ub4_const(uint32_t* keys, uint64_t shift, uint64_t n) {
  make_room(keys, n, shifted_by(shift));
}

void colx_add_ub4(uint32_t* keys, const uint32_t* other, uint64_t n) {
  take_codes(keys, other, n, KeysAsTheyAre{});
}

}  // extern "C"

namespace {

// A column while its chunks are composed: the place of its decoder between chunks, its factor.
struct ColumnRecord {
  uint32_t state1;
  uint32_t state2;
  uint32_t factor;
};
static_assert(sizeof(ColumnRecord) == 12);

constexpr uint64_t largest_key_space = 0xFFFFFFFF;

// The number of keys, by form; every key is below it. Columns are checked one by one.
uint32_t find_key_space(uint32_t* key_space, const colx_cv* cols, uint32_t num_cols,
                        bool multiplied) {
  uint64_t space = 1;
  for (uint32_t i = 0; i < num_cols; ++i) {
    const colx_enc_ctx* const enc = cols[i].colx_cv_encoding_context;
    if (!(enc->colx_enc_ctx_flags & COLX_DICT)) return COLX_NOT_SERVED;
    const uint64_t symbols = enc->colx_enc_ctx_num_symbols;
    space = multiplied ? space * symbols : ((space - 1) << enc->colx_enc_ctx_width) + symbols;
    if (space > largest_key_space) return COLX_KEY_SPACE_TOO_BIG;
  }
  *key_space = static_cast<uint32_t>(space);
  return COLX_DONE;
}

struct Composition {
  colx_cv* cols;
  uint32_t num_cols;
  ColumnRecord* records;
  uint32_t with_runs;  // bit i: column i is run-length encoded; those from the 33rd on are not told
  bool multiplied;
  colx_kctx decoding;  // the caller's, with codes of 4 bytes
};

// Fills the records. Every decoder of runs starts afresh.
void prepare_columns(Composition& all) {
  for (uint32_t i = 0; i < all.num_cols; ++i) {
    const colx_enc_ctx* const enc = all.cols[i].colx_cv_encoding_context;
    const bool runs = (enc->colx_enc_ctx_flags & COLX_RLE) != 0;
    all.records[i] = {0, 0,
                      all.multiplied ? enc->colx_enc_ctx_num_symbols : enc->colx_enc_ctx_width};
    if (runs && i < 32) all.with_runs |= uint32_t{1} << i;
  }
}

// Column `i` from row `from` on. A decoder that is not told goes on from the states that the last
// one left.
void decode_column(Composition& all, uint32_t i, uint32_t from, colx_cv* codes) {
  const bool told = i < 32 && (all.with_runs >> i & 1) != 0;
  ColumnRecord& record = all.records[i];
  all.decoding.colx_kctx_position = from;
  if (told) {
    all.decoding.colx_kctx_state1 = record.state1;
    all.decoding.colx_kctx_state2 = record.state2;
  }
  colx_dispatch_decode_unpack(codes, &all.cols[i], &all.decoding);
  if (told) {
    record.state1 = all.decoding.colx_kctx_state1;
    record.state2 = all.decoding.colx_kctx_state2;
  }
}

// The keys of a chunk of up to `room` rows from row `from` on; returns how many. All columns go by
// the count of the first one, and the last one says where the chunk ended.
uint32_t compose_chunk(Composition& all, uint32_t from, uint32_t* keys, uint32_t room,
                       const colx_cv* scratch) {
  colx_cv codes = {};
  codes.colx_cv_num_of_rows = std::min(room, scratch->colx_cv_num_of_rows);
  codes.colx_cv_data = keys;
  decode_column(all, 0, from, &codes);
  const uint32_t rows = codes.colx_cv_num_set;
  codes.colx_cv_data = scratch->colx_cv_data;
  for (uint32_t i = 1; i < all.num_cols; ++i) {
    decode_column(all, i, from, &codes);
    // One pass: the keys are read and written once for a column.
    const auto* const next = static_cast<const uint32_t*>(scratch->colx_cv_data);
    if (all.multiplied)
      take_codes(keys, next, rows, multiplied_by(all.records[i].factor));
    else
      take_codes(keys, next, rows, shifted_by(all.records[i].factor));
  }
  return rows;
}

}  // namespace
}  // namespace colx

extern "C" {

// The caller's kctx is left as it came, also when the room runs out: where to go on follows from
// the number of keys.
uint32_t colx_groupkey_dydi(colx_cv* res, uint32_t* key_space, colx_cv* cols, uint32_t num_cols,
                            colx_cv* scratch, colx_kctx* kctx) {
  using namespace colx;
  const bool multiplied = (kctx->colx_kctx_flags & COLX_KCTX_MULTIPLY_KEYS) != 0;
  const uint32_t refused = find_key_space(key_space, cols, num_cols, multiplied);
  if (refused != COLX_DONE) return refused;

  const colx_env* const env = kctx->colx_kctx_env;
  uint64_t cookie = 0;
  void* const records =
      env->colx_env_alloc(env->colx_env_host, uint64_t{num_cols} * sizeof(ColumnRecord),
                          "colx_groupkey_dydi: temp column info", 4, 0, &cookie);
  Composition all = {cols, num_cols, static_cast<ColumnRecord*>(records), 0, multiplied, *kctx};
  all.decoding.colx_kctx_flags |= COLX_KCTX_WIDE_CODES;
  prepare_columns(all);

  const uint32_t total = cols[0].colx_cv_num_of_rows;
  uint32_t next = kctx->colx_kctx_position;
  uint32_t* keys = static_cast<uint32_t*>(res->colx_cv_data);
  uint32_t room = res->colx_cv_num_of_rows;
  uint32_t written = 0;
  while (next < total && room != 0) {
    const uint32_t rows = compose_chunk(all, next, keys, room, scratch);
    written += rows;
    keys += rows;
    room -= rows;
    next = all.decoding.colx_kctx_position + 1;
  }
  env->colx_env_free(env->colx_env_host, records, cookie);
  res->colx_cv_num_set = written;
  return room == 0 && next < total ? COLX_OUT_OF_ROOM : COLX_DONE;
}

}  // extern "C"

// Layouts of keys and of the payloads that are carried along, each described once. A layout of byte
// values is a struct that stands at one row of a vector:
//
//   streamed      values follow one another without an index; a row is found by its byte offset
//   of            stands at `row`; `from` is its byte offset in a streamed vector, else not read
//   value         the row's bytes
//   pass          moves on to the next row, past the value just seen
//
// Streamed layouts have the bytes of a row in the stream too (stride). Row numbers and offsets are
// numbers of 64 bits, lengths are 16 bits wide in memory and widened before anything is added.
#pragma once

#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"

namespace colx {

// The number of an enumerator, as an index.
template <class Enumeration>
constexpr uint32_t ordinal(Enumeration value) {
  return static_cast<uint32_t>(value);
}

// Rows that are hashed together, ahead of what is done with them.
inline constexpr uint32_t block_rows = 1024;

enum class Layout : uint32_t {
  fixed,
  lv_sep,
  lv,
  lp_sep,
  lp,
  hash_values,
  dict,
  hashrid,
  gd,
  hashgdrid,
  none
};

// The flag that announces a layout.
constexpr uint32_t flag_of(Layout layout) {
  constexpr uint32_t flags[] = {COLX_FIXED, COLX_LV_SEP,      COLX_LV,   COLX_LP_SEP,
                                COLX_LP,    COLX_HASH_VALUES, COLX_DICT, COLX_HASHRID,
                                COLX_GD,    COLX_HASHGD};
  return flags[ordinal(layout)];
}
static_assert(flag_of(Layout::lp) == COLX_LP && flag_of(Layout::hashgdrid) == COLX_HASHGD);

COLX_INLINE uint32_t flags_of(const colx_cv* cv) {
  return cv->colx_cv_encoding_context->colx_enc_ctx_flags;
}

// The first layout of the order whose flag is set, whatever other flags are.
template <Layout... order>
COLX_INLINE Layout first_layout(uint32_t flags) {
  Layout first = Layout::none;
  static_cast<void>(((flags & flag_of(order) ? (first = order, true) : false) || ...));
  return first;
}

// The bytes of one row.
struct RowBytes {
  const uint8_t* bytes;
  uint64_t length;
};

// Bytes of a value of a fixed vector. The width is read as 16 bits before it becomes bytes.
COLX_INLINE uint16_t fixed_length(const colx_cv* cv) {
  return static_cast<uint16_t>(cv->colx_cv_encoding_context->colx_enc_ctx_width) >> 3;
}

template <Layout>
struct Values;

template <>
struct Values<Layout::fixed> {
  static constexpr bool streamed = false;
  const uint8_t* at;
  uint64_t length;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t row, uint64_t) {
    const uint64_t length = fixed_length(cv);
    return {bytes_at(cv->colx_cv_data, row * length), length};
  }
  COLX_INLINE RowBytes value() const { return {at, length}; }
  COLX_INLINE void pass(RowBytes value) { at += value.length; }
};

// Records of a 16-bit length and the value, without padding.
template <>
struct Values<Layout::lv> {
  static constexpr bool streamed = true;
  const uint8_t* at;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t, uint64_t from) {
    return {bytes_at(cv->colx_cv_data, from)};
  }
  COLX_INLINE RowBytes value() const { return {at + 2, load_as<uint16_t>(at)}; }
  COLX_INLINE static uint64_t stride(RowBytes value) { return value.length + 2; }
  COLX_INLINE void pass(RowBytes value) { at += stride(value); }
};

template <>
struct Values<Layout::lv_sep> {
  static constexpr bool streamed = true;
  const uint8_t* at;
  const uint8_t* lengths;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t row, uint64_t from) {
    return {bytes_at(cv->colx_cv_data, from), bytes_at(cv->colx_cv_aux, row * 2)};
  }
  COLX_INLINE RowBytes value() const { return {at, load_as<uint16_t>(lengths)}; }
  COLX_INLINE static uint64_t stride(RowBytes value) { return value.length; }
  COLX_INLINE void pass(RowBytes value) {
    at += stride(value);
    lengths += 2;
  }
};

// Records of 16 bytes: 16-bit length, six bytes unused, address of the value.
template <>
struct Values<Layout::lp> {
  static constexpr bool streamed = false;
  const uint8_t* at;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t row, uint64_t) {
    return {bytes_at(cv->colx_cv_data, row * 16)};
  }
  COLX_INLINE RowBytes value() const {
    return {load_as<const uint8_t*>(at + 8), load_as<uint16_t>(at)};
  }
  COLX_INLINE void pass(RowBytes) { at += 16; }
};

template <>
struct Values<Layout::lp_sep> {
  static constexpr bool streamed = false;
  const uint8_t* at;
  const uint8_t* lengths;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t row, uint64_t) {
    return {bytes_at(cv->colx_cv_data, row * 8), bytes_at(cv->colx_cv_aux, row * 2)};
  }
  COLX_INLINE RowBytes value() const {
    return {load_as<const uint8_t*>(at), load_as<uint16_t>(lengths)};
  }
  COLX_INLINE void pass(RowBytes) {
    at += 8;
    lengths += 2;
  }
};

// Packed codes of a dictionary with big-endian cumulative offsets. A code is read as four bytes, up
// to three past the end of the stream, and is exact up to 25 bits; a symbol's length is cut to 16.
template <>
struct Values<Layout::dict> {
  static constexpr bool streamed = false;
  const uint8_t* codes;
  const uint8_t* offsets;
  const uint8_t* symbols;
  uint64_t bit;
  uint32_t width;

  COLX_INLINE static Values of(const colx_cv* cv, uint64_t row, uint64_t) {
    const colx_enc_ctx* const enc = cv->colx_cv_encoding_context;
    const uint32_t width = enc->colx_enc_ctx_width;
    return {bytes_at(cv->colx_cv_data, 0), bytes_at(enc->colx_enc_ctx_cla, 0),
            bytes_at(enc->colx_enc_ctx_symbols, 0), row * width, width};
  }
  COLX_INLINE RowBytes value() const {
    const uint32_t code =
        load_big_endian<uint32_t>(codes + (bit >> 3)) << (bit & 7) >> ((32 - width) & 31);
    const uint8_t* const entry = offsets + uint64_t{code} * 4;
    const uint32_t start = load_big_endian<uint32_t>(entry);
    const uint32_t end = load_big_endian<uint32_t>(entry + 4);
    return {symbols + start, static_cast<uint16_t>(end - start)};
  }
  COLX_INLINE void pass(RowBytes) { bit += width; }
};

// What a probe writes.
struct RidvalueRecord {
  uint64_t rid;
  uint64_t value;
};
static_assert(sizeof(RidvalueRecord) == 16 && offsetof(RidvalueRecord, value) == 8);

// Records that come with their hash, and in one of them with an exact code and a row id.
struct HashridRecord {
  uint64_t rid;
  uint64_t hash;
};
static_assert(sizeof(HashridRecord) == 16 && offsetof(HashridRecord, hash) == 8);

struct HashgdridRecord {
  uint64_t hash;
  uint32_t code;
  uint32_t unused;
  uint64_t rid;
};
static_assert(sizeof(HashgdridRecord) == 24 && offsetof(HashgdridRecord, code) == 8 &&
              offsetof(HashgdridRecord, rid) == 16);

}  // namespace colx

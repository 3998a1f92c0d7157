// The records that partition writes, without alignment, from a row's hash and what is carried
// along.
//
//   rid     row value (8 bytes), hash
//   gd      hash, exact code (4 bytes), 4 bytes that are not written, row value
//   lv      length of what follows (2 bytes), hash, the payload's bytes
//   fixed   hash, as many bytes from the payload's place as the part set says
//
// A maker of records stands at one row:
//
//   few_words         whether a record is two or three words, written without a branch
//   bytes()           of the row's record
//   write(to, hash)   writes all of them
//   pass()            moves on to the next row
//   ask()             asks for what later rows are made of, where it is a stream
//   save(kctx)        keeps the place in a payload that is a stream, and nothing else
#pragma once

#include "kernels/join/key_layouts.h"
#include "kernels/join/value_copy.h"

namespace colx {

enum class RowWord { autorid, payload };

// The 64-bit value of a row: counted from the first row id, or an array's element.
template <RowWord>
struct RowWords;

template <>
struct RowWords<RowWord::autorid> {
  uint64_t rid;

  COLX_INLINE RowWords(const colx_cv* payload, uint64_t row)
      : rid(payload->colx_cv_base_rid + row) {}
  COLX_INLINE uint64_t value() const { return rid; }
  COLX_INLINE void pass() { ++rid; }
  COLX_INLINE void ask() const {}
};

template <>
struct RowWords<RowWord::payload> {
  const uint8_t* at;

  COLX_INLINE RowWords(const colx_cv* payload, uint64_t row)
      : at(bytes_at(payload->colx_cv_data, row * 8)) {}
  COLX_INLINE uint64_t value() const { return load_as<uint64_t>(at); }
  COLX_INLINE void pass() { at += 8; }
  COLX_INLINE void ask() const { prefetch(at + stream_prefetch_bytes); }
};

template <RowWord V>
struct RidRecords {
  static constexpr bool few_words = true;
  RowWords<V> values;

  COLX_INLINE RidRecords(const colx_part_set*, const colx_cv*, const colx_cv* payload,
                         const colx_kctx* kctx)
      : values(payload, kctx->colx_kctx_position) {}

  COLX_INLINE uint64_t bytes() const { return sizeof(HashridRecord); }
  COLX_INLINE void write(uint8_t* to, uint64_t hash) const {
    store_as(to + offsetof(HashridRecord, rid), values.value());
    store_as(to + offsetof(HashridRecord, hash), hash);
  }
  COLX_INLINE void pass() { values.pass(); }
  COLX_INLINE void ask() const { values.ask(); }
  COLX_INLINE void save(colx_kctx*) const {}
};

template <RowWord V>
struct GdRecords {
  static constexpr bool few_words = true;
  RowWords<V> values;
  const uint8_t* code;

  COLX_INLINE GdRecords(const colx_part_set*, const colx_cv* src, const colx_cv* payload,
                        const colx_kctx* kctx)
      : values(payload, kctx->colx_kctx_position),
        code(bytes_at(src->colx_cv_data, uint64_t{kctx->colx_kctx_position} * 4)) {}

  COLX_INLINE uint64_t bytes() const { return sizeof(HashgdridRecord); }
  COLX_INLINE void write(uint8_t* to, uint64_t hash) const {
    store_as(to + offsetof(HashgdridRecord, hash), hash);
    store_as(to + offsetof(HashgdridRecord, code), load_as<uint32_t>(code));
    store_as(to + offsetof(HashgdridRecord, rid), values.value());
  }
  COLX_INLINE void pass() {
    values.pass();
    code += 4;
  }
  COLX_INLINE void ask() const {
    values.ask();
    prefetch(code + stream_prefetch_bytes);
  }
  COLX_INLINE void save(colx_kctx*) const {}
};

// The length is stored in 16 bits; the record takes as many bytes as its value really has.
template <Layout layout>
struct LvRecords {
  static constexpr bool few_words = false;
  Values<layout> payload;
  const uint8_t* data;

  COLX_INLINE LvRecords(const colx_part_set*, const colx_cv*, const colx_cv* vector,
                        const colx_kctx* kctx)
      : payload(Values<layout>::of(vector, kctx->colx_kctx_position, kctx->colx_kctx_value_offset)),
        data(bytes_at(vector->colx_cv_data, 0)) {}

  COLX_INLINE uint64_t bytes() const { return payload.value().length + 10; }
  COLX_INLINE void write(uint8_t* to, uint64_t hash) const {
    const RowBytes value = payload.value();
    store_as(to, static_cast<uint16_t>(value.length + 8));
    store_as(to + 2, hash);
    copy_value(to + 10, value.bytes, value.length);
  }
  COLX_INLINE void pass() { payload.pass(payload.value()); }
  COLX_INLINE void ask() const { prefetch(payload.at + stream_prefetch_bytes); }
  COLX_INLINE void save(colx_kctx* kctx) const {
    if constexpr (Values<layout>::streamed)
      kctx->colx_kctx_value_offset = static_cast<uint64_t>(payload.at - data);
  }
};

// Where a value stands follows from the payload's width, how many bytes of it are carried from the
// part set alone: more than the width take bytes of the next row along, fewer cut the value.
struct FixedRecords {
  static constexpr bool few_words = false;
  Values<Layout::fixed> payload;
  uint64_t carried_bytes;

  COLX_INLINE FixedRecords(const colx_part_set* parts, const colx_cv*, const colx_cv* vector,
                           const colx_kctx* kctx)
      : payload(Values<Layout::fixed>::of(vector, kctx->colx_kctx_position, 0)),
        carried_bytes(parts->colx_part_fixed_len) {}

  COLX_INLINE uint64_t bytes() const { return carried_bytes + 8; }
  COLX_INLINE void write(uint8_t* to, uint64_t hash) const {
    store_as(to, hash);
    copy_value(to + 8, payload.value().bytes, carried_bytes);
  }
  COLX_INLINE void pass() { payload.pass(payload.value()); }
  COLX_INLINE void ask() const { prefetch(payload.at + stream_prefetch_bytes); }
  COLX_INLINE void save(colx_kctx*) const {}
};

// Records of the source, copied whole.
struct HashridCopies {
  static constexpr bool few_words = true;
  const uint8_t* at;

  COLX_INLINE HashridCopies(const colx_part_set*, const colx_cv* src, const colx_cv*,
                            const colx_kctx* kctx)
      : at(bytes_at(src->colx_cv_data,
                    kctx->colx_kctx_position * uint64_t{sizeof(HashridRecord)})) {}

  COLX_INLINE uint64_t bytes() const { return sizeof(HashridRecord); }
  COLX_INLINE void write(uint8_t* to, uint64_t) const { store(to, load(at)); }
  COLX_INLINE void pass() { at += sizeof(HashridRecord); }
  COLX_INLINE void ask() const {}  // its stream is that of the hashes
  COLX_INLINE void save(colx_kctx*) const {}
};

// Length-prefixed records with their hash behind the length, as LvRecords writes them. The source
// is the stream whose place is kept.
struct LvCopies {
  static constexpr bool few_words = false;
  Values<Layout::lv> record;
  const uint8_t* data;

  COLX_INLINE LvCopies(const colx_cv* src, const colx_kctx* kctx)
      : record(Values<Layout::lv>::of(src, 0, kctx->colx_kctx_key_offset)),
        data(bytes_at(src->colx_cv_data, 0)) {}

  COLX_INLINE uint64_t hash() const { return load_as<uint64_t>(record.at + 2); }
  COLX_INLINE uint64_t bytes() const { return record.stride(record.value()); }
  COLX_INLINE void write(uint8_t* to, uint64_t) const { copy_value(to, record.at, bytes()); }
  COLX_INLINE void pass() { record.pass(record.value()); }
  COLX_INLINE void ask() const { prefetch(record.at + stream_prefetch_bytes); }
  COLX_INLINE void save(colx_kctx* kctx) const {
    kctx->colx_kctx_key_offset = static_cast<uint64_t>(record.at - data);
  }
};

}  // namespace colx

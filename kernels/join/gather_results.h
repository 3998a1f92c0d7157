// What gather writes, by the layout of the result. A result fills its buffers from their start at
// every call, also when the rows begin in the middle; the dlp result alone is addressed by row.
//
//   reads_values   whether the bytes of the values are read at all
//   row_room       room that every row takes, for results whose rows all take the same
//   put(from, row) writes one row of the source `from`
//
// Results whose rows differ in length have a put that answers false, with nothing written, where
// the room does not suffice for the row.
#pragma once

#include "kernels/join/row_store.h"
#include "kernels/join/value_copy.h"

namespace colx {

enum class Result { fixed, lv_sep, lv, lp_sep, lp, dlp };

template <Result>
struct GatherResult;

// The store's lengths are not looked at: a longer value is cut, a shorter one goes on with the
// bytes behind it.
template <>
struct GatherResult<Result::fixed> {
  static constexpr bool reads_values = true;
  static constexpr bool equal_rows = true;
  uint8_t* data;
  uint64_t value_bytes;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store* store)
      : data(bytes_at(res->colx_cv_data, 0)), value_bytes(store->colx_store_value_bits >> 3) {}

  COLX_INLINE uint64_t row_room() const { return value_bytes; }

  template <class From>
  COLX_INLINE void put(const From& from, uint64_t row) {
    copy_value(data, from.value(row).bytes, value_bytes);
    data += value_bytes;
  }
};

template <>
struct GatherResult<Result::lv_sep> {
  static constexpr bool reads_values = true;
  static constexpr bool equal_rows = false;
  uint8_t* data;
  uint8_t* lengths;
  uint64_t room;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store*)
      : data(bytes_at(res->colx_cv_data, 0)),
        lengths(bytes_at(res->colx_cv_aux, 0)),
        room(res->colx_cv_capacity) {}

  // The lengths take no room.
  template <class From>
  COLX_INLINE bool put(const From& from, uint64_t row) {
    const RowBytes value = from.value(row);
    if (room < value.length) return false;
    store_as(lengths, static_cast<uint16_t>(value.length));
    copy_value(data, value.bytes, value.length);
    lengths += 2;
    data += value.length;
    room -= value.length;
    return true;
  }
};

template <>
struct GatherResult<Result::lv> {
  static constexpr bool reads_values = true;
  static constexpr bool equal_rows = false;
  uint8_t* data;
  uint64_t room;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store*)
      : data(bytes_at(res->colx_cv_data, 0)), room(res->colx_cv_capacity) {}

  template <class From>
  COLX_INLINE bool put(const From& from, uint64_t row) {
    const RowBytes value = from.value(row);
    const uint64_t record_bytes = value.length + 2;
    if (room < record_bytes) return false;
    store_as(data, static_cast<uint16_t>(value.length));
    copy_value(data + 2, value.bytes, value.length);
    data += record_bytes;
    room -= record_bytes;
    return true;
  }
};

// The lengths take no room.
template <>
struct GatherResult<Result::lp_sep> {
  static constexpr bool reads_values = false;
  static constexpr bool equal_rows = true;
  uint8_t* pointers;
  uint8_t* lengths;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store*)
      : pointers(bytes_at(res->colx_cv_data, 0)), lengths(bytes_at(res->colx_cv_aux, 0)) {}

  COLX_INLINE uint64_t row_room() const { return 8; }

  template <class From>
  COLX_INLINE void put(const From& from, uint64_t row) {
    const RowBytes value = from.value(row);
    store_as(pointers, value.bytes);
    store_as(lengths, static_cast<uint16_t>(value.length));
    pointers += 8;
    lengths += 2;
  }
};

template <>
struct GatherResult<Result::lp> {
  static constexpr bool reads_values = false;
  static constexpr bool equal_rows = true;
  uint8_t* records;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store*)
      : records(bytes_at(res->colx_cv_data, 0)) {}

  COLX_INLINE uint64_t row_room() const { return lp_record_bytes; }

  template <class From>
  COLX_INLINE void put(const From& from, uint64_t row) {
    store_lp(records, from.value(row));
    records += lp_record_bytes;
  }
};

// Has room for all rows of the source, and no room is asked for.
template <>
struct GatherResult<Result::dlp> {
  static constexpr bool reads_values = false;
  static constexpr bool equal_rows = true;
  uint8_t* words;
  PlaceSplit split;

  COLX_INLINE GatherResult(const colx_cv* res, const colx_row_store*)
      : words(bytes_at(res->colx_cv_data, 0)), split(res) {}

  COLX_INLINE uint64_t row_room() const { return 0; }

  template <class From>
  COLX_INLINE void put(const From& from, uint64_t row) {
    store_as(words + row * 8, from.word(row, split));
  }
};

}  // namespace colx

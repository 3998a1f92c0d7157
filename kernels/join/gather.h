// Gather: rows of a source vector, one by one and in order, each fetched from where the source says
// and written as the result's layout wants. One loop for every source and every result.
#pragma once

#include <algorithm>

#include "kernels/join/gather_ahead.h"
#include "kernels/join/gather_kernels.h"
#include "kernels/join/gather_results.h"
#include "kernels/join/gather_sources.h"

namespace colx {

// The first row from `row` on for which the room does not suffice, as far as that is known before
// any row is looked at; the row count at most.
template <class Into>
COLX_INLINE uint64_t fitting_end(const Into& into, uint64_t room, uint64_t row, uint64_t rows) {
  if constexpr (Into::equal_rows) {
    const uint64_t row_room = into.row_room();
    if (row_room != 0) return row + std::min(rows - row, room / row_room);
  }
  return rows;
}

// Writes the rows up to `end` or up to one that does not fit; returns the row behind the last one.
template <class From, class Into>
COLX_INLINE uint64_t put_rows(const From& from, Into& into, uint64_t row, uint64_t end) {
  if constexpr (Into::equal_rows) {
#pragma GCC unroll 4
    for (; row < end; ++row) into.put(from, row);
  } else {
    for (; row < end; ++row)
      if (!into.put(from, row)) break;
  }
  return row;
}

// Values of a width that is that of a word have a loop of their own.
template <class Word, class From>
COLX_INLINE uint64_t put_words(const From& from, GatherResult<Result::fixed>& into, uint64_t row,
                               uint64_t end) {
#pragma GCC unroll 4
  for (; row < end; ++row) {
    store_as(into.data, load_as<Word>(from.value(row).bytes));
    into.data += sizeof(Word);
  }
  return row;
}

template <class From>
COLX_INLINE uint64_t put_rows(const From& from, GatherResult<Result::fixed>& into, uint64_t row,
                              uint64_t end) {
  switch (into.value_bytes) {
    case 2:
      return put_words<uint16_t>(from, into, row, end);
    case 4:
      return put_words<uint32_t>(from, into, row, end);
    case 8:
      return put_words<uint64_t>(from, into, row, end);
    case 16:
      return put_words<Vec>(from, into, row, end);
    default:
      for (; row < end; ++row) into.put(from, row);
      return row;
  }
}

// Writes rows as put_rows does, in groups, while what later groups refer to is under way.
template <class From, class Into>
COLX_INLINE uint64_t put_all_rows(const From& from, Into& into, uint64_t row, uint64_t end) {
  LookAhead<Into::reads_values> ahead(row);
  while (row < end) {
    const uint64_t group_end = ahead.group_end(from, row, end);
    const uint64_t done = put_rows(from, into, row, group_end);
    if (done < group_end) return done;
    row = done;
  }
  return row;
}

template <Result R, class From>
COLX_INLINE uint32_t gather(const From& from, const colx_cv* res, const colx_cv* src,
                            const colx_row_store* store, colx_kctx* kctx) {
  const uint64_t rows = src->colx_cv_num_of_rows;
  uint64_t row = kctx->colx_kctx_position;
  if (row < rows) {
    GatherResult<R> into(res, store);
    row = put_all_rows(from, into, row, fitting_end(into, res->colx_cv_capacity, row, rows));
    if (row < rows) {
      kctx->colx_kctx_position = static_cast<uint32_t>(row);
      return COLX_OUT_OF_ROOM;
    }
  }
  kctx->colx_kctx_position = static_cast<uint32_t>(rows);
  return COLX_DONE;
}

}  // namespace colx

// A kernel of the store `form`.
#define COLX_DEFINE_INDEXED_GATHER(form, result, index)                   \
  uint32_t colx_gather_##form##_##result##_##index(COLX_PARAMS_gather) {  \
    const IndexedValues<Store::form, Index::index> from(res, src, store); \
    return gather<Result::result>(from, COLX_ARGS_gather);                \
  }

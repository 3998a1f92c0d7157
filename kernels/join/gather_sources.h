// Where gather finds the value of a row: through an index and a row store, or in a source vector
// that tells it itself. All sources answer alike, for any row of the source vector:
//
//   entry_address(row)  what describes the value; not read
//   value(row)          the value, its bytes not read
//   word(row)           stores only: the value as a word of the dlp result
#pragma once

#include "kernels/join/row_store.h"
#include "kernels/join/value_copy.h"

namespace colx {

// Index forms, in a column of numbers of 8, 4, 2 or 1 bytes, of another width, or in ridvalue
// records by one of their halves. No byte beyond an index is read.
enum class Index { fixed_8, fixed_4, fixed_2, fixed_1, fixed, ridvalue, ridvalue_rid };

template <Index I>
struct IndexColumn {
  static constexpr bool in_records = I == Index::ridvalue || I == Index::ridvalue_rid;
  static constexpr unsigned number_bytes = I == Index::fixed_4   ? 4
                                           : I == Index::fixed_2 ? 2
                                           : I == Index::fixed_1 ? 1
                                                                 : 8;
  static constexpr unsigned row_bytes = in_records ? 16 : number_bytes;

  const uint8_t* data;

  COLX_INLINE explicit IndexColumn(const colx_cv* src)
      : data(bytes_at(src->colx_cv_data, I == Index::ridvalue ? 8 : 0)) {}

  COLX_INLINE uint64_t at(uint64_t row) const {
    return load_as<Unsigned<number_bytes>>(data + row * row_bytes);
  }
};

template <>
struct IndexColumn<Index::fixed> {
  const uint8_t* data;
  uint64_t row_bytes;

  COLX_INLINE explicit IndexColumn(const colx_cv* src)
      : data(bytes_at(src->colx_cv_data, 0)), row_bytes(fixed_length(src)) {}

  COLX_INLINE uint64_t at(uint64_t row) const {
    return load_number(data + row * row_bytes, row_bytes);
  }
};

template <Store S, Index I>
struct IndexedValues {
  IndexColumn<I> indexes;
  IndexSplit split;
  StoreEntries<S> entries;

  COLX_INLINE IndexedValues(const colx_cv* res, const colx_cv* src, const colx_row_store* store)
      : indexes(src), split(store), entries(store, res) {}

  COLX_INLINE const uint8_t* entry_address(uint64_t row) const {
    const uint64_t index = indexes.at(row);
    return entries.entry_at(split.page(index), split.entry(index));
  }
  COLX_INLINE RowBytes value(uint64_t row) const {
    return entries.value_at(split.page(indexes.at(row)), entry_address(row));
  }
  COLX_INLINE uint64_t word(uint64_t row, PlaceSplit place) const {
    return entries.word_at(split.page(indexes.at(row)), entry_address(row), place);
  }
};

// What the source vector holds where no store is asked.
enum class Source { lp_sep, lp, dlp };

template <Source>
struct DirectValues;

template <>
struct DirectValues<Source::lp_sep> {
  const uint8_t* pointers;
  const uint8_t* lengths;

  COLX_INLINE explicit DirectValues(const colx_cv* src)
      : pointers(bytes_at(src->colx_cv_data, 0)), lengths(bytes_at(src->colx_cv_aux, 0)) {}

  COLX_INLINE const uint8_t* entry_address(uint64_t row) const { return pointers + row * 8; }
  COLX_INLINE RowBytes value(uint64_t row) const {
    return Values<Layout::lp_sep>{entry_address(row), lengths + row * 2}.value();
  }
};

template <>
struct DirectValues<Source::lp> {
  const uint8_t* records;

  COLX_INLINE explicit DirectValues(const colx_cv* src) : records(bytes_at(src->colx_cv_data, 0)) {}

  COLX_INLINE const uint8_t* entry_address(uint64_t row) const {
    return records + row * lp_record_bytes;
  }
  COLX_INLINE RowBytes value(uint64_t row) const { return lp_value(entry_address(row)); }
};

// Unlike that of a dlp store, the place of a source word counts with its page, and the source's own
// encoding context tells it.
template <>
struct DirectValues<Source::dlp> {
  const uint8_t* words;
  void* const* pages;
  PlaceSplit split;

  COLX_INLINE explicit DirectValues(const colx_cv* src)
      : words(bytes_at(src->colx_cv_data, 0)),
        pages(src->colx_cv_encoding_context->colx_enc_ctx_dlp_pages),
        split(src) {}

  COLX_INLINE const uint8_t* entry_address(uint64_t row) const { return words + row * 8; }
  COLX_INLINE RowBytes value(uint64_t row) const {
    const uint64_t word = load_as<uint64_t>(entry_address(row));
    const uint64_t place = dlp_place(word);
    return {bytes_at(pages[split.page(place)], split.offset(place)), dlp_length(word)};
  }
};

}  // namespace colx

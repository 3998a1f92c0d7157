// Translation of 32-bit hash values, big-endian keys, to the small codes that a table has for them.
//
// A pattern over the form of the table and its element, and over what comes out: a bit per row that
// has a code, or the codes as well. A table form, a struct of the table's facts, has
//   element(key)      the element of a key, or the marker
//   elements(keys)    those of sixteen keys in lanes of 4 bytes
//
// Reads no more than the keys of the rows; keys are not checked against the table's size. The
// output is not cleared: a block of sixteen rows that has a hit stores all of its bits, other rows
// OR theirs in. Codes are written for every row that is looked at, the marker without a hit.
#pragma once

#include <bit>

#include "kernels/frame/colx_x86.h"
#include "kernels/xlate/code_table.h"

namespace colx {

// Element `key - base`, in 32 bits.
template <unsigned bits>
struct FlatTable {
  const uint8_t* table;
  uint32_t base;

  COLX_INLINE uint32_t element(uint32_t key) const { return element_at<bits>(table, key - base); }

  COLX_INLINE Elements<bits> elements(const Vec (&keys)[4]) const {
    Vec indexes[4];
    alignas(16) uint32_t units[16];
    for (unsigned v = 0; v < 4; ++v) {
      indexes[v] = difference<4>(keys[v], splat<4>(base));
      store_aligned(units + 4 * v, shifted_right<4, unit_shift<bits>>(indexes[v]));
    }
    return gathered<bits>(
        indexes, [&](unsigned k)
                     __attribute__((always_inline)) { return unit_at<bits>(table, units[k]); });
  }
};

// Pages number `key >> shift`, of which any may be missing; in a page, element `key & mask`.
template <unsigned bits>
struct PagedTable {
  const uint8_t* const* pages;
  uint32_t shift;
  uint32_t mask;

  COLX_INLINE uint32_t element(uint32_t key) const {
    const uint8_t* const page = pages[key >> (shift & 31)];
    return page ? element_at<bits>(page, key & mask) : marker<bits>;
  }

  // Keys on missing pages look at a page of their own that has the marker alone. That they exist is
  // asked once for all sixteen; where addresses have no bit in common, the answer is yes as well.
  COLX_INLINE Elements<bits> elements(const Vec (&keys)[4]) const {
    static constexpr uint32_t page_of_none = marker<32>;
    const uint8_t* const none = reinterpret_cast<const uint8_t*>(&page_of_none);
    Vec offsets[4];
    alignas(16) uint32_t page_of[16];
    alignas(16) uint32_t unit[16];
    const uint8_t* page[16];
    for (unsigned v = 0; v < 4; ++v) {
      offsets[v] = both(keys[v], splat<4>(mask));
      store_aligned(page_of + 4 * v, shifted_right_by(keys[v], shift));
      store_aligned(unit + 4 * v, shifted_right<4, unit_shift<bits>>(offsets[v]));
    }
    uintptr_t common = ~uintptr_t{0};
    for (unsigned k = 0; k < 16; ++k) {
      page[k] = pages[page_of[k]];
      common &= reinterpret_cast<uintptr_t>(page[k]);
    }
    if (common == 0)
      for (unsigned k = 0; k < 16; ++k)
        if (!page[k]) {
          page[k] = none;
          unit[k] = 0;
        }
    return gathered<bits>(
        offsets, [&](unsigned k)
                     __attribute__((always_inline)) { return unit_at<bits>(page[k], unit[k]); });
  }
};

// A translation's form, the width code of its element, and whether it stores codes.
struct XlateShape {
  Enc form;
  uint32_t element;
  bool stores_codes;
};

template <XlateShape shape>
COLX_INLINE auto open_table(const colx_cv* table, const colx_kctx* kctx) {
  constexpr unsigned bits = element_bits(shape.element);
  const uint8_t* const data = bytes_at(table->colx_cv_bits, 0);
  if constexpr (shape.form == Enc::sim) {
    return FlatTable<bits>{data, 0};
  } else if constexpr (shape.form == Enc::off) {
    return FlatTable<bits>{data, kctx->colx_kctx_off_ctx->colx_enc_ctx_key_base};
  } else {
    const colx_enc_ctx* const enc = table->colx_cv_encoding_context;
    return PagedTable<bits>{reinterpret_cast<const uint8_t* const*>(data),
                            enc->colx_enc_ctx_xlate_shift, enc->colx_enc_ctx_xlate_mask};
  }
}

constexpr uint32_t no_row = 0xFFFFFFFF;

// Rows with a code so far, visited in ascending order.
struct Hits {
  uint32_t count = 0;
  uint32_t first = no_row;
  uint32_t last = no_row;
};

template <XlateShape shape, class Table>
struct Translation {
  static constexpr unsigned bits = element_bits(shape.element);
  const uint8_t* keys;
  Table table;
  uint8_t* hit_bits;
  uint8_t* codes;

  COLX_INLINE uint32_t key(uint32_t row) const {
    return load_big_endian<uint32_t>(keys + size_t{row} * 4);
  }

  COLX_INLINE void put_row(uint32_t row, Hits& hits) const {
    const uint32_t element = table.element(key(row));
    if constexpr (shape.stores_codes) put_element<bits>(codes, row, element);
    if (element == marker<bits>) return;
    hit_bits[row >> 3] |= static_cast<uint8_t>(1 << row % 8);
    if (hits.first == no_row) hits.first = row;
    hits.last = row;
    ++hits.count;
  }

  // Sixteen rows from a multiple of 8 on.
  COLX_INLINE void put_block(uint32_t row, Hits& hits) const {
    const uint8_t* const from = keys + size_t{row} * 4;
    prefetch_once(from + 0x280);
    Vec numbers[4];
    for (unsigned v = 0; v < 4; ++v) numbers[v] = lanes_byte_reversed<4>(load(from + 16 * v));
    const Elements<bits> elements = table.elements(numbers);
    if constexpr (shape.stores_codes) put_elements<bits>(codes, row, elements);
    const uint32_t found = unmarked<bits>(elements);
    if (found == 0) return;
    store_as(hit_bits + (row >> 3), static_cast<uint16_t>(found));
    if (hits.first == no_row) hits.first = row + static_cast<uint32_t>(std::countr_zero(found));
    hits.last = row + 31 - static_cast<uint32_t>(std::countl_zero(found));
    hits.count += population(found);
  }
};

template <XlateShape shape>
COLX_INLINE auto open_translation(const colx_cv* res, const colx_cv* src, const colx_cv* table,
                                  const colx_kctx* kctx) {
  const auto opened = open_table<shape>(table, kctx);
  return Translation<shape, decltype(opened)>{bytes_at(src->colx_cv_data, 0), opened,
                                              bytes_at(res->colx_cv_bits, 0),
                                              bytes_at(kctx->colx_kctx_xlate_out, 0)};
}

COLX_INLINE bool holds_short_hashes(const colx_cv* src) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  return (enc->colx_enc_ctx_flags & COLX_HASH_VALUES) != 0 && enc->colx_enc_ctx_width == 32;
}

// The count, the first and the last row with a code, and the status.
COLX_INLINE uint32_t close_translation(colx_cv* res, const Hits& hits) {
  res->colx_cv_num_set = hits.count;
  store_as(bytes_at(res->colx_cv_data, 0), hits.first);
  store_as(bytes_at(res->colx_cv_data, 4), hits.last);
  return hits.count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
}

// The rows from colx_kctx_start_row on. Blocks begin at multiples of 8.
template <XlateShape shape>
COLX_INLINE uint32_t translate(colx_cv* res, const colx_cv* src, const colx_cv* table,
                               const colx_kctx* kctx) {
  if (!holds_short_hashes(src)) return COLX_NOT_SERVED;
  const auto translation = open_translation<shape>(res, src, table, kctx);
  const uint32_t rows = src->colx_cv_num_of_rows;
  uint32_t row = kctx->colx_kctx_start_row;
  Hits hits;
  for (; row < rows && row % 8 != 0; ++row) translation.put_row(row, hits);
  for (; row < rows && rows - row >= 16; row += 16) translation.put_block(row, hits);
  for (; row < rows; ++row) translation.put_row(row, hits);
  return close_translation(res, hits);
}

// The selection's rows among them.
template <XlateShape shape>
COLX_INLINE uint32_t translate_selected(colx_cv* res, const colx_cv* src, const colx_cv* table,
                                        colx_kctx* kctx) {
  if (!holds_short_hashes(src)) return COLX_NOT_SERVED;
  const auto translation = open_translation<shape>(res, src, table, kctx);
  colx_lbiwv_ictx iteration;
  colx_lbiwv_ictx_ini2_dydi(&iteration, kctx->colx_kctx_selection, src->colx_cv_num_of_rows, 0,
                            kctx->colx_kctx_start_row);
  kctx->colx_kctx_flags_out |= COLX_OUT_XLATE_SELECTED;
  constexpr uint32_t batch_rows = 256;
  uint32_t batch[batch_rows];
  Hits hits;
  uint64_t drawn;
  do {
    drawn = colx_lbiwvones_dydi(&iteration, batch, batch_rows);
    for (uint64_t i = 0; i < drawn; ++i) translation.put_row(batch[i], hits);
  } while (drawn == batch_rows);
  return close_translation(res, hits);
}

}  // namespace colx

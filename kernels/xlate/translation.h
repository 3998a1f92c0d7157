// Translation of 32-bit hash values, big-endian keys, to the small codes that a table has for them.
//
// A pattern over the form of the table and its element, and over what comes out: a bit per row that
// has a code, or the codes as well. A table form, a struct of the table's facts, has
//   element(key)      the element of a key, or the marker
//   elements(keys)    those of sixteen keys, stored in a byte order
//
// Reads no more than the keys of the rows; keys are not checked against the table's size. The
// output is not cleared: a block of sixteen rows that has a hit stores all of its bits, other rows
// OR theirs in. Codes are written for every row that is looked at, the marker without a hit.
#pragma once

#include <bit>

#include "kernels/bitvec/found_rows.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/word_bits.h"
#include "kernels/xlate/code_table.h"

namespace colx {

enum class ByteOrder { native, big_endian };

// Sixteen keys where they are stored, 4 bytes each, and a number that is added to them in 32 bits.
template <ByteOrder order>
struct SixteenKeys {
  const uint8_t* from;
  uint32_t added;

  // Keys k to k + 3, read as two pairs.
  COLX_INLINE FourKeys four_from(unsigned k) const {
    const uint64_t first = load_as<uint64_t>(from + 4 * k);
    const uint64_t second = load_as<uint64_t>(from + 4 * k + 8);
    if constexpr (order == ByteOrder::native)
      return {low_key(first), high_key(first), low_key(second), high_key(second)};
    return {high_key(byte_reversed(first)), low_key(byte_reversed(first)),
            high_key(byte_reversed(second)), low_key(byte_reversed(second))};
  }

  COLX_INLINE uint32_t low_key(uint64_t pair) const { return static_cast<uint32_t>(pair) + added; }
  COLX_INLINE uint32_t high_key(uint64_t pair) const {
    return static_cast<uint32_t>((pair + (uint64_t{added} << 32)) >> 32);
  }

  // Their low 7 bits, in bytes; what is above does not count. The keys are loaded once more: taking
  // pairs out of these vectors would cost more than the loads of `four_from`.
  COLX_INLINE Vec low_bits() const {
    const uint8_t* keys = from;
    COLX_MEET_IN_REGISTER(keys);
    const Vec first = narrowed<4>(four_low_bits(keys), four_low_bits(keys + 16));
    const Vec second = narrowed<4>(four_low_bits(keys + 32), four_low_bits(keys + 48));
    return sum<1>(narrowed<2>(first, second), splat<1>(added));
  }

  COLX_INLINE static Vec four_low_bits(const uint8_t* keys) {
    const Vec four = load(keys);
    if constexpr (order == ByteOrder::native) return both(four, splat<4>(0x7F));
    return shifted_right<4, 24>(both(four, splat<4>(0x7F000000)));
  }
};

// Element `key`, or `key - base` in 32 bits.
template <unsigned bits, bool based>
struct FlatTable {
  const uint8_t* table;
  uint32_t base;

  COLX_INLINE uint32_t added() const { return based ? 0 - base : 0; }

  COLX_INLINE uint32_t element(uint32_t key) const {
    return element_at<bits>(table, key + added());
  }

  COLX_INLINE FourUnits four_units(const FourKeys& indexes) const {
    FourUnits four;
#pragma GCC unroll 4
    for (unsigned k = 0; k < 4; ++k) {
      four.base[k] = table;
      four.unit[k] = indexes.at[k] >> unit_shift<bits>;
      // The load scales it: not done ahead, together with the shift that brought the key down.
      COLX_MEET_IN_REGISTER(four.unit[k]);
    }
    return four;
  }

  template <ByteOrder order>
  COLX_INLINE Elements<bits> elements(const uint8_t* keys) const {
    const SixteenKeys<order> indexes = {keys, added()};
    Vec low = zeros();
    if constexpr (bits == 1) low = both(indexes.low_bits(), splat<1>(7));
    if constexpr (bits == 4) low = indexes.low_bits();
    return gathered<bits>(*this, indexes, low);
  }
};

// Pages number `key >> shift`, of which any may be missing; in a page, element `key & mask`. The
// two do not depend on each other.
template <unsigned bits>
struct PagedTable {
  const uint8_t* const* pages;
  uint32_t shift;
  uint32_t mask;

  COLX_INLINE uint32_t element(uint32_t key) const {
    const uint8_t* const page = pages[key >> (shift & 31)];
    return page ? element_at<bits>(page, key & mask) : marker<bits>;
  }

  // Keys on missing pages look at a page of their own, which has the marker alone. Whether there
  // are any is asked once; where addresses have no bit in common, the answer is yes as well. A
  // shift of 32 or more means page 0, other than for a key alone.
  COLX_INLINE FourUnits four_units(const FourKeys& keys) const {
    const uint32_t page_shift = shift < 32 ? shift : 32;
    FourUnits four;
    uintptr_t common = ~uintptr_t{0};
#pragma GCC unroll 4
    for (unsigned k = 0; k < 4; ++k) {
      four.base[k] = pages[uint64_t{keys.at[k]} >> page_shift];
      four.unit[k] = (keys.at[k] & mask) >> unit_shift<bits>;
      common &= reinterpret_cast<uintptr_t>(four.base[k]);
    }
    if (common == 0) [[unlikely]]
      put_marker_pages(four);
#pragma GCC unroll 4
    for (unsigned k = 0; k < 4; ++k) COLX_MEET_IN_REGISTER(four.base[k]);
    return four;
  }

  COLX_INLINE static void put_marker_pages(FourUnits& four) {
    static constexpr uint32_t page_of_marker = marker<32>;
#pragma GCC unroll 4
    for (unsigned k = 0; k < 4; ++k) {
      const uintptr_t there = uintptr_t{four.base[k] == nullptr} - 1;
      const uintptr_t none = reinterpret_cast<uintptr_t>(&page_of_marker);
      const uintptr_t page = reinterpret_cast<uintptr_t>(four.base[k]) | (none & ~there);
      four.base[k] = reinterpret_cast<const uint8_t*>(page);
      four.unit[k] &= static_cast<uint32_t>(there);
    }
  }

  template <ByteOrder order>
  COLX_INLINE Elements<bits> elements(const uint8_t* keys) const {
    const SixteenKeys<order> sixteen = {keys, 0};
    Vec low = zeros();
    if constexpr (bits < 8) low = both(sixteen.low_bits(), splat<1>(mask & (bits == 1 ? 7 : 1)));
    return gathered<bits>(*this, sixteen, low);
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
    return FlatTable<bits, false>{data, 0};
  } else if constexpr (shape.form == Enc::off) {
    return FlatTable<bits, true>{data, kctx->colx_kctx_off_ctx->colx_enc_ctx_key_base};
  } else {
    const colx_enc_ctx* const enc = table->colx_cv_encoding_context;
    return PagedTable<bits>{reinterpret_cast<const uint8_t* const*>(data),
                            enc->colx_enc_ctx_xlate_shift, enc->colx_enc_ctx_xlate_mask};
  }
}

template <XlateShape shape, class Table>
struct Translation {
  static constexpr unsigned bits = element_bits(shape.element);
  const uint8_t* keys;
  Table table;
  uint8_t* hit_bits;
  uint8_t* codes;

  // Stores the row's code; 1 if it has one.
  COLX_INLINE uint64_t found_in_row(uint32_t row) const {
    const uint32_t element = table.element(load_big_endian<uint32_t>(keys + size_t{row} * 4));
    if constexpr (shape.stores_codes) put_element<bits>(codes, row, element);
    return element != marker<bits>;
  }

  COLX_INLINE void put_row(uint32_t row, FoundRows& hits) const {
    const uint64_t found = found_in_row(row);
    hit_bits[row >> 3] |= static_cast<uint8_t>(found << row % 8);
    hits.add(row, found);
  }

  // The selected rows of a word of the output.
  COLX_INLINE void put_selected(uint32_t from, uint64_t selected, FoundRows& hits) const {
    uint64_t found = 0;
#pragma GCC unroll 2
    for (; selected != 0; selected &= selected - 1) {
      const auto bit = lowest_set_bit(selected);
      found |= found_in_row(from + bit) << bit;
    }
    uint8_t* const word = hit_bits + (from >> 3);
    store_as(word, load_as<uint64_t>(word) | found);
    hits.add(from, found);
  }

  // A block, from a multiple of 8 on: stores its codes and returns its hits. Keys are fetched
  // ahead; the places of the codes are not, with which all forms were slower and none faster.
  COLX_INLINE uint64_t found_in_block(uint32_t row) const {
    const uint8_t* const from = keys + size_t{row} * 4;
    prefetch_once(from + 0x280);
    const Elements<bits> elements = table.template elements<ByteOrder::big_endian>(from);
    if constexpr (shape.stores_codes) put_elements<bits>(codes, row, elements);
    return unmarked<bits>(elements);
  }

  COLX_INLINE void put_block(uint32_t row, FoundRows& hits) const {
    const uint64_t found = found_in_block(row);
    if (found == 0) return;
    store_as(hit_bits + (row >> 3), static_cast<uint16_t>(found));
    hits.add(row, found);
  }

  // Four blocks without a branch; the bits of those without a hit are written as they were.
  COLX_INLINE void put_four_blocks(uint32_t row, FoundRows& hits) const {
    uint64_t found = 0;
#pragma GCC unroll 4
    for (uint32_t block = row; block != row + 64; block += 16)
      found = with_next_block(found, found_in_block(block));
    store_four_blocks(hit_bits + (row >> 3), found);
    hits.add(row, found);
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

// The rows from colx_kctx_start_row on. Blocks begin at multiples of 8.
template <XlateShape shape>
COLX_INLINE uint32_t translate(colx_cv* res, const colx_cv* src, const colx_cv* table,
                               const colx_kctx* kctx) {
  if (!holds_short_hashes(src)) return COLX_NOT_SERVED;
  const auto translation = open_translation<shape>(res, src, table, kctx);
  const uint32_t rows = src->colx_cv_num_of_rows;
  uint32_t row = kctx->colx_kctx_start_row;
  FoundRows hits;
  for (; row < rows && row % 8 != 0; ++row) translation.put_row(row, hits);
  for (; row < rows && rows - row >= 64; row += 64) translation.put_four_blocks(row, hits);
  for (; row < rows && rows - row >= 16; row += 16) translation.put_block(row, hits);
  for (; row < rows; ++row) translation.put_row(row, hits);
  return hits.close(res);
}

// The selection's rows among them.
template <XlateShape shape>
COLX_INLINE uint32_t translate_selected(colx_cv* res, const colx_cv* src, const colx_cv* table,
                                        colx_kctx* kctx) {
  if (!holds_short_hashes(src)) return COLX_NOT_SERVED;
  const auto translation = open_translation<shape>(res, src, table, kctx);
  kctx->colx_kctx_flags_out |= COLX_OUT_XLATE_SELECTED;
  const uint64_t* const selection = kctx->colx_kctx_selection;
  const uint32_t start = kctx->colx_kctx_start_row;
  const uint32_t rows = src->colx_cv_num_of_rows;
  FoundRows hits;
  if (start >= rows) return hits.close(res);
  uint64_t selected = load_as<uint64_t>(selection + (start >> 6)) & ~uint64_t{0} << (start & 63);
  uint32_t from = start & ~63u;
  for (; rows - from > 64; from += 64, selected = load_as<uint64_t>(selection + (from >> 6)))
    if (selected != 0) translation.put_selected(from, selected, hits);
  translation.put_selected(from, selected & ~uint64_t{0} >> (-rows & 63), hits);
  return hits.close(res);
}

}  // namespace colx

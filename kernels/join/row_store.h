// Row stores: where the value of an index lies, for each of the three forms of a store.
//
//   lp    a page is an array of 16-byte records: length (2 bytes), 6 unused bytes, pointer
//   dlp   a page is an array of 64-bit words: length in the low 16 bits, place above them
//   cla   a page is an array of 32-bit offsets, one more than its values, counted from the page's
//         base address
//
// The store is trusted: neither pages nor entries are checked against anything.
#pragma once

#include "kernels/frame/colx_x86.h"
#include "kernels/join/bit_fields.h"
#include "kernels/join/key_layouts.h"

namespace colx {

enum class Store { lp, dlp, cla };

inline constexpr uint64_t lp_record_bytes = 16;

COLX_INLINE RowBytes lp_value(const uint8_t* record) {
  return Values<Layout::lp>{record}.value();
}

// Leaves bytes 2 to 7 of the record as they are.
COLX_INLINE void store_lp(uint8_t* record, RowBytes value) {
  store_as(record, static_cast<uint16_t>(value.length));
  store_as(record + 8, value.bytes);
}

// An index in its two parts. The entry is all bits below the shift, whatever the page's highest bit
// is; a shift of 64 is a store of one page, in which the index is the entry.
struct IndexSplit {
  uint64_t page_mask;
  uint64_t entry_mask;
  unsigned shift;

  COLX_INLINE explicit IndexSplit(const colx_row_store* store)
      : page_mask(bits_up_to(store->colx_store_page_hi)),
        entry_mask(low_bits(store->colx_store_page_shift)),
        shift(store->colx_store_page_shift & 63) {
    if (store->colx_store_page_shift == 64) page_mask = 0;
  }

  COLX_INLINE uint64_t page(uint64_t index) const { return (index & page_mask) >> shift; }
  COLX_INLINE uint64_t entry(uint64_t index) const { return index & entry_mask; }
};

// How an encoding context divides a place: page number above, offset below.
struct PlaceSplit {
  unsigned bits;
  uint64_t mask;

  COLX_INLINE explicit PlaceSplit(const colx_cv* cv)
      : bits(cv->colx_cv_encoding_context->colx_enc_ctx_dlp_bits & 63), mask(low_bits(bits)) {}

  COLX_INLINE uint64_t page(uint64_t place) const { return place >> bits; }
  COLX_INLINE uint64_t offset(uint64_t place) const { return place & mask; }
  COLX_INLINE uint64_t place(uint64_t page, uint64_t offset) const {
    return page * (mask + 1) + (offset & mask);  // a product instead of one more shift by CL
  }
};

COLX_INLINE uint64_t dlp_length(uint64_t word) {
  return word & 0xFFFF;
}
COLX_INLINE uint64_t dlp_place(uint64_t word) {
  return word >> 16;
}
COLX_INLINE uint64_t dlp_word(uint64_t place, uint64_t length) {
  return place << 16 | length;
}

// The entries of a store of one form. `entry_at` is where an entry lies, `value_at` the value that
// it describes, `word_at` the entry as a dlp word of the result `res`.
template <Store S>
struct StoreEntries;

template <>
struct StoreEntries<Store::lp> {
  void* const* pages;

  COLX_INLINE StoreEntries(const colx_row_store* store, const colx_cv*)
      : pages(store->colx_store_lp_pages) {}

  COLX_INLINE const uint8_t* entry_at(uint64_t page, uint64_t entry) const {
    return bytes_at(pages[page], entry * lp_record_bytes);
  }
  COLX_INLINE RowBytes value_at(uint64_t, const uint8_t* entry) const { return lp_value(entry); }
  COLX_INLINE uint64_t word_at(uint64_t page, const uint8_t* entry, PlaceSplit split) const {
    const RowBytes value = lp_value(entry);
    return dlp_word(split.place(page, reinterpret_cast<uint64_t>(value.bytes)), value.length);
  }
};

template <>
struct StoreEntries<Store::cla> {
  void* const* pages;
  void* const* bases;

  COLX_INLINE StoreEntries(const colx_row_store* store, const colx_cv*)
      : pages(store->colx_store_cla_pages), bases(store->colx_store_data_bases) {}

  COLX_INLINE const uint8_t* entry_at(uint64_t page, uint64_t entry) const {
    return bytes_at(pages[page], entry * 4);
  }
  // The length is cut to 16 bits.
  COLX_INLINE RowBytes value_at(uint64_t page, const uint8_t* entry) const {
    const uint32_t begin = load_as<uint32_t>(entry);
    const uint32_t end = load_as<uint32_t>(entry + 4);
    return {bytes_at(bases[page], begin), static_cast<uint16_t>(end - begin)};
  }
  COLX_INLINE uint64_t word_at(uint64_t page, const uint8_t* entry, PlaceSplit split) const {
    const RowBytes value = value_at(page, entry);
    return dlp_word(split.place(page, reinterpret_cast<uint64_t>(value.bytes)), value.length);
  }
};

// All values of a dlp store lie in the first data page of `res`: what stands above the offset in a
// place is dropped. A result of the same layout gets the place so cut, whatever page it came from.
template <>
struct StoreEntries<Store::dlp> {
  void* const* pages;
  void* const* data_pages;
  PlaceSplit place;

  COLX_INLINE StoreEntries(const colx_row_store* store, const colx_cv* res)
      : pages(store->colx_store_dlp_pages),
        data_pages(res->colx_cv_encoding_context->colx_enc_ctx_dlp_pages),
        place(res) {}

  COLX_INLINE const uint8_t* entry_at(uint64_t page, uint64_t entry) const {
    return bytes_at(pages[page], entry * 8);
  }
  COLX_INLINE RowBytes value_at(uint64_t, const uint8_t* entry) const {
    const uint64_t word = load_as<uint64_t>(entry);
    return {bytes_at(data_pages[0], place.offset(dlp_place(word))), dlp_length(word)};
  }
  COLX_INLINE uint64_t word_at(uint64_t, const uint8_t* entry, PlaceSplit split) const {
    const uint64_t word = load_as<uint64_t>(entry);
    return dlp_word(split.offset(dlp_place(word)), dlp_length(word));
  }
};

}  // namespace colx

// translation_table.h: tables that map 32-bit keys to small codes, as translation kernels read
// them.
//
//   flat    one element a key, from key 0
//   offset  one element a key, from a first key
//   paged   pages of 2^shift elements; keys of a page that has no code cost a pointer
//
// Elements are 1, 4, 8, 16 or 32 bits wide. All ones mean that a key has no code, so a table of
// w bits holds codes 0 to 2^w - 2; one of single bits holds code 0 alone and says who is in.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/result.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// How elements are found, by the list above.
enum class TableForm : uint32_t {
  flat = COLX_XLATE_SIM,
  offset = COLX_XLATE_OFF,
  paged = COLX_XLATE_IND
};

// How wide an element is.
enum class ElementWidth : uint32_t {
  one_bit = COLX_WIDTH_BIT,
  four_bits = COLX_WIDTH_NIB,
  one_byte = COLX_WIDTH_UB1,
  two_bytes = COLX_WIDTH_UB2,
  four_bytes = COLX_WIDTH_UB4
};

// The same as a number of bits: 1, 4, 8, 16 or 32.
constexpr uint32_t element_bits(ElementWidth width) {
  return width == ElementWidth::one_bit ? 1 : 2u << static_cast<uint32_t>(width);
}
static_assert(element_bits(ElementWidth::four_bits) == 4);
static_assert(element_bits(ElementWidth::four_bytes) == 32);

// The element that says that a key has no code.
constexpr uint32_t no_code(ElementWidth width) {
  return ~uint32_t{0} >> (32 - element_bits(width));
}

// The least width whose tables hold every code up to `largest`. Error: no table holds 2^32 - 1.
Result<ElementWidth> element_width_for(uint32_t largest);

// A key and what it is mapped to.
struct KeyCode {
  uint32_t key = 0;   // any number of 32 bits
  uint32_t code = 0;  // below no_code() of the table
};

// What a table looks like and which keys it covers.
struct TranslationOptions {
  // paged is for keys far apart.
  TableForm form = TableForm::flat;
  // element_width_for() says which one holds all codes.
  ElementWidth element = ElementWidth::one_byte;
  // Keys that may be looked up; others are refused before a kernel sees them. Flat tables start at
  // key 0 whatever `first_key` is, and so do the pages.
  uint32_t first_key = 0;
  uint32_t last_key = 0;     // 0: the largest mapped key
  uint32_t page_shift = 16;  // paged: bits of a key within its page, 1 to 31
  // paged: what of a key is its element's number within the page; 0: the bits below page_shift.
  // More bits make pages larger, fewer would let keys of a page overlap.
  uint32_t page_mask = 0;
};

// Read-only after it was built; share it among threads.
class TranslationTable {
 public:
  // Errors, naming the pair: a code that collides with the element of no code or does not fit; a
  // key that the table does not cover; a key that is mapped twice, to different codes. And: a page
  // shift out of range; a page mask under which keys overlap; a last key before the first.
  static Result<TranslationTable> build(std::span<const KeyCode> codes,
                                        const TranslationOptions& options);

  // Makes `table` the third argument of a translation kernel, with `encoding` behind it. An offset
  // table's kernel reads its first key from `kctx`, where `encoding` goes, too. The records must
  // not outlive the table.
  void describe(colx_cv& table, colx_enc_ctx& encoding, colx_kctx& kctx) const;

  // As build() was told.
  TableForm form() const { return options_.form; }
  // As build() was told.
  ElementWidth element() const { return options_.element; }
  // The least key that may be looked up.
  uint32_t first_key() const { return options_.first_key; }
  // The largest key that may be looked up.
  uint32_t last_key() const { return options_.last_key; }
  // Whether `key` may be looked up; it need not have a code.
  bool covers(uint32_t key) const { return key >= first_key() && key <= last_key(); }
  // The code of a key that the table covers, or no_code().
  uint32_t code(uint32_t key) const;
  // Elements of a flat or offset table.
  uint64_t size() const { return uint64_t{last_key()} - base() + 1; }
  // The elements of a flat or offset table, as group-key translation reads them.
  const void* elements() const { return elements_.data(); }
  // Bytes of all elements and of the list of pages.
  uint64_t bytes() const;

 private:
  TranslationTable() = default;
  uint64_t page_elements() const { return uint64_t{options_.page_mask} + 1; }
  uint32_t base() const { return form() == TableForm::offset ? first_key() : 0; }
  struct Place {
    const uint8_t* page;  // null where no key has a code
    uint64_t element;
  };
  Place place(uint32_t key) const;
  void put(uint32_t key, uint32_t code);

  TranslationOptions options_;
  StreamBuffer elements_;              // flat, offset
  std::vector<StreamBuffer> owned_;    // paged: pages with a code
  std::vector<const uint8_t*> pages_;  // paged: null where no key has a code
};

}  // namespace colx::host

// What a translation must find and write: keys looked up one by one in flat, offset and two-level
// tables of elements of 1 to 32 bits, and codes folded into running group keys.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

// One of the 27: table form (COLX_XLATE_SIM to COLX_XLATE_IND), bits of an element (1, 4, 8, 16,
// 32), and whether the elements found are written too.
struct Translation {
  uint32_t form;
  unsigned element_bits;
  bool writes_codes;
};

// All bits of an element set: no mapping.
constexpr uint32_t no_mapping(unsigned element_bits) {
  return element_bits == 32 ? 0xFFFFFFFF : (uint32_t{1} << element_bits) - 1;
}

// Elements side by side: bits from the least significant one, nibbles with the even one low, wider
// ones in the machine's byte order.
uint32_t element_at(const void* elements, unsigned element_bits, uint64_t index);
void put_element(void* elements, unsigned element_bits, uint64_t index, uint32_t element);

// The bytes that hold them; bits of the last byte behind the last element are as in `fill`.
std::vector<uint8_t> stored_elements(std::span<const uint32_t> elements, unsigned element_bits,
                                     uint8_t fill);

struct TranslatedRow {
  uint32_t row;
  uint32_t element;  // what was found, or the marker
  bool hit;
};

struct XlateOutcome {
  bool refused;  // status 2: nothing was written
  uint32_t status;
  uint32_t num_set;
  uint32_t first_hit;
  uint32_t last_hit;
  uint32_t flags_out;
  std::vector<TranslatedRow> rows;      // those that were looked up, rising
  std::vector<uint32_t> stored_blocks;  // first rows of 16 whose bits are stored and not ORed
};

// Reads the same records as the kernel: rows from the source, the first of them, selection and the
// base of offset tables from `kctx`, shift and mask from the table.
XlateOutcome xlate_outcome(const Translation& translation, const colx_cv& src, const colx_cv& table,
                           const colx_kctx& kctx);

// What the call writes into bits and elements that are there before; the first bit, or element, is
// that of `first_row`.
void write_hits(const XlateOutcome& outcome, void* bits, uint32_t first_row);
void write_codes(const XlateOutcome& outcome, unsigned element_bits, void* codes,
                 uint32_t first_row);

// The keys after the share of one column was added: elements that the codes point at, times the
// multiplier, in 32 bits. The marker is a number like any other.
std::vector<uint32_t> keys_with_share(std::span<const uint32_t> keys,
                                      std::span<const uint32_t> codes, const void* table,
                                      unsigned element_bits, uint32_t multiplier);

}  // namespace colx::oracle

#include "tests/oracle/xlate_oracle.h"

#include <algorithm>
#include <cstring>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

constexpr uint32_t no_row = 0xFFFFFFFF;
constexpr uint32_t block_rows = 16;

uint32_t key_of(const colx_cv& src, uint32_t row) {
  const auto* const keys = static_cast<const uint8_t*>(src.colx_cv_data);
  return static_cast<uint32_t>(big_endian_at(keys + 4 * uint64_t{row}, 4));
}

// Blocks shift a key out of existence; one row alone takes the shift modulo 32.
uint32_t page_of(uint32_t key, uint32_t shift, bool in_block) {
  if (in_block && shift >= 32) return 0;
  return key >> (shift & 31);
}

uint32_t looked_up(const Translation& t, const colx_cv& table, const colx_kctx& kctx, uint32_t key,
                   bool in_block) {
  const void* const elements = table.colx_cv_bits;
  if (t.form == COLX_XLATE_SIM) return element_at(elements, t.element_bits, key);
  if (t.form == COLX_XLATE_OFF) {
    const uint32_t index = key - kctx.colx_kctx_off_ctx->colx_enc_ctx_key_base;
    return element_at(elements, t.element_bits, index);
  }
  const colx_enc_ctx& levels = *table.colx_cv_encoding_context;
  const uint32_t page = page_of(key, levels.colx_enc_ctx_xlate_shift, in_block);
  const void* const found = reinterpret_cast<const void* const*>(elements)[page];
  if (found == nullptr) return no_mapping(t.element_bits);
  return element_at(found, t.element_bits, key & levels.colx_enc_ctx_xlate_mask);
}

class Lookup {
 public:
  Lookup(const Translation& t, const colx_cv& src, const colx_cv& table, const colx_kctx& kctx)
      : t_(t), src_(src), table_(table), kctx_(kctx) {}

  bool row(XlateOutcome& outcome, uint32_t row, bool in_block) const {
    const uint32_t element = looked_up(t_, table_, kctx_, key_of(src_, row), in_block);
    const bool hit = element != no_mapping(t_.element_bits);
    outcome.rows.push_back({row, element, hit});
    return hit;
  }

 private:
  const Translation& t_;
  const colx_cv& src_;
  const colx_cv& table_;
  const colx_kctx& kctx_;
};

// Single rows up to a byte of the output, blocks from there, single rows behind the last block.
void look_up_all(const Lookup& lookup, uint32_t start, uint32_t rows, XlateOutcome& outcome) {
  uint64_t row = start;
  for (; row % 8 != 0 && row < rows; ++row) {
    lookup.row(outcome, static_cast<uint32_t>(row), false);
  }
  for (; rows - row >= block_rows; row += block_rows) {
    bool any = false;
    for (uint32_t i = 0; i < block_rows; ++i) {
      any |= lookup.row(outcome, static_cast<uint32_t>(row + i), true);
    }
    if (any) outcome.stored_blocks.push_back(static_cast<uint32_t>(row));
  }
  for (; row < rows; ++row) lookup.row(outcome, static_cast<uint32_t>(row), false);
}

void look_up_selected(const Lookup& lookup, const uint64_t* selection, uint32_t start,
                      uint32_t rows, XlateOutcome& outcome) {
  for (uint32_t row = start; row < rows; ++row) {
    if (bit_at(selection, row)) lookup.row(outcome, row, false);
  }
}

}  // namespace

uint32_t element_at(const void* elements, unsigned element_bits, uint64_t index) {
  const auto* const bytes = static_cast<const uint8_t*>(elements);
  if (element_bits < 8) {
    const uint64_t bit = index * element_bits;
    return bytes[bit / 8] >> bit % 8 & no_mapping(element_bits);
  }
  uint32_t element = 0;
  std::memcpy(&element, bytes + index * (element_bits / 8), element_bits / 8);
  return element;
}

void put_element(void* elements, unsigned element_bits, uint64_t index, uint32_t element) {
  auto* const bytes = static_cast<uint8_t*>(elements);
  if (element_bits < 8) {
    const uint64_t bit = index * element_bits;
    const unsigned kept = ~(no_mapping(element_bits) << bit % 8);
    bytes[bit / 8] = static_cast<uint8_t>((bytes[bit / 8] & kept) | element << bit % 8);
  } else {
    std::memcpy(bytes + index * (element_bits / 8), &element, element_bits / 8);
  }
}

std::vector<uint8_t> stored_elements(std::span<const uint32_t> elements, unsigned element_bits,
                                     uint8_t fill) {
  std::vector<uint8_t> stored((elements.size() * element_bits + 7) / 8, fill);
  for (size_t i = 0; i < elements.size(); ++i) {
    put_element(stored.data(), element_bits, i, elements[i]);
  }
  return stored;
}

XlateOutcome xlate_outcome(const Translation& translation, const colx_cv& src, const colx_cv& table,
                           const colx_kctx& kctx) {
  XlateOutcome outcome = {};
  outcome.flags_out = kctx.colx_kctx_flags_out;
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  if ((encoding.colx_enc_ctx_flags & COLX_HASH_VALUES) == 0 || encoding.colx_enc_ctx_width != 32) {
    outcome.refused = true;
    outcome.status = COLX_NOT_SERVED;
    return outcome;
  }
  const Lookup lookup(translation, src, table, kctx);
  const uint32_t start = kctx.colx_kctx_start_row;
  const uint32_t rows = src.colx_cv_num_of_rows;
  if (kctx.colx_kctx_selection != nullptr) {
    look_up_selected(lookup, kctx.colx_kctx_selection, start, rows, outcome);
    outcome.flags_out |= COLX_OUT_XLATE_SELECTED;
  } else {
    look_up_all(lookup, start, rows, outcome);
  }
  outcome.first_hit = outcome.last_hit = no_row;
  for (const TranslatedRow& row : outcome.rows) {
    if (!row.hit) continue;
    ++outcome.num_set;
    outcome.first_hit = std::min(outcome.first_hit, row.row);
    outcome.last_hit = row.row;
  }
  outcome.status = outcome.num_set == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  return outcome;
}

void write_hits(const XlateOutcome& outcome, void* bits, uint32_t first_row) {
  for (const uint32_t row : outcome.stored_blocks) {
    fill_range(bits, row - first_row, row - first_row + block_rows - 1, false);
  }
  for (const TranslatedRow& row : outcome.rows) {
    if (row.hit) put_bit(bits, row.row - first_row, true);
  }
}

void write_codes(const XlateOutcome& outcome, unsigned element_bits, void* codes,
                 uint32_t first_row) {
  for (const TranslatedRow& row : outcome.rows) {
    put_element(codes, element_bits, row.row - first_row, row.element);
  }
}

std::vector<uint32_t> keys_with_share(std::span<const uint32_t> keys,
                                      std::span<const uint32_t> codes, const void* table,
                                      unsigned element_bits, uint32_t multiplier) {
  std::vector<uint32_t> sums(keys.begin(), keys.end());
  for (size_t row = 0; row < sums.size(); ++row) {
    sums[row] += element_at(table, element_bits, codes[row]) * multiplier;
  }
  return sums;
}

}  // namespace colx::oracle

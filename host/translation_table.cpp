#include "host/translation_table.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace colx::host {
namespace {

size_t table_bytes(uint64_t elements, ElementWidth width) {
  return static_cast<size_t>((elements * element_bits(width) + 7) / 8);
}

StreamBuffer table_without_codes(uint64_t elements, ElementWidth width) {
  StreamBuffer table(table_bytes(elements, width));
  if (table.size() != 0) std::memset(table.data(), 0xFF, table.size());
  return table;
}

template <class Element>
uint32_t whole_element(const uint8_t* table, uint64_t index) {
  Element element;
  std::memcpy(&element, table + index * sizeof element, sizeof element);
  return element;
}

template <class Element>
void put_whole_element(uint8_t* table, uint64_t index, uint32_t element) {
  const auto whole = static_cast<Element>(element);
  std::memcpy(table + index * sizeof whole, &whole, sizeof whole);
}

// Elements narrower than a byte lie from its low bits up, wider ones in the machine's byte order.
uint32_t element_at(const uint8_t* table, uint64_t index, ElementWidth width) {
  switch (width) {
    case ElementWidth::one_byte:
      return table[index];
    case ElementWidth::two_bytes:
      return whole_element<uint16_t>(table, index);
    case ElementWidth::four_bytes:
      return whole_element<uint32_t>(table, index);
    default:
      const uint32_t bits = element_bits(width);
      return table[index * bits / 8] >> (index * bits % 8) & no_code(width);
  }
}

void put_element(uint8_t* table, uint64_t index, uint32_t element, ElementWidth width) {
  switch (width) {
    case ElementWidth::one_byte:
      return put_whole_element<uint8_t>(table, index, element);
    case ElementWidth::two_bytes:
      return put_whole_element<uint16_t>(table, index, element);
    case ElementWidth::four_bytes:
      return put_whole_element<uint32_t>(table, index, element);
    default:
      const uint32_t bits = element_bits(width);
      uint8_t& byte = table[index * bits / 8];
      const uint32_t shift = index * bits % 8;
      byte = static_cast<uint8_t>((byte & ~(no_code(width) << shift)) | element << shift);
  }
}

Result<void> check_options(const TranslationOptions& options) {
  if (options.last_key < options.first_key)
    return make_error("a table of keys %u to %u: the last key comes before the first",
                      options.first_key, options.last_key);
  if (options.form == TableForm::paged && (options.page_shift < 1 || options.page_shift > 31))
    return make_error("pages of 2^%u elements: use a page shift of 1 to 31", options.page_shift);
  const uint32_t in_page = (uint32_t{1} << (options.page_shift & 31)) - 1;
  if (options.form == TableForm::paged && (options.page_mask & in_page) != in_page)
    return make_error(
        "page mask 0x%X leaves out bits below the page shift %u, so keys of a page "
        "would overlap; use 0x%X or more bits",
        options.page_mask, options.page_shift, in_page);
  return {};
}

}  // namespace

Result<ElementWidth> element_width_for(uint32_t largest) {
  for (const ElementWidth width :
       {ElementWidth::one_bit, ElementWidth::four_bits, ElementWidth::one_byte,
        ElementWidth::two_bytes, ElementWidth::four_bytes})
    if (largest < no_code(width)) return width;
  return make_error("code %u means no code in every table", largest);
}

Result<TranslationTable> TranslationTable::build(std::span<const KeyCode> codes,
                                                 const TranslationOptions& options) {
  TranslationTable table;
  table.options_ = options;
  uint32_t& last_key = table.options_.last_key;
  if (last_key == 0) {
    last_key = options.first_key;
    for (const KeyCode& pair : codes) last_key = std::max(last_key, pair.key);
  }
  if (options.page_mask == 0)
    table.options_.page_mask = (uint32_t{1} << (options.page_shift & 31)) - 1;
  if (auto sound = check_options(table.options_); !sound) return sound.error();

  if (options.form == TableForm::paged)
    table.pages_.resize((last_key >> options.page_shift) + size_t{1});
  else
    table.elements_ = table_without_codes(table.size(), options.element);
  for (size_t index = 0; index < codes.size(); ++index) {
    const auto [key, code] = codes[index];
    if (code >= no_code(options.element))
      return make_error(
          "pair %zu: code %u of key %u; elements of %u bits hold codes below %u, "
          "which means no code",
          index, code, key, element_bits(options.element), no_code(options.element));
    if (!table.covers(key))
      return make_error("pair %zu: key %u is outside the table's keys %u to %u", index, key,
                        table.first_key(), table.last_key());
    const uint32_t earlier = table.code(key);
    if (earlier != no_code(options.element) && earlier != code)
      return make_error("pair %zu: key %u has code %u, but an earlier pair says %u", index, key,
                        code, earlier);
    table.put(key, code);
  }
  return table;
}

TranslationTable::Place TranslationTable::place(uint32_t key) const {
  if (form() != TableForm::paged) return {elements_.data(), key - base()};
  return {pages_[key >> options_.page_shift], key & options_.page_mask};
}

void TranslationTable::put(uint32_t key, uint32_t code) {
  if (form() == TableForm::paged && !pages_[key >> options_.page_shift]) {
    owned_.push_back(table_without_codes(page_elements(), element()));
    pages_[key >> options_.page_shift] = owned_.back().data();
  }
  const Place at = place(key);
  put_element(const_cast<uint8_t*>(at.page), at.element, code, element());
}

uint32_t TranslationTable::code(uint32_t key) const {
  const Place at = place(key);
  return at.page ? element_at(at.page, at.element, element()) : no_code(element());
}

void TranslationTable::describe(colx_cv& table, colx_enc_ctx& encoding, colx_kctx& kctx) const {
  // Kernels only read a table; the records have no const members.
  table = {};
  encoding = {};
  table.colx_cv_encoding_context = &encoding;
  if (form() == TableForm::paged) {
    table.colx_cv_bits = reinterpret_cast<uint64_t*>(const_cast<const uint8_t**>(pages_.data()));
    encoding.colx_enc_ctx_xlate_shift = options_.page_shift;
    encoding.colx_enc_ctx_xlate_mask = options_.page_mask;
  } else {
    table.colx_cv_bits = reinterpret_cast<uint64_t*>(const_cast<uint8_t*>(elements_.data()));
  }
  encoding.colx_enc_ctx_key_base = base();
  if (form() == TableForm::offset) kctx.colx_kctx_off_ctx = &encoding;
}

uint64_t TranslationTable::bytes() const {
  uint64_t bytes = elements_.size() + pages_.size() * sizeof(pages_[0]);
  for (const StreamBuffer& page : owned_) bytes += page.size();
  return bytes;
}

}  // namespace colx::host

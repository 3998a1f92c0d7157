// The kernels and inputs of translations.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/oracle/bit_vectors.h"
#include "tests/support/xlate_stage.h"

namespace colx::test {
namespace {

uint32_t below(Random& random, uint64_t bound) {
  return static_cast<uint32_t>(random.below(bound));
}

uint32_t random_element(unsigned bits, unsigned hit_percent, Random& random) {
  const uint32_t marker = oracle::no_mapping(bits);
  if (random.below(100) >= hit_percent) return marker;
  const uint32_t element = static_cast<uint32_t>(random.bits(bits));
  return element == marker ? (random.one_in(2) ? marker - 1 : 0) : element;
}

Numbers random_elements(size_t count, unsigned bits, unsigned hit_percent, Random& random) {
  Numbers elements(count);
  for (uint32_t& element : elements) element = random_element(bits, hit_percent, random);
  return elements;
}

void set_random_flat_table(XlateBatch& batch, const oracle::Translation& t, unsigned hit_percent,
                           Random& random) {
  constexpr uint32_t sizes[] = {1, 2, 3, 8, 15, 16, 17, 250, 1000};
  const uint32_t size = random.pick(std::span<const uint32_t>(sizes));
  batch.elements = random_elements(size, t.element_bits, hit_percent, random);
  if (t.form == COLX_XLATE_OFF) batch.base = static_cast<uint32_t>(random.next());
  for (uint32_t& key : batch.keys) key = batch.base + below(random, size);
}

// The mask need not be that of the bits below the shift.
void set_random_levels(XlateBatch& batch, unsigned element_bits, unsigned hit_percent,
                       Random& random) {
  constexpr uint32_t shifts[] = {0, 1, 3, 4, 7, 8, 11, 16, 28, 29, 30, 31};
  batch.shift = random.pick(std::span<const uint32_t>(shifts));
  batch.mask = random.one_in(3) ? static_cast<uint32_t>(random.bits(8))
                                : (uint32_t{1} << std::min(batch.shift, 8u)) - 1;
  const uint32_t pages =
      std::min(1 + below(random, 8), uint32_t{1} << (32 - std::max(batch.shift, 28u)));
  const bool with_null = random.one_in(2);
  batch.pages.resize(pages);
  for (std::optional<Numbers>& page : batch.pages) {
    if (with_null && random.one_in(4)) continue;
    page = random_elements(size_t{batch.mask} + 1, element_bits, hit_percent, random);
  }
  for (uint32_t& key : batch.keys) {
    const uint32_t low = (uint32_t{1} << batch.shift) - 1;
    key = below(random, pages) << batch.shift | (static_cast<uint32_t>(random.next()) & low);
  }
}

}  // namespace

uint32_t element_width_code(unsigned element_bits) {
  switch (element_bits) {
    case 1:
      return COLX_WIDTH_BIT;
    case 4:
      return COLX_WIDTH_NIB;
    case 8:
      return COLX_WIDTH_UB1;
    case 16:
      return COLX_WIDTH_UB2;
    default:
      return COLX_WIDTH_UB4;
  }
}

unsigned element_bits_at(uint32_t slot) {
  constexpr unsigned bits[] = {1, 4, 8, 16, 32};
  return bits[slot >> 7 & 31];
}

XlateKernel xlate_kernel(uint32_t form, unsigned element_bits, bool writes_codes) {
  const ScanKernel slot = kernel_at(
      colx_slot_index(COLX_OPC_XLATE, form, element_width_code(element_bits), writes_codes));
  return {
      slot.name, reinterpret_cast<colx_binary_fn>(slot.kernel), {form, element_bits, writes_codes}};
}

const std::vector<XlateKernel>& xlate_kernels() {
  static const std::vector<XlateKernel> kernels = [] {
    std::vector<XlateKernel> all;
    for (const uint32_t form : {COLX_XLATE_SIM, COLX_XLATE_OFF, COLX_XLATE_IND}) {
      for (const unsigned bits : {1u, 4u, 8u, 16u, 32u}) {
        all.push_back(xlate_kernel(form, bits, false));
        if (bits != 1) all.push_back(xlate_kernel(form, bits, true));
      }
    }
    return all;
  }();
  return kernels;
}

void for_each_xlate_kernel(const std::function<void(const XlateKernel&)>& body) {
  for (const XlateKernel& kernel : xlate_kernels()) {
    SCOPED_TRACE(kernel.name);
    body(kernel);
  }
}

XlateBatch random_xlate_batch(const XlateKernel& kernel, uint32_t start, uint32_t count,
                              unsigned hit_percent, Random& random) {
  XlateBatch batch;
  batch.start = start;
  batch.keys.resize(count);
  const oracle::Translation& t = kernel.translation;
  if (t.form == COLX_XLATE_IND) {
    set_random_levels(batch, t.element_bits, hit_percent, random);
  } else {
    set_random_flat_table(batch, t, hit_percent, random);
  }
  return batch;
}

XlateBatch xlate_batch_of(const XlateKernel& kernel, uint32_t start, const Numbers& found) {
  XlateBatch batch;
  batch.start = start;
  const auto count = static_cast<uint32_t>(found.size());
  if (kernel.translation.form == COLX_XLATE_IND) {
    batch.mask = 0x3FF;
    batch.shift = 10;
    batch.pages.push_back(found);
  } else {
    batch.base = kernel.translation.form == COLX_XLATE_OFF ? 1000 : 0;
    batch.elements = found;
  }
  for (uint32_t i = 0; i < count; ++i) batch.keys.push_back(batch.base + i);
  return batch;
}

XlateBatch batch_with_hits(const XlateKernel& kernel, uint32_t start, uint32_t count,
                           const Numbers& hits) {
  Numbers found(count, kernel.marker());
  for (const uint32_t row : hits) found[row - start] = kernel.marker() - 1;
  return xlate_batch_of(kernel, start, found);
}

void select(XlateBatch& batch, uint32_t row) {
  const uint32_t first_row = batch.first_word() * 64;
  if (!batch.selection) batch.selection = Words(words_of(batch.rows() - first_row) + 1, 0);
  oracle::put_bit(batch.selection->data(), row - first_row, true);
}

std::string describe(const XlateBatch& batch) {
  std::string text = "rows " + std::to_string(batch.start) + " to " + std::to_string(batch.rows());
  if (!batch.pages.empty()) {
    text += ", " + std::to_string(batch.pages.size()) + " pages, shift " +
            std::to_string(batch.shift) + ", mask " + std::to_string(batch.mask);
  } else {
    text += ", table of " + std::to_string(batch.elements.size()) + " from " +
            std::to_string(batch.base);
  }
  if (batch.selection) text += ", selected";
  if (!batch.zeroed) text += ", dirty bits";
  return text;
}

}  // namespace colx::test

#include "bench/support/scalar_xlate.h"

#include <array>
#include <cstring>
#include <utility>

#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define ALWAYS_INLINE __attribute__((always_inline)) inline

constexpr uint32_t no_row = 0xFFFFFFFF;
constexpr uint32_t all_set = 0xFFFFFFFF;

template <unsigned bits>
constexpr uint32_t marker = all_set >> (32 - bits);

template <unsigned bits>
ALWAYS_INLINE uint32_t element_of(const uint8_t* elements, uint32_t i) {
  if constexpr (bits == 1) return elements[i >> 3] >> (i & 7) & 1;
  if constexpr (bits == 4) return elements[i >> 1] >> (i & 1) * 4 & 15;
  if constexpr (bits == 8) return elements[i];
  if constexpr (bits == 16) return reinterpret_cast<const uint16_t*>(elements)[i];
  if constexpr (bits == 32) return reinterpret_cast<const uint32_t*>(elements)[i];
}

template <uint32_t form, unsigned bits>
ALWAYS_INLINE uint32_t found(const XlateRows& x, uint64_t row) {
  uint32_t key;
  std::memcpy(&key, x.keys + 4 * row, sizeof key);
  key = __builtin_bswap32(key);
  const auto* const table = static_cast<const uint8_t*>(x.table);
  if constexpr (form == COLX_XLATE_SIM) return element_of<bits>(table, key);
  if constexpr (form == COLX_XLATE_OFF) return element_of<bits>(table, key - x.base);
  if constexpr (form == COLX_XLATE_IND) {
    const uint8_t* const page = reinterpret_cast<const uint8_t* const*>(table)[key >> x.shift];
    const bool missing = page == nullptr;
    return element_of<bits>(missing ? reinterpret_cast<const uint8_t*>(&all_set) : page,
                            missing ? 0 : key & x.mask);
  }
}

template <unsigned bits>
ALWAYS_INLINE void put(void* codes, uint64_t row, uint32_t element) {
  if constexpr (bits == 8) static_cast<uint8_t*>(codes)[row] = static_cast<uint8_t>(element);
  if constexpr (bits == 16) static_cast<uint16_t*>(codes)[row] = static_cast<uint16_t>(element);
  if constexpr (bits == 32) static_cast<uint32_t*>(codes)[row] = element;
}

// Two rows, which share a byte of nibbles.
template <uint32_t form, unsigned bits, bool writes>
ALWAYS_INLINE uint64_t pair_of(const XlateRows& x, uint64_t row) {
  const uint32_t even = found<form, bits>(x, row);
  const uint32_t odd = found<form, bits>(x, row + 1);
  if constexpr (writes && bits == 4) {
    static_cast<uint8_t*>(x.codes)[row / 2] = static_cast<uint8_t>(even | odd << 4);
  } else if constexpr (writes) {
    put<bits>(x.codes, row, even);
    put<bits>(x.codes, row + 1, odd);
  }
  return uint64_t{even != marker<bits>} | uint64_t{odd != marker<bits>} << 1;
}

template <uint32_t form, unsigned bits, bool writes, size_t... pair>
ALWAYS_INLINE uint64_t word_of(const XlateRows& x, uint64_t row, std::index_sequence<pair...>) {
  uint64_t hits = 0;
  ((hits |= pair_of<form, bits, writes>(x, row + 2 * pair) << 2 * pair), ...);
  return hits;
}

ALWAYS_INLINE void note_hits(XlateRows& x, uint64_t row, uint64_t hits) {
  if (hits == 0) return;
  x.count += static_cast<uint32_t>(__builtin_popcountll(hits));
  if (x.first == no_row) x.first = static_cast<uint32_t>(row) + __builtin_ctzll(hits);
  x.last = static_cast<uint32_t>(row) + 63 - __builtin_clzll(hits);
}

template <uint32_t form, unsigned bits, bool writes>
void translate(XlateRows& to) {
  XlateRows x = to;
  x.count = 0;
  x.first = x.last = no_row;
  for (uint64_t row = 0; row < x.rows; row += 64) {
    const uint64_t hits = word_of<form, bits, writes>(x, row, std::make_index_sequence<32>{});
    x.bits[row / 64] = hits;
    note_hits(x, row, hits);
  }
  to = x;
}

template <uint32_t form, unsigned bits, bool writes>
void translate_selected(XlateRows& to) {
  XlateRows x = to;
  x.count = 0;
  x.first = x.last = no_row;
  for (uint64_t base = 0; base < x.rows; base += 64) {
    uint64_t hits = 0;
    for (uint64_t word = x.selection[base / 64]; word != 0; word &= word - 1) {
      const auto bit = static_cast<unsigned>(__builtin_ctzll(word));
      const uint64_t row = base + bit;
      const uint32_t element = found<form, bits>(x, row);
      if constexpr (writes && bits == 4) {
        uint8_t& byte = static_cast<uint8_t*>(x.codes)[row / 2];
        const unsigned place = row % 2 * 4;
        byte = static_cast<uint8_t>((byte & (0xF0 >> place)) | element << place);
      } else if constexpr (writes) {
        put<bits>(x.codes, row, element);
      }
      hits |= uint64_t{element != marker<bits>} << bit;
    }
    x.bits[base / 64] |= hits;
    note_hits(x, base, hits);
  }
  to = x;
}

template <unsigned bits>
void add_share(const uint32_t* __restrict codes, const void* table, uint32_t multiplier,
               uint32_t* __restrict keys, uint64_t rows) {
  const auto* const elements = static_cast<const uint8_t*>(table);
  for (uint64_t row = 0; row < rows; ++row)
    keys[row] += element_of<bits>(elements, codes[row]) * multiplier;
}

template <uint32_t form, bool writes>
constexpr std::array<ScalarXlate, 5> of_form = {
    translate<form, 1, false>, translate<form, 4, writes>, translate<form, 8, writes>,
    translate<form, 16, writes>, translate<form, 32, writes>};
template <uint32_t form, bool writes>
constexpr std::array<ScalarXlate, 5> selected_of_form = {
    translate_selected<form, 1, false>, translate_selected<form, 4, writes>,
    translate_selected<form, 8, writes>, translate_selected<form, 16, writes>,
    translate_selected<form, 32, writes>};

constexpr std::array<ScalarXlate, 5> whole[3][2] = {
    {of_form<COLX_XLATE_SIM, false>, of_form<COLX_XLATE_SIM, true>},
    {of_form<COLX_XLATE_OFF, false>, of_form<COLX_XLATE_OFF, true>},
    {of_form<COLX_XLATE_IND, false>, of_form<COLX_XLATE_IND, true>}};
constexpr std::array<ScalarXlate, 5> selected[3][2] = {
    {selected_of_form<COLX_XLATE_SIM, false>, selected_of_form<COLX_XLATE_SIM, true>},
    {selected_of_form<COLX_XLATE_OFF, false>, selected_of_form<COLX_XLATE_OFF, true>},
    {selected_of_form<COLX_XLATE_IND, false>, selected_of_form<COLX_XLATE_IND, true>}};

constexpr size_t place_of(unsigned element_bits) {
  return element_bits == 1    ? 0
         : element_bits == 4  ? 1
         : element_bits == 8  ? 2
         : element_bits == 16 ? 3
                              : 4;
}

}  // namespace

ScalarXlate scalar_xlate(uint32_t form, unsigned element_bits, bool writes_codes) {
  return whole[form][writes_codes][place_of(element_bits)];
}

ScalarXlate scalar_xlate_selected(uint32_t form, unsigned element_bits, bool writes_codes) {
  return selected[form][writes_codes][place_of(element_bits)];
}

ScalarKeyShare scalar_key_share(unsigned element_bits) {
  constexpr ScalarKeyShare shares[] = {nullptr, add_share<4>, add_share<8>, add_share<16>,
                                       add_share<32>};
  return shares[place_of(element_bits)];
}

void scalar_compose(uint32_t* __restrict keys, const uint32_t* __restrict codes, uint32_t factor,
                    bool multiplied, uint64_t rows) {
  if (multiplied) {
    for (uint64_t row = 0; row < rows; ++row) keys[row] = keys[row] * factor + codes[row];
  } else {
    for (uint64_t row = 0; row < rows; ++row) keys[row] = (keys[row] << factor) + codes[row];
  }
}

}  // namespace colx::bench

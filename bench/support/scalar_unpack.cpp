#include "bench/support/scalar_unpack.h"

#include <array>
#include <cstddef>
#include <utility>

#include "bench/support/scalar_scan.h"

namespace colx::bench {
namespace {

template <unsigned width_bits, class Element, size_t... row>
__attribute__((always_inline)) inline void store_rows(const uint8_t* codes, Element* out,
                                                      std::index_sequence<row...>) {
  ((out[row] = static_cast<Element>(scalar::code_of<width_bits, row>(codes))), ...);
}

template <unsigned width_bits, class Element>
void unpack(const uint8_t* __restrict codes, void* __restrict to, uint64_t rows) {
  auto* out = static_cast<Element*>(to);
  for (const Element* const end = out + rows; out != end; out += 32, codes += 4 * width_bits)
    store_rows<width_bits>(codes, out, std::make_index_sequence<32>{});
}

template <unsigned width_bits, class Element>
uint64_t unpack_selected(const uint8_t* __restrict codes, const uint64_t* __restrict selection,
                         void* __restrict to, uint64_t rows) {
  auto* const first = static_cast<Element*>(to);
  auto* out = first;
  for (uint64_t base = 0; base < rows; base += 64) {
    for (uint64_t word = selection[base / 64]; word != 0; word &= word - 1) {
      const uint64_t row = base + static_cast<unsigned>(__builtin_ctzll(word));
      if constexpr (scalar::is_native(width_bits)) {
        scalar::Code<width_bits> code;
        std::memcpy(&code, codes + row * sizeof code, sizeof code);
        *out++ = static_cast<Element>(scalar::swapped(code));
      } else {
        const uint64_t bit = row * width_bits;
        *out++ = static_cast<Element>(scalar::big_endian_64(codes + bit / 8) << bit % 8 >>
                                      (64 - width_bits));
      }
    }
  }
  return static_cast<uint64_t>(out - first);
}

// An element has room for a code; the other combinations are never asked for.
template <unsigned width_bits, class Element>
using Roomy = std::conditional_t<(width_bits > 8 * sizeof(Element)), uint32_t, Element>;

template <class Element, size_t... width>
constexpr std::array<ScalarUnpack, 32> ranges_of(std::index_sequence<width...>) {
  return {unpack<width + 1, Roomy<width + 1, Element>>...};
}

template <class Element, size_t... width>
constexpr std::array<ScalarUnpackSelected, 32> selected_of(std::index_sequence<width...>) {
  return {unpack_selected<width + 1, Roomy<width + 1, Element>>...};
}

constexpr auto widths = std::make_index_sequence<32>{};
constexpr std::array ranges = {ranges_of<uint8_t>(widths), ranges_of<uint16_t>(widths),
                               ranges_of<uint32_t>(widths)};
constexpr std::array selected = {selected_of<uint8_t>(widths), selected_of<uint16_t>(widths),
                                 selected_of<uint32_t>(widths)};

}  // namespace

ScalarUnpack scalar_unpack(unsigned width_bits, unsigned element_bytes) {
  return ranges[element_bytes / 2][width_bits - 1];
}

ScalarUnpackSelected scalar_unpack_selected(unsigned width_bits, unsigned element_bytes) {
  return selected[element_bytes / 2][width_bits - 1];
}

}  // namespace colx::bench

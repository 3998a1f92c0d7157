#include "bench/support/scalar_selected.h"

#include <array>
#include <cstddef>
#include <utility>

#include "bench/support/scalar_scan.h"

namespace colx::bench {
namespace {

template <unsigned width_bits>
uint32_t scan_selected(const uint8_t* __restrict codes, const uint64_t* __restrict selection,
                       uint64_t* __restrict out, uint32_t rows, uint64_t a) {
  uint32_t count = 0;
  for (uint32_t base = 0; base < rows; base += 64) {
    uint64_t bits = 0;
    for (uint64_t word = selection[base / 64]; word != 0; word &= word - 1) {
      const auto row = static_cast<unsigned>(__builtin_ctzll(word));
      const uint64_t bit = uint64_t{base + row} * width_bits;
      const uint64_t code = scalar::big_endian_64(codes + bit / 8) << bit % 8 >> (64 - width_bits);
      bits |= uint64_t{code == a} << row;
    }
    out[base / 64] = bits;
    count += static_cast<uint32_t>(__builtin_popcountll(bits));
  }
  return count;
}

template <size_t... place>
constexpr std::array<ScalarSelected, sizeof...(place)> all_of(std::index_sequence<place...>) {
  return {scan_selected<place + 1>...};
}
constexpr auto scans = all_of(std::make_index_sequence<64>{});

}  // namespace

ScalarSelected scalar_selected(unsigned width_bits) {
  return scans[width_bits - 1];
}

}  // namespace colx::bench

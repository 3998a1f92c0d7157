#include "bench/support/scalar_codes.h"

#include <array>
#include <cstddef>
#include <utility>

#include "bench/support/scalar_scan.h"

namespace colx::bench {
namespace {

// The table of up to 64 codes as a byte each: a load is cheaper than a shift by a variable.
struct NarrowTable {
  uint8_t wanted[64];
};

template <unsigned width_bits>
__attribute__((always_inline)) inline uint64_t wanted(const uint64_t* table,
                                                      const NarrowTable& narrow, uint64_t code) {
  if constexpr (width_bits <= 6) return narrow.wanted[code];
  return table[code / 64] >> code % 64 & 1;
}

template <unsigned width_bits, size_t... row>
__attribute__((always_inline)) inline uint64_t word_of(const uint8_t* codes, const uint64_t* table,
                                                       const NarrowTable& narrow,
                                                       std::index_sequence<row...>) {
  uint64_t bits = 0;
  ((bits |= wanted<width_bits>(table, narrow, scalar::code_of<width_bits, row>(codes)) << row),
   ...);
  return bits;
}

template <unsigned width_bits>
uint32_t find(const uint8_t* __restrict codes, const uint64_t* __restrict table,
              uint64_t* __restrict out, uint64_t rows) {
  NarrowTable narrow;
  for (unsigned code = 0; code < 64; ++code) narrow.wanted[code] = table[0] >> code & 1;
  uint32_t count = 0;
  for (const uint64_t* const end = out + rows / 64; out != end; ++out, codes += 8 * width_bits) {
    *out = word_of<width_bits>(codes, table, narrow, std::make_index_sequence<64>{});
    count += static_cast<uint32_t>(__builtin_popcountll(*out));
  }
  return count;
}

// The indicators are cleared beforehand, as one memset.
template <unsigned width_bits, bool cumulative>
void load_and_store(const DecodeTraffic& t) {
  const uint32_t* __restrict const rows = t.rows;
  const uint8_t* __restrict const codes = t.codes;
  const uint32_t* __restrict const offsets = t.offsets;
  const uint8_t** __restrict const values = t.values;
  uint16_t* __restrict const lengths = t.lengths;
  const uint32_t entry_bits = t.entries - 1;
  const uint8_t* const base = t.codes;
  const uint64_t count = t.count;
  std::memset(t.flags, 0, count * sizeof *t.flags);
  for (uint64_t i = 0; i < count; ++i) {
    uint32_t bytes;
    std::memcpy(&bytes, codes + (rows[i] * width_bits >> 3), sizeof bytes);
    if constexpr (cumulative) {
      const uint32_t* const offset = offsets + (bytes & entry_bits);
      values[i] = base + offset[0];
      lengths[i] = static_cast<uint16_t>(offset[1]);
    } else {
      values[i] = base + bytes;
      lengths[i] = 1;
    }
  }
}

template <size_t... width>
constexpr std::array<ScalarSet, 32> sets_of(std::index_sequence<width...>) {
  return {find<width + 1>...};
}

template <bool cumulative, size_t... width>
constexpr std::array<DecodeLimit, 32> limits_of(std::index_sequence<width...>) {
  return {load_and_store<width + 1, cumulative>...};
}

constexpr auto widths = std::make_index_sequence<32>{};
constexpr auto sets = sets_of(widths);
constexpr std::array limits = {limits_of<false>(widths), limits_of<true>(widths)};

}  // namespace

ScalarSet scalar_set(unsigned width_bits) {
  return sets[width_bits - 1];
}

DecodeLimit decode_limit(unsigned width_bits, bool cumulative) {
  return limits[cumulative ? 1 : 0][width_bits - 1];
}

}  // namespace colx::bench

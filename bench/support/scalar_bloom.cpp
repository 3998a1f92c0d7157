#include "bench/support/scalar_bloom.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace colx::bench {
namespace {

template <unsigned bytes>
uint32_t hash_at(const uint8_t* values, uint32_t row) {
  uint32_t stored;
  std::memcpy(&stored, values + size_t{row} * bytes + bytes - 4, 4);
  return __builtin_bswap32(stored);
}

template <unsigned bytes, bool partitioned>
uint64_t bit_of(const uint8_t* values, uint32_t row, const BloomFilter& filter,
                const uint8_t* flat) {
  const uint32_t hash = hash_at<bytes>(values, row) & filter.hash_mask;
  if constexpr (!partitioned) return flat[hash >> 3] >> (hash & 7) & 1;
  const uint32_t bit = hash & filter.bit_mask;
  return filter.partitions[hash >> filter.part_shift][bit >> 3] >> (bit & 7) & 1;
}

template <unsigned bytes, bool partitioned>
BloomResult test(const uint8_t* values, uint64_t* out, uint32_t rows, const BloomFilter& asked) {
  const BloomFilter filter = asked;
  const uint8_t* const flat = filter.partitions[0];
  BloomResult result = {0, 0xFFFFFFFF, 0xFFFFFFFF};
  for (uint32_t row = 0; row < rows; row += 64) {
    uint64_t word = 0;
    for (uint32_t i = 0; i < 64; ++i)
      word |= bit_of<bytes, partitioned>(values, row + i, filter, flat) << i;
    out[row / 64] = word;
    if (word == 0) continue;
    result.count += static_cast<uint32_t>(std::popcount(word));
    result.last = row + 63 - static_cast<uint32_t>(std::countl_zero(word));
    if (result.first == 0xFFFFFFFF)
      result.first = row + static_cast<uint32_t>(std::countr_zero(word));
  }
  return result;
}

}  // namespace

ScalarBloom scalar_bloom(unsigned width_bits, bool partitioned) {
  if (width_bits == 32) return partitioned ? test<4, true> : test<4, false>;
  return partitioned ? test<8, true> : test<8, false>;
}

bool bloom_passes(const uint8_t* values, unsigned width_bits, uint32_t row, bool partitioned,
                  const BloomFilter& filter) {
  uint64_t value = 0;
  const unsigned bytes = width_bits / 8;
  for (unsigned i = 0; i < bytes; ++i) value = value << 8 | values[size_t{row} * bytes + i];
  const uint32_t hash = static_cast<uint32_t>(value) & filter.hash_mask;
  const uint32_t part = partitioned ? hash >> filter.part_shift : 0;
  const uint32_t bit = partitioned ? hash & filter.bit_mask : hash;
  return (filter.partitions[part][bit / 8] >> bit % 8 & 1) != 0;
}

}  // namespace colx::bench

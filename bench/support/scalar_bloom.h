// The scalar line of a Bloom test: the loop that a careful engineer writes without vectors.
//
// One row at a time, no branch on what it finds: the value turned round and masked, its bit fetched
// and shifted into a register, a word of 64 rows stored and counted once. First and last row come
// of the words. Built like the other scalar lines (-O3 -fno-tree-vectorize).
#pragma once

#include <cstdint>

namespace colx::bench {

struct BloomFilter {
  const uint8_t* const* partitions;  // one flat bit array if there is only one
  uint32_t hash_mask;
  uint32_t part_shift;
  uint32_t bit_mask;
};

struct BloomResult {
  uint32_t count;
  uint32_t first;
  uint32_t last;
};

// `rows` is a multiple of 64; stores rows / 64 words.
using ScalarBloom = BloomResult (*)(const uint8_t* values, uint64_t* out, uint32_t rows,
                                    const BloomFilter& filter);

// `width_bits` is 32 or 64.
ScalarBloom scalar_bloom(unsigned width_bits, bool partitioned);

// One row, for checks.
bool bloom_passes(const uint8_t* values, unsigned width_bits, uint32_t row, bool partitioned,
                  const BloomFilter& filter);

}  // namespace colx::bench

// The scalar lines of the bit vector operations: plain loops over words.
#pragma once

#include <cstdint>

namespace colx::bench {

// Stores a[i] & b[i] and returns how many bits are set.
uint64_t scalar_and_count(uint64_t* dst, const uint64_t* a, const uint64_t* b, uint64_t words);

uint64_t scalar_count(const uint64_t* bits, uint64_t words);

// The numbers of the set bits, handed to `consume` in batches of about `batch_rows`. The caller's
// loop: as long as a word has bits, take the lowest.
inline constexpr uint32_t batch_rows = 256;
uint64_t scalar_ones(const uint64_t* bits, uint64_t words);

// Stands for whoever uses a batch: the rows have to be in memory, nothing else happens.
inline void consume(const uint32_t* rows, uint64_t count) {
  asm volatile("" : : "r"(rows), "r"(count) : "memory");
}

}  // namespace colx::bench

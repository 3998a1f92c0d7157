// What memory allows: plain 16-byte loops that read and write what a kernel does and compute
// nothing.
#pragma once

#include <cstdint>

namespace colx::bench {

// Reads the codes of `rows` rows, a multiple of 512, and writes a bit a row.
using ScanLimit = void (*)(const uint8_t* codes, uint8_t* out, uint64_t rows);

// For a width of 1 to 64 bits.
ScanLimit scan_limit(unsigned width_bits);

// Reads `bytes` bytes, a multiple of 128.
void read_limit(const uint8_t* from, uint64_t bytes);

// Reads `bytes` bytes of each of two inputs and writes as many; a multiple of 64.
void combine_limit(uint8_t* dst, const uint8_t* a, const uint8_t* b, uint64_t bytes);

// Reads `bytes` bytes, a multiple of 128, and writes about `out_bytes`, spread evenly, into a room
// of 1 KiB again and again.
void spread_limit(const uint8_t* from, uint64_t bytes, uint8_t* room, uint64_t out_bytes);

}  // namespace colx::bench

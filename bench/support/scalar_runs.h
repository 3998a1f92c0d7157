// Loops over runs: expansion by a fill per run, and bits given to the rows of runs.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

// Writes `values[i]` as often as `lengths[i]` says, for each of `runs` runs: bytes by memset, wider
// elements two at a time. Lengths have one byte, or two big-endian; elements 1, 2 or 4 bytes.
using ScalarExpand = void (*)(const void* values, const uint8_t* lengths, uint64_t runs, void* out);
ScalarExpand scalar_expand(unsigned length_bits, unsigned element_bytes);

// Sets the rows of the runs whose bit is set and clears all others; returns how many are set.
// `places` are lengths as above, or (`length_bits` 0) first rows, big-endian, one more than runs.
// Stores ceil(rows / 64) words.
using ScalarBurst = uint64_t (*)(const uint8_t* places, const uint64_t* run_bits, uint64_t runs,
                                 uint64_t* out, uint64_t rows);

// The plain loop: for each run, if it is hit, its rows are set, whole words where there are any.
ScalarBurst scalar_burst(unsigned length_bits);

// What cleverness without vectors makes of it. With lengths: every run, hit or not, is written
// through one word in a register, without a branch on its bit. With first rows: only the runs that
// are hit are visited.
ScalarBurst clever_burst(unsigned length_bits);

}  // namespace colx::bench

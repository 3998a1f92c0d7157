// Batches for the set kernels: packed codes with the 16 readable bytes that a stream is granted,
// and a code table that ends with the word of the largest code that occurs.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/support/scan_stage.h"

namespace colx::test {

// A word vector over code values in which these codes are wanted.
Words code_table(std::span<const uint64_t> wanted, uint64_t largest_code);

ScanKernel set_kernel(unsigned width_bits);

// A plain column of these codes.
ScanBatch set_batch(unsigned width_bits, std::span<const uint64_t> codes, Words table);

std::string set_difference(const ScanKernel& kernel, unsigned width_bits, const ScanBatch& batch);

inline std::string set_difference(unsigned width_bits, const ScanBatch& batch) {
  return set_difference(set_kernel(width_bits), width_bits, batch);
}

inline ScanRun run_set(unsigned width_bits, const ScanBatch& batch) {
  return scan_stage().run(set_kernel(width_bits), batch);
}

}  // namespace colx::test

// Bloom tests: one bit of the filter a row, and what a kernel leaves in the result vector, stale
// bits included.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

// Bits of a stored value: the big-endian number, of 8 bytes the last four.
uint32_t bloom_hash(const void* column, unsigned width_bits, uint64_t row);

bool bloom_passes(const colx_cv& filter, uint32_t hash);

enum class BloomForm { plain, selective };

struct BloomKernel {
  unsigned width_bits;  // 32 or 64
  BloomForm form;
};

// The kernel that colx_bloom_dydi picks.
BloomKernel bloom_kernel(const colx_cv& src, const colx_kctx& kctx);

struct BloomOutcome {
  uint32_t status;            // COLX_NOT_SERVED: nothing is touched
  std::vector<uint8_t> bits;  // the result vector's whole words
  uint32_t count;
  uint32_t first;
  uint32_t last;
  uint32_t flags_out;
};

// Works on the records as they stand before the call.
BloomOutcome bloom(BloomKernel kernel, const colx_cv& res, const colx_cv& src,
                   const colx_cv& filter, const colx_kctx& kctx);

}  // namespace colx::oracle

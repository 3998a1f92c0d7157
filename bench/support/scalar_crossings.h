// The textbook loop that crossing counts are compared with.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because it does not
// change: improve the kernel, not it.
#pragma once

#include <cstdint>

namespace colx::bench {

// The crossing count of the closed ring: every edge from the vertex before (Shimrat: Algorithm 112,
// Communications of the ACM 5, 1962).
uint32_t scalar_crossings(const double* x, const double* y, uint32_t vertices, double px,
                          double py);

}  // namespace colx::bench

// Cases of run-length columns: bursts by hit rate and run length, expansions by run length.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "colx_burst_rle_8bit 50%, runs of 20", against the plain loop, and as its peer a clever one.
// `width_code` is a COLX_WIDTH_BURST_... value.
Case burst_case(uint32_t width_code, unsigned percent, unsigned mean_rows, const SizeClass& size);

// "colx_rle8_expand_ub1, runs of 3", against fills one by one, and as its peer fills that the
// compiler has made vectors of.
Case expand_case(unsigned length_bits, unsigned element_bytes, unsigned mean_rows,
                 const SizeClass& size);

}  // namespace colx::bench

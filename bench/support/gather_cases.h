// Cases of gather: values of 8 bytes, or their first 4, at random entries of a row store.
#pragma once

#include "bench/support/bench_program.h"
#include "bench/support/scalar_gather.h"

namespace colx::bench {

// "colx_gather_lp_fixed_fixed_4, 8 bytes", against the plain loop. In memory the store has 16
// million entries in 256 pages and values in an order of their own: an entry and its value are two
// misses, the second one at an address that the first one brings. In L2 it has 8192 in 8 pages.
Case gather_case(LoopStore store, LoopResult result, LoopIndex index, const SizeClass& size);

}  // namespace colx::bench

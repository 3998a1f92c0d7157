// Cases of hashing a column of fixed rows.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "colx_hash_hashfn_const_fixed 4 bytes": a cheap hash function on every row, with a loop of calls
// as the scalar line.
Case hash_case(unsigned width_bits, const SizeClass& size);

}  // namespace colx::bench

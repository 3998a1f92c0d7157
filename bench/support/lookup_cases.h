// Cases of kernels that look codes up: sets of wanted codes, and dictionaries.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "colx_set_dict_3bit": half of the codes are wanted.
Case set_case(unsigned width_bits, const SizeClass& size);

// "colx_decode_dict_3bit one length" or "... cumulative": every fourth row on average.
Case decode_case(unsigned width_bits, bool cumulative, const SizeClass& size);

}  // namespace colx::bench

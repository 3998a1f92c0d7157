// The workers of group-by sums, one per value form, all with the arguments of the entry. They
// return 0; colx_gby_sum_dydi picks among them.
#pragma once

#include "kernels/frame/colx_x86.h"

#pragma GCC visibility push(hidden)
extern "C" {

colx_gby_sum_call colx_gby_sum_float_native, colx_gby_sum_float_canonical,
    colx_gby_sum_double_native, colx_gby_sum_double_canonical, colx_gby_sum_dsb;

}  // extern "C"
#pragma GCC visibility pop

// Transpose: references to columns, and the copying of a matrix's values into a row store.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/transpose_cases.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define REFERENCE "colx_transpose_reference_"
constexpr Target targets[] = {
    {"references, part of 16-byte stores alone", REFERENCE "(fixed|lv_sep|lp_sep|lp),.*", &in_l2,
     Figure::of_limit, 0.8},
    {"references, part of 16-byte stores alone", REFERENCE "(fixed|lv_sep|lp_sep|lp),.*",
     &in_memory, Figure::of_limit, 0.8},
    // A row of an lv stream is found by the length of the one before: a load and an addition.
    {"references to lv streams, part of 16-byte stores alone", REFERENCE "lv,.*", &in_l2,
     Figure::of_limit, 0.8},
    {"references to lv streams, part of 16-byte stores alone", REFERENCE "lv,.*", &in_memory,
     Figure::of_limit, 0.8},
    {"conversion, cost of memcpy calls", "colx_transpose_convert_.*", &in_l2, Figure::of_peer, 1.2},
    {"conversion, cost of memcpy calls", "colx_transpose_convert_.*", &in_memory, Figure::of_peer,
     1.2},
};
#undef REFERENCE

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const SizeClass* const size : {&in_l2, &in_memory}) {
    for (const unsigned columns : {1, 4, 16})
      for (const uint32_t layout : {COLX_FIXED, COLX_LV_SEP, COLX_LV, COLX_LP_SEP, COLX_LP})
        cases.push_back(reference_case(layout, columns, *size));
    for (const unsigned mean_bytes : {8, 24, 100, 1000})
      for (const ConvertTo form :
           {ConvertTo::row_cla, ConvertTo::col_cla, ConvertTo::row_lp, ConvertTo::col_lp})
        cases.push_back(convert_case(
            form, mean_bytes, size == &in_l2 ? ValueLengths::alike : ValueLengths::random, *size));
  }
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench

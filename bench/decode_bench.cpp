// Everything between codes and values: unpacking, sets, dictionary decode, run-length columns.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/lookup_cases.h"
#include "bench/support/run_cases.h"
#include "bench/support/unpack_cases.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define UNPACK "colx_decode_unpack_dict_"
constexpr Target targets[] = {
    {"unpacking to 1 byte, times scalar", UNPACK "\\dbit to 1", &in_l2, Figure::times_scalar, 7},
    {"unpacking to 2 bytes, times scalar", UNPACK "\\d+bit to 2", &in_l2, Figure::times_scalar,
     3.5},
    {"unpacking up to 16 bits to 4 bytes, times scalar", UNPACK "([1-9]|1[0-6])bit to 4", &in_l2,
     Figure::times_scalar, 3},
    {"unpacking above 16 bits to 4 bytes, times scalar", UNPACK "(1[7-9]|20|24|32)bit to 4", &in_l2,
     Figure::times_scalar, 1.8},
    {"unpacking out of cache", UNPACK "\\d+bit to \\d", &in_memory, Figure::out_of_cache, 0.8},
    {"selection blocks at 50 percent, times scalar", UNPACK ".*, 50%", &in_l2, Figure::times_scalar,
     5},
    {"run expansion at a mean of 3, times plain fills", "colx_rle.*, runs of 3", &in_l2,
     Figure::times_scalar, 1.8},
    {"run expansion at a mean of 100, times plain fills", "colx_rle.*, runs of 100", &in_l2,
     Figure::times_scalar, 1},
    {"sets up to 6 bits, times scalar", "colx_set_dict_[1-6]bit", &in_l2, Figure::times_scalar,
     1.5},
    {"sets from 7 bits, times scalar", "colx_set_dict_([7-9]|\\d\\d)bit", &in_l2,
     Figure::times_scalar, 1},
    {"bursts at 1 and 99 percent, times a plain loop", "colx_burst.* (1|99)%.*", &in_l2,
     Figure::times_scalar, 1},
    {"bursts at 50 percent, times a plain loop", "colx_burst.* 50%.*", &in_l2, Figure::times_scalar,
     1.5},
    {"dictionary decode, cost of its loads and stores", "colx_decode_dict_.*", &in_l2,
     Figure::of_peer, 1.2},
};
#undef UNPACK

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const SizeClass* const size : {&in_l1, &in_l2, &in_memory})
    for (const unsigned width : code_widths) {
      cases.push_back(unpack_case(width, natural_element_bytes(width), *size));
      if (natural_element_bytes(width) != 4) cases.push_back(unpack_case(width, 4, *size));
    }
  for (const unsigned width : code_widths) {
    cases.push_back(unpack_selected_case(width, 50, /*walked=*/false, in_l2));
    cases.push_back(unpack_selected_case(width, 1, /*walked=*/true, in_l2));
  }
  for (const unsigned width : {5, 8, 13, 32})
    for (const unsigned percent : {1, 2, 5, 10, 25, 50, 75, 90})
      for (const bool walked : {false, true})
        if (percent != (walked ? 1 : 50))  // measured above
          cases.push_back(unpack_selected_case(width, percent, walked, in_l2));
  for (const unsigned length_bits : {8, 16})
    for (const unsigned element_bytes : {1, 2, 4})
      for (const unsigned mean_rows : {3, 100})
        cases.push_back(expand_case(length_bits, element_bytes, mean_rows, in_l2));
  for (const unsigned width : code_widths) cases.push_back(set_case(width, in_l2));
  for (const uint32_t width_code :
       {COLX_WIDTH_BURST_8BIT, COLX_WIDTH_BURST_16BIT, COLX_WIDTH_BURST_8BIT_CLA})
    for (const unsigned percent : {1, 50, 99})
      for (const unsigned mean_rows : {2, 20, 200})
        cases.push_back(burst_case(width_code, percent, mean_rows, in_l2));
  for (const bool cumulative : {false, true})
    for (const unsigned width : code_widths) cases.push_back(decode_case(width, cumulative, in_l2));
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench

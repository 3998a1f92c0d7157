// Group keys: composition from packed columns, and shares added through translation tables.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/group_key_cases.h"
#include "bench/support/xlate_cases.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"group keys, times scalar", "colx_groupkey_dydi .*", &in_l2, Figure::times_scalar, 1.5},
    {"group keys out of cache, times scalar", "colx_groupkey_dydi .*", &in_memory,
     Figure::times_scalar, 1},
    {"shares, tables in L1, times scalar", "colx_xlate_groupkey.*, 4K table", &in_l2,
     Figure::times_scalar, 1},
    {"shares, tables in L2, times scalar", "colx_xlate_groupkey.*, 256K table", &in_l2,
     Figure::times_scalar, 1},
    {"shares, keys in memory, times scalar", "colx_xlate_groupkey.*", &in_memory,
     Figure::times_scalar, 1},
};

// Columns like years, nations and brands, narrow ones, wide ones, and many.
const std::vector<std::vector<unsigned>> column_widths = {
    {8}, {3, 5}, {3, 5, 10}, {8, 16}, {13, 17}, {1, 1, 2}, {2, 3, 4, 5, 6, 7}};

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const SizeClass* const size : {&in_l2, &in_memory})
    for (const std::vector<unsigned>& widths : column_widths)
      for (const bool multiplied : {false, true})
        cases.push_back(group_key_case(widths, multiplied, *size));
  for (const unsigned element_bits : xlate_element_bits) {
    if (element_bits == 1) continue;
    cases.push_back(key_share_case(element_bits, 4 << 10, in_l2));
    cases.push_back(key_share_case(element_bits, 256 << 10, in_l2));
    cases.push_back(key_share_case(element_bits, 4 << 10, in_memory));
  }
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench

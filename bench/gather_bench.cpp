// Gather of values of 4 and 8 bytes from every store, in cache and far out of it.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/gather_cases.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"gather of 4 and 8 bytes, times scalar", "colx_gather_.*", &in_l2, Figure::times_scalar, 1},
    {"gather of 4 and 8 bytes, times scalar", "colx_gather_.*", &in_memory, Figure::times_scalar,
     1},
    {"gather from an lp store far out of cache, times scalar", "colx_gather_lp_fixed_.*",
     &in_memory, Figure::times_scalar, 1.5},
};

std::vector<Case> all_cases() {
  constexpr LoopIndex indices[] = {LoopIndex::fixed_4, LoopIndex::fixed_8, LoopIndex::ridvalue};
  std::vector<Case> cases;
  for (const SizeClass* const size : {&in_l2, &in_memory}) {
    for (const LoopStore store : {LoopStore::lp, LoopStore::cla, LoopStore::dlp})
      for (const LoopResult result : {LoopResult::fixed_4, LoopResult::fixed_8})
        for (const LoopIndex index : indices)
          cases.push_back(gather_case(store, result, index, *size));
    for (const LoopResult result :
         {LoopResult::lv_sep, LoopResult::lv, LoopResult::lp_sep, LoopResult::dlp})
      for (const LoopIndex index : indices)
        cases.push_back(gather_case(LoopStore::lp, result, index, *size));
  }
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench

// Several threads on one join and on one column, against one thread: for as many as this process
// may run at once.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/core_threads.h"
#include "bench/support/parallel_join.h"
#include "bench/support/parallel_scan.h"

namespace colx::bench {
namespace {

// Without a second core it stays unmeasured.
constexpr Target targets[] = {
    {"a join's partitions by two threads, times one", "join of .* by 2 threads", &in_memory,
     Figure::times_scalar, 1.8},
};

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const unsigned threads : thread_ladder()) {
    cases.push_back(parallel_join_case(threads, in_memory));
    for (const unsigned width_bits : {8, 32})
      cases.push_back(parallel_scan_case(width_bits, threads, in_memory));
  }
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench

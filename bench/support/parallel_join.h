// A join by partitions on one thread and on two.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// Whether this process may run on two cores at once.
bool has_two_cores();

// "join of 64 partitions by 2 threads", with one thread as its scalar line. Partitions are handed
// out one at a time; each is cleared, built from hash values and probed with hash values, into an
// output of the thread's own. Bucket arrays of the partitions lie side by side.
Case parallel_join_case(const SizeClass& size);

}  // namespace colx::bench

// A join by partitions on any number of threads.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "join of 64 partitions by 2 threads", with one thread as its scalar line. Partitions are handed
// out one at a time; each is cleared, built from hash values and probed with hash values, into an
// output of the thread's own. Bucket arrays of the partitions lie side by side. At most as many
// threads as this process has cores.
Case parallel_join_case(unsigned threads, const SizeClass& size);

}  // namespace colx::bench

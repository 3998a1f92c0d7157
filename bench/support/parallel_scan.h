// A scan by chunks on any number of threads.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "scan of 16-bit codes by 2 threads", with one thread as its scalar line: eq on codes of
// `width_bits` 8, 16, 32 or 64 bits. Threads take chunks of 65536 rows one at a time, each with
// records of its own. The limit is one thread that only reads and writes the same bytes. At most as
// many threads as this process has cores.
Case parallel_scan_case(unsigned width_bits, unsigned threads, const SizeClass& size);

}  // namespace colx::bench

// Threads bound to cores of their own.
#pragma once

#include <functional>
#include <vector>

namespace colx::bench {

// The cores that this process may run on.
std::vector<int> own_cores();

// Numbers of threads to measure: 1, 2, ... up to 4, then doublings, up to one a core.
std::vector<unsigned> thread_ladder();

// Calls work(0) to work(threads - 1) at once, the first of them in the calling thread, each bound
// to a core of its own for as long as it runs: a pass is over before the system has spread new
// threads over the cores by itself. At most as many threads as there are cores.
void run_on_cores(unsigned threads, const std::function<void(unsigned thread)>& work);

}  // namespace colx::bench

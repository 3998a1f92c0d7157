#include "bench/support/core_threads.h"

#include <sched.h>

#include <algorithm>
#include <thread>

namespace colx::bench {
namespace {

// Binds the calling thread to one core for as long as it exists.
class OnCore {
 public:
  explicit OnCore(int core) {
    sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~OnCore() { sched_setaffinity(0, sizeof before_, &before_); }
  OnCore(const OnCore&) = delete;
  OnCore& operator=(const OnCore&) = delete;

 private:
  cpu_set_t before_;
};

}  // namespace

std::vector<int> own_cores() {
  cpu_set_t all;
  std::vector<int> cores;
  if (sched_getaffinity(0, sizeof all, &all) != 0) return cores;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &all)) cores.push_back(core);
  }
  return cores;
}

std::vector<unsigned> thread_ladder() {
  const auto cores = static_cast<unsigned>(own_cores().size());
  std::vector<unsigned> ladder;
  for (unsigned threads = 1; threads <= cores; threads += threads < 4 ? 1 : threads)
    ladder.push_back(threads);
  return ladder;
}

void run_on_cores(unsigned threads, const std::function<void(unsigned thread)>& work) {
  const std::vector<int> cores = own_cores();
  // The last core first: the system's own work tends to be on the first.
  const auto bound_work = [&](unsigned thread) {
    const OnCore bound(cores[cores.size() - 1 - thread]);
    work(thread);
  };
  std::vector<std::thread> others;
  for (unsigned thread = 1; thread < threads; ++thread) others.emplace_back(bound_work, thread);
  bound_work(0);
  for (std::thread& other : others) other.join();
}

}  // namespace colx::bench

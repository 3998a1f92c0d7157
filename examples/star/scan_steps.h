// scan_steps.h: what a query did, step by step: kernel, rows, hits, time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace colx::star {

struct Step {
  std::string work;    // "lo_discount between 1 and 3"
  std::string kernel;  // the library's name for it
  uint64_t rows = 0;   // rows of the chunks it ran on
  uint64_t hits = 0;
  std::chrono::nanoseconds time{0};

  double rows_per_second() const {
    return static_cast<double>(rows) * 1e9 /
           static_cast<double>(std::max<int64_t>(time.count(), 1));
  }
};

// Calls `call`, which returns the hits, and adds it to `step`.
template <class Call>
auto timed(Step& step, uint64_t rows, Call call) {
  const auto start = std::chrono::steady_clock::now();
  auto hits = call();
  step.time += std::chrono::steady_clock::now() - start;
  step.rows += rows;
  return hits;
}

// Of several runs of the same steps, each step's fastest.
inline void keep_fastest(std::vector<Step>& best, const std::vector<Step>& run) {
  if (best.empty()) best = run;
  for (size_t step = 0; step < run.size(); ++step)
    best[step].time = std::min(best[step].time, run[step].time);
}

}  // namespace colx::star

// Lines of code that compete: timed in turns, so that what drifts drifts for all of them.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "bench/support/working_set.h"

namespace colx::bench {

// A pass over the working set; `window` tells which of its windows to use.
using Pass = std::function<void(unsigned window)>;

// The ordinary figures of repeated measurements.
struct Spread {
  double median;
  double best;    // the lowest
  double spread;  // distance between the quartiles, as part of the median
};
Spread spread_of(std::vector<double> values);

// What takes turns: the pass that is timed and, if it is there, what runs off the clock before each
// one, as emptying a table that the pass fills.
struct Line {
  Pass pass;
  Pass before;
};

// Every round takes one sample of each line. A sample is as many passes as fill `sample_ticks`, in
// the caches after one pass that is not timed. A line whose pass takes a second or more is
// sampled in the first round only, which stands for the others.
class PairedRun {
 public:
  PairedRun(const SizeClass& size, std::vector<Line> lines, uint64_t sample_ticks);

  void round();

  // Ticks of a pass, a value per round.
  const std::vector<double>& samples(size_t line) const { return samples_[line]; }

  // Core cycles of a pass, at the clock that the core had in each round; the median.
  double cycles(size_t line) const;

  // Per round, how long line `other` takes as a multiple of line `line`.
  Spread ratio(size_t other, size_t line) const;

 private:
  double sample(size_t line, unsigned passes);
  uint64_t timed_passes(const Line& line, unsigned passes);

  SizeClass size_;
  std::vector<Line> lines_;
  std::vector<unsigned> passes_;  // of a sample, per line
  std::vector<bool> is_long_;     // per line
  std::vector<std::vector<double>> samples_;
  std::vector<double> cycles_per_tick_;  // per round
  unsigned window_ = 0;
};

}  // namespace colx::bench

#include "bench/support/paired_run.h"

#include <algorithm>
#include <utility>

#include "bench/support/cycle_clock.h"

namespace colx::bench {
namespace {

double quantile(const std::vector<double>& sorted, double part) {
  const double place = part * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<size_t>(place);
  const size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (place - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

constexpr double long_pass_ticks = 4e9;

}  // namespace

Spread spread_of(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const double median = quantile(values, 0.5);
  return {median, values.front(), (quantile(values, 0.75) - quantile(values, 0.25)) / median};
}

PairedRun::PairedRun(const SizeClass& size, std::vector<Line> lines, uint64_t sample_ticks)
    : size_(size), lines_(std::move(lines)), samples_(lines_.size()) {
  for (size_t line = 0; line < lines_.size(); ++line) {
    double once = sample(line, 1);
    is_long_.push_back(once > long_pass_ticks);
    if (!is_long_.back()) once = std::min(once, sample(line, 1));
    passes_.push_back(1 + static_cast<unsigned>(static_cast<double>(sample_ticks) / once));
  }
}

void PairedRun::round() {
  cycles_per_tick_.push_back(cycles_per_tick());
  for (size_t line = 0; line < lines_.size(); ++line) {
    const bool stands = is_long_[line] && !samples_[line].empty();
    samples_[line].push_back(stands ? samples_[line].back() : sample(line, passes_[line]));
  }
}

double PairedRun::sample(size_t line, unsigned passes) {
  if (size_.windows == 1) timed_passes(lines_[line], 1);
  return static_cast<double>(timed_passes(lines_[line], passes)) / passes;
}

// Ticks of all the passes; one clock runs through them unless something has to go before each.
uint64_t PairedRun::timed_passes(const Line& line, unsigned passes) {
  uint64_t ticks = 0;
  uint64_t start = ticks_now();
  for (unsigned pass = 0; pass < passes; ++pass) {
    if (line.before) {
      ticks += ticks_now() - start;
      line.before(window_);
      start = ticks_now();
    }
    line.pass(window_);
    window_ = (window_ + 1) % size_.windows;
  }
  return ticks + (ticks_now() - start);
}

double PairedRun::cycles(size_t line) const {
  std::vector<double> cycles = samples_[line];
  for (size_t i = 0; i < cycles.size(); ++i) cycles[i] *= cycles_per_tick_[i];
  return spread_of(std::move(cycles)).median;
}

Spread PairedRun::ratio(size_t other, size_t line) const {
  std::vector<double> ratios;
  for (size_t i = 0; i < samples_[line].size(); ++i)
    ratios.push_back(samples_[other][i] / samples_[line][i]);
  return spread_of(std::move(ratios));
}

}  // namespace colx::bench

#include "host/call_meter.h"

#include <algorithm>
#include <vector>

namespace colx::host {

void CallMeter::add(uint32_t slot, uint64_t rows, std::chrono::nanoseconds time) {
  counts_->calls[slot] += 1;
  counts_->rows[slot] += rows;
  counts_->time[slot] += time;
}

void CallMeter::merge(const CallMeter& other) {
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) {
    counts_->calls[slot] += other.counts_->calls[slot];
    counts_->rows[slot] += other.counts_->rows[slot];
    counts_->time[slot] += other.counts_->time[slot];
  }
}

double CallMeter::million_rows(uint32_t slot) const {
  if (counts_->calls[slot] == 0) return 0;
  const auto time = std::max<int64_t>(counts_->time[slot].count(), 1);
  return static_cast<double>(counts_->rows[slot]) * 1e3 / static_cast<double>(time);
}

Result<void> CallMeter::dump(const Library& library, bool only_called) const {
  const auto dump = library.stats_dump();
  if (!dump) return dump.error();
  std::vector<double> rates(COLX_DISPATCH_SLOTS);
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) rates[slot] = million_rows(slot);
  colx_stats_ctx stats{};
  stats.colx_stats_calls = counts_->calls.data();
  stats.colx_stats_mrows = rates.data();
  (*dump)(&stats, only_called);
  return {};
}

}  // namespace colx::host

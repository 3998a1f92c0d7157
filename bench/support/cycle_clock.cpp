#include "bench/support/cycle_clock.h"

#include <x86intrin.h>

#include <algorithm>
#include <chrono>

namespace colx::bench {

uint64_t ticks_now() {
  _mm_lfence();
  const uint64_t now = __rdtsc();
  _mm_lfence();
  return now;
}

double nanoseconds_per_tick() {
  static const double measured = [] {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const uint64_t first = ticks_now();
    while (Clock::now() - start < std::chrono::milliseconds(50)) {
    }
    const uint64_t ticks = ticks_now() - first;
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() /
           static_cast<double>(ticks);
  }();
  return measured;
}

double cycles_per_tick() {
  constexpr unsigned rounds = 1000;
  constexpr double cycles = rounds * 10 * 3.0;  // a dependent 64-bit multiplication takes 3 cycles
  double best = 0;
  for (unsigned attempt = 0; attempt < 8; ++attempt) {
    uint64_t chain = attempt;
    const uint64_t start = ticks_now();
    for (unsigned i = 0; i < rounds; ++i)
      asm volatile(
          "imul %0, %0\n imul %0, %0\n imul %0, %0\n imul %0, %0\n imul %0, %0\n"
          "imul %0, %0\n imul %0, %0\n imul %0, %0\n imul %0, %0\n imul %0, %0\n"
          : "+r"(chain));
    best = std::max(best, cycles / static_cast<double>(ticks_now() - start));
  }
  return best;
}

}  // namespace colx::bench

// Row counts on both sides of every edge that a vector kernel has.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace colx::test {

// 0, 1, one below, at and above one, two and three steps, and the same around words and bytes.
inline std::vector<uint32_t> row_counts(uint32_t rows_per_step) {
  std::vector<uint32_t> counts = {0, 1, 2, 7, 8, 9, 63, 64, 65, 127, 128, 129};
  for (uint32_t steps = 1; steps <= 3; ++steps) {
    for (int beside : {-1, 0, 1}) counts.push_back(rows_per_step * steps + beside);
  }
  for (uint32_t beside : {63u, 64u, 65u}) counts.push_back(2 * rows_per_step + beside);
  std::sort(counts.begin(), counts.end());
  counts.erase(std::unique(counts.begin(), counts.end()), counts.end());
  return counts;
}

inline uint32_t words_of(uint64_t bits) {
  return static_cast<uint32_t>((bits + 63) / 64);
}

}  // namespace colx::test

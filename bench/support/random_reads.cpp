#include "bench/support/random_reads.h"

#include <cstring>

namespace colx::bench {
namespace {

uint64_t word_of(const uint8_t* lines, uint32_t number) {
  uint64_t word;
  std::memcpy(&word, lines + uint64_t{number} * 64, sizeof word);
  return word;
}

}  // namespace

uint64_t read_lines(const uint8_t* lines, const uint32_t* numbers, uint64_t count) {
  uint64_t sums[4] = {};
  uint64_t i = 0;
  for (; i + 4 <= count; i += 4)
    for (unsigned lane = 0; lane < 4; ++lane) sums[lane] += word_of(lines, numbers[i + lane]);
  for (; i < count; ++i) sums[0] += word_of(lines, numbers[i]);
  return sums[0] + sums[1] + sums[2] + sums[3];
}

}  // namespace colx::bench

// Random inputs of a benchmark's own, the same in every run.
#pragma once

#include <cstdint>
#include <vector>

namespace colx::bench {

// splitmix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
class RandomNumbers {
 public:
  explicit RandomNumbers(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }
  uint64_t below(uint64_t bound) { return next() % bound; }

 private:
  uint64_t state_;
};

// Words whose bits are set with a chance of `percent` in a hundred.
std::vector<uint64_t> random_bits(uint64_t bits, unsigned percent, uint64_t seed);

// `rows` big-endian packed codes below `codes_below`, and 16 readable bytes.
std::vector<uint8_t> random_codes(uint64_t rows, unsigned width_bits, uint64_t codes_below,
                                  uint64_t seed);

// One code, bit by bit: what the loops are checked with.
uint64_t code_at(const uint8_t* codes, unsigned width_bits, uint64_t row);

}  // namespace colx::bench

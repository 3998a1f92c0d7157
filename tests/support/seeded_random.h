// Reproducible random numbers: the same seed gives the same sequence everywhere.
//
// A test that uses one says the seed in its failure message. The generator is splitmix64 (Steele,
// Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace colx::test {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  // A number below `bound`, which is not 0.
  uint64_t below(uint64_t bound) { return next() % bound; }

  // True once in `n` times.
  bool one_in(uint64_t n) { return below(n) == 0; }

  // The lowest `bits` bits random, 1 to 64.
  uint64_t bits(unsigned bits) { return next() >> (64 - bits); }

  template <class T>
  T pick(std::span<const T> choices) {
    return choices[below(choices.size())];
  }

  std::vector<uint8_t> bytes(size_t count) {
    std::vector<uint8_t> all(count);
    for (uint8_t& byte : all) byte = static_cast<uint8_t>(next());
    return all;
  }

  // Words in which each bit is set with a chance of about 1 in 2^sparsity.
  std::vector<uint64_t> words(size_t count, unsigned sparsity = 1) {
    std::vector<uint64_t> all(count);
    for (uint64_t& word : all) {
      word = next();
      for (unsigned i = 1; i < sparsity; ++i) word &= next();
    }
    return all;
  }

 private:
  uint64_t state_;
};

// A seed of its own for each pair, so that neighbouring cases share nothing.
inline uint64_t mixed_seed(uint64_t seed, uint64_t part) {
  return Random(seed ^ Random(part).next()).next();
}

}  // namespace colx::test

// random.h: numbers drawn alike on every machine. The standard's engines are fixed to the bit, its
// distributions are not; hence this one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace colx::star {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  // Uniform in 0 .. n - 1, `n` at least 1. High half of a product: biased by less than n / 2^32.
  uint32_t below(uint32_t n) {
    return static_cast<uint32_t>(((engine_() >> 32) * uint64_t{n}) >> 32);
  }
  // Uniform in `low` .. `high`, both included.
  uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }

  template <class T, size_t N>
  const T& one_of(const T (&values)[N]) {
    return values[below(N)];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace colx::star

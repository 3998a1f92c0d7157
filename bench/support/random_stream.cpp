#include "bench/support/random_stream.h"

namespace colx::bench {

std::vector<uint64_t> random_bits(uint64_t bits, unsigned percent, uint64_t seed) {
  RandomNumbers random(seed);
  std::vector<uint64_t> words((bits + 63) / 64);
  for (uint64_t bit = 0; bit < bits; ++bit)
    words[bit / 64] |= uint64_t{random.below(100) < percent} << bit % 64;
  return words;
}

std::vector<uint8_t> random_codes(uint64_t rows, unsigned width_bits, uint64_t codes_below,
                                  uint64_t seed) {
  RandomNumbers random(seed);
  std::vector<uint8_t> codes((rows * width_bits + 7) / 8 + 16);
  for (uint64_t row = 0; row < rows; ++row) {
    const uint64_t code = random.below(codes_below);
    for (unsigned b = 0; b < width_bits; ++b) {
      const uint64_t bit = row * width_bits + b;
      codes[bit / 8] |= static_cast<uint8_t>((code >> (width_bits - 1 - b) & 1) << (7 - bit % 8));
    }
  }
  return codes;
}

uint64_t code_at(const uint8_t* codes, unsigned width_bits, uint64_t row) {
  uint64_t code = 0;
  for (uint64_t bit = row * width_bits; bit < (row + 1) * width_bits; ++bit)
    code = code << 1 | (codes[bit / 8] >> (7 - bit % 8) & 1);
  return code;
}

}  // namespace colx::bench

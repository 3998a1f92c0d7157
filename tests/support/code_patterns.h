// Columns of codes that show the mistakes of scans: all equal, alternating, random, NULL-ridden.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/seeded_random.h"

namespace colx::test {

enum class Pattern { zeros, ones, alternating, random, often_null, near };
inline constexpr Pattern all_patterns[] = {Pattern::zeros,       Pattern::ones,
                                           Pattern::alternating, Pattern::random,
                                           Pattern::often_null,  Pattern::near};

inline uint64_t top_code(unsigned width_bits) {
  return ~uint64_t{0} >> (64 - width_bits);
}

// `rows` codes of `width_bits` bits. `near` keeps to the neighbourhood of `centre`, where the
// comparisons with it change their minds; `often_null` makes every other code 0, at random.
inline std::vector<uint64_t> pattern_codes(Pattern pattern, unsigned width_bits, uint32_t rows,
                                           uint64_t centre, Random& random) {
  const uint64_t top = top_code(width_bits);
  std::vector<uint64_t> codes(rows);
  for (uint32_t r = 0; r < rows; ++r) {
    switch (pattern) {
      case Pattern::zeros:
        codes[r] = 0;
        break;
      case Pattern::ones:
        codes[r] = top;
        break;
      case Pattern::alternating:
        codes[r] = r % 2 == 0 ? top : 0;
        break;
      case Pattern::random:
        codes[r] = random.bits(width_bits);
        break;
      case Pattern::often_null:
        codes[r] = random.one_in(2) ? 0 : random.bits(width_bits);
        break;
      case Pattern::near:
        codes[r] = (centre + random.below(3) - 1) & top;
        break;
    }
  }
  return codes;
}

}  // namespace colx::test

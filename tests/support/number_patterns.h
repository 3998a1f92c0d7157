// Floats and doubles that show the mistakes of arithmetic, as IEEE bits in 64-bit words (a float's
// in the low half).
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/seeded_random.h"

namespace colx::test {

enum class NumberMix {
  ordinary,  // magnitudes around 1, all mantissa bits random: sums depend on the order
  wide,      // every finite magnitude
  huge,      // sums and products overflow
  tiny,      // denormals and the normals next to them
  special,   // one number in four from special_numbers, the others ordinary
  any_bits   // every bit random
};
inline constexpr NumberMix all_mixes[] = {NumberMix::ordinary, NumberMix::wide,
                                          NumberMix::huge,     NumberMix::tiny,
                                          NumberMix::special,  NumberMix::any_bits};

// IEEE 754 binary32 or binary64.
struct NumberLayout {
  unsigned mantissa_bits;
  uint64_t top_exponent;  // that of infinities and NaNs

  static constexpr NumberLayout of(unsigned bytes) {
    return bytes == 4 ? NumberLayout{23, 255} : NumberLayout{52, 2047};
  }
  constexpr uint64_t bits(bool negative, uint64_t exponent, uint64_t mantissa) const {
    return (negative ? top_exponent + 1 : 0) << mantissa_bits | exponent << mantissa_bits |
           mantissa;
  }
};

// Zeros, ones, denormals, the ends of the normal range, infinities, quiet and signalling NaNs with
// payloads, all with both signs.
inline std::vector<uint64_t> special_numbers(unsigned bytes) {
  const NumberLayout layout = NumberLayout::of(bytes);
  const uint64_t top = layout.top_exponent;
  const uint64_t mantissa = (uint64_t{1} << layout.mantissa_bits) - 1;
  const uint64_t quiet = uint64_t{1} << (layout.mantissa_bits - 1);
  std::vector<uint64_t> all;
  for (const bool negative : {false, true}) {
    for (const uint64_t magnitude :
         {layout.bits(false, 0, 0), layout.bits(false, 0, 1), layout.bits(false, 0, mantissa),
          layout.bits(false, 1, 0), layout.bits(false, top / 2, 0), layout.bits(false, top / 2, 1),
          layout.bits(false, top - 1, mantissa), layout.bits(false, top, 0),
          layout.bits(false, top, quiet), layout.bits(false, top, quiet | 0x1234),
          layout.bits(false, top, 1), layout.bits(false, top, mantissa ^ quiet)}) {
      all.push_back(magnitude | layout.bits(negative, 0, 0));
    }
  }
  return all;
}

inline uint64_t random_number(NumberMix mix, unsigned bytes, Random& random) {
  const NumberLayout layout = NumberLayout::of(bytes);
  const uint64_t top = layout.top_exponent;
  const uint64_t mantissa = random.bits(layout.mantissa_bits);
  const bool negative = random.one_in(2);
  switch (mix) {
    case NumberMix::ordinary:
      return layout.bits(negative, top / 2 - 4 + random.below(9), mantissa);
    case NumberMix::wide:
      return layout.bits(negative, random.below(top), mantissa);
    case NumberMix::huge:
      return layout.bits(random.one_in(3), top - 1 - random.below(4), mantissa);
    case NumberMix::tiny:
      return layout.bits(negative, random.below(3), mantissa);
    case NumberMix::special:
      if (!random.one_in(4)) return random_number(NumberMix::ordinary, bytes, random);
      return random.pick<uint64_t>(special_numbers(bytes));
    case NumberMix::any_bits:
      return random.bits(8 * bytes);
  }
  return 0;
}

inline std::vector<uint64_t> random_numbers(NumberMix mix, unsigned bytes, size_t count,
                                            Random& random) {
  std::vector<uint64_t> numbers(count);
  for (uint64_t& number : numbers) number = random_number(mix, bytes, random);
  return numbers;
}

}  // namespace colx::test

// Fields of hashes, indexes and places, as the host describes them: by a highest bit or by a number
// of bits.
#pragma once

#include <cstdint>

namespace colx {

constexpr uint64_t low_bits(unsigned count) {
  return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// Bits 0 to `highest`; 63 and above are all bits.
constexpr uint64_t bits_up_to(unsigned highest) {
  return low_bits(highest + 1);
}
static_assert(bits_up_to(0) == 1 && bits_up_to(62) == ~uint64_t{0} >> 1);
static_assert(bits_up_to(63) == ~uint64_t{0});

}  // namespace colx

// The bits of words of 64 bits, each count or place by one instruction.
#pragma once

#include <bit>
#include <cstdint>

#include "kernels/frame/platform.h"

namespace colx {

COLX_INLINE uint32_t population(uint64_t word) {
  return static_cast<uint32_t>(std::popcount(word));
}

// The place of the lowest set bit of a word that has one, to index with: a compiler's own function
// gives an int, which a further instruction would widen. A prefix makes an instruction that is slow
// on some processors their fast one; others ignore it.
COLX_INLINE uint64_t lowest_set_index(uint64_t word) {
  uint64_t place;
  __asm__("rep bsfq %1, %0" : "=r"(place) : "r"(word) : "cc");
  return place;
}

// The same as a number. GCC's own function has the prefix, that of Clang 14 has not.
COLX_INLINE uint32_t lowest_set_bit(uint64_t word) {
#ifdef __clang__
  return static_cast<uint32_t>(lowest_set_index(word));
#else
  return static_cast<uint32_t>(__builtin_ctzll(word));
#endif
}

// The same and the highest, apart from the turn of a loop before: the instructions wait for what
// the register of their result held, so it is cleared first.
COLX_INLINE uint32_t lowest_set_bit_apart(uint64_t word) {
  uint64_t place = 0;
  __asm__("rep bsfq %1, %0" : "+r"(place) : "r"(word) : "cc");
  return static_cast<uint32_t>(place);
}
COLX_INLINE uint32_t highest_set_bit_apart(uint64_t word) {
  uint64_t place = 0;
  __asm__("bsrq %1, %0" : "+r"(place) : "r"(word) : "cc");
  return static_cast<uint32_t>(place);
}

}  // namespace colx

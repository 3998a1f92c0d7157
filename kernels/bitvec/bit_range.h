// Setting and clearing a range of bits. Both forms of vector have bit r in byte r >> 3 at position
// r & 7 on this machine, so one function on bytes serves both; only bytes of the range are touched.
#pragma once

#include <cstdint>
#include <cstring>

#include "kernels/frame/bytes.h"
#include "kernels/frame/platform.h"

namespace colx {

template <bool set>
COLX_INLINE void change_bits(uint8_t* byte, uint8_t mask) {
  *byte = static_cast<uint8_t>(set ? *byte | mask : *byte & ~mask);
}

// Bits `first` to `last`, both included; `first` must not be above `last`.
template <bool set>
COLX_INLINE void change_range(void* bits, uint64_t first, uint64_t last) {
  uint8_t* const from = bytes_at(bits, first >> 3);
  uint8_t* const to = bytes_at(bits, last >> 3);
  const uint8_t from_mask = static_cast<uint8_t>(0xFF << (first & 7));
  const uint8_t to_mask = static_cast<uint8_t>(0xFF >> (7 - (last & 7)));
  if (from == to) return change_bits<set>(from, from_mask & to_mask);
  change_bits<set>(from, from_mask);
  change_bits<set>(to, to_mask);
  if (to - from > 1) std::memset(from + 1, set ? 0xFF : 0, static_cast<size_t>(to - from - 1));
}

}  // namespace colx

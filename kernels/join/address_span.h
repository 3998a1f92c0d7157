// Whether memory that is about to be touched at random lies closer together than the caches reach:
// what lies far apart is worth asking for ahead, what is near would only pay for the asking.
#pragma once

#include <algorithm>
#include <cstdint>

#include "kernels/frame/platform.h"

namespace colx {

// The stretch of memory that a few addresses out of many lie in.
struct AddressSpan {
  static constexpr uint64_t near_bytes = 8 << 20;

  uint64_t low = ~uint64_t{0};
  uint64_t high = 0;

  COLX_INLINE void add(const uint8_t* address) {
    low = std::min(low, reinterpret_cast<uint64_t>(address));
    high = std::max(high, reinterpret_cast<uint64_t>(address));
  }
  COLX_INLINE bool is_wide() const { return high > low && high - low > near_bytes; }
};

}  // namespace colx

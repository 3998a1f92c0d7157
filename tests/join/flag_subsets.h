// Subsets of flags, by number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace colx::test {

// The flags whose bits are set in `subset`.
inline uint32_t some_of(std::span<const uint32_t> flags, unsigned subset) {
  uint32_t all = 0;
  for (size_t i = 0; i < flags.size(); ++i)
    if ((subset >> i & 1) != 0) all |= flags[i];
  return all;
}

}  // namespace colx::test

// Big-endian numbers of any number of bytes, as columns and dictionaries store them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace colx::oracle {

// The `bytes` bytes at `at`, the first one most significant.
inline uint64_t big_endian_at(const void* at, unsigned bytes) {
  uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) {
    value = value << 8 | static_cast<const uint8_t*>(at)[i];
  }
  return value;
}

inline std::vector<uint8_t> big_endian_array(std::span<const uint32_t> values, unsigned bytes) {
  std::vector<uint8_t> stored;
  for (const uint32_t value : values) {
    for (unsigned i = bytes; i-- > 0;) stored.push_back(static_cast<uint8_t>(value >> 8 * i));
  }
  return stored;
}

}  // namespace colx::oracle

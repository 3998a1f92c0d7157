// big_endian.h: numbers as the stored streams hold them, first byte most significant.
#pragma once

#include <cstddef>
#include <cstdint>

namespace colx::host {

// Stores the low `bytes` bytes (up to 8) of `number` at `at`.
inline void store_big_endian(uint8_t* at, uint64_t number, size_t bytes) {
  for (size_t k = bytes; k-- > 0; number >>= 8) at[k] = static_cast<uint8_t>(number);
}

// The number of the `bytes` bytes (up to 8) at `at`.
inline uint64_t load_big_endian(const uint8_t* at, size_t bytes) {
  uint64_t number = 0;
  for (size_t k = 0; k < bytes; ++k) number = number << 8 | at[k];
  return number;
}

}  // namespace colx::host

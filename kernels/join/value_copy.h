// How the bytes of values are moved: exactly as many as there are, none of their neighbours.
#pragma once

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

// `count` words of the type `T` from the front and as many up to the end; they overlap where there
// are fewer bytes than that.
template <class T, unsigned count = 1>
COLX_INLINE void copy_ends(uint8_t* to, const uint8_t* from, uint64_t bytes) {
  const uint64_t back = bytes - count * sizeof(T);
  T front_words[count];
  T back_words[count];
#pragma GCC unroll 2
  for (unsigned i = 0; i < count; ++i) {
    front_words[i] = load_as<T>(from + i * sizeof(T));
    back_words[i] = load_as<T>(from + back + i * sizeof(T));
  }
#pragma GCC unroll 2
  for (unsigned i = 0; i < count; ++i) {
    store_as(to + i * sizeof(T), front_words[i]);
    store_as(to + back + i * sizeof(T), back_words[i]);
  }
}

// Copies `bytes` bytes and touches no others. Most values are short: up to 64 bytes there is no
// call.
COLX_INLINE void copy_value(uint8_t* to, const uint8_t* from, uint64_t bytes) {
  if (bytes > 64) [[unlikely]] {
    std::memcpy(to, from, bytes);
  } else if (bytes > 32) {
    copy_ends<Vec, 2>(to, from, bytes);
  } else if (bytes > 16) {
    copy_ends<Vec>(to, from, bytes);
  } else if (bytes >= 8) {
    copy_ends<uint64_t>(to, from, bytes);
  } else if (bytes >= 4) {
    copy_ends<uint32_t>(to, from, bytes);
  } else if (bytes >= 2) {
    copy_ends<uint16_t>(to, from, bytes);
  } else if (bytes == 1) {
    *to = *from;
  }
}

// Up to 8 bytes as a number, the first one lowest; no byte behind them is read.
COLX_INLINE uint64_t load_number(const uint8_t* from, uint64_t bytes) {
  if (bytes >= 8) return load_as<uint64_t>(from);
  if (bytes >= 4) {
    const uint64_t high = load_as<uint32_t>(from + bytes - 4);
    return load_as<uint32_t>(from) | high << 8 * (bytes - 4);
  }
  if (bytes == 0) return 0;
  const uint64_t middle = from[bytes / 2];
  const uint64_t last = from[bytes - 1];
  return from[0] | middle << 8 * (bytes / 2) | last << 8 * (bytes - 1);
}

}  // namespace colx

// Loads and stores at any address and through any type, each one instruction: columns have no
// alignment beyond a byte and their streams are read at several widths.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "kernels/frame/platform.h"

namespace colx {

template <class T>
COLX_INLINE T load_as(const void* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <class T>
COLX_INLINE void store_as(void* to, T value) {
  std::memcpy(to, &value, sizeof value);
}

constexpr uint8_t byte_reversed(uint8_t value) {
  return value;
}
constexpr uint16_t byte_reversed(uint16_t value) {
  return __builtin_bswap16(value);
}
constexpr uint32_t byte_reversed(uint32_t value) {
  return __builtin_bswap32(value);
}
constexpr uint64_t byte_reversed(uint64_t value) {
  return __builtin_bswap64(value);
}

// A big-endian number of the stream as a native one.
template <class T>
COLX_INLINE T load_big_endian(const void* from) {
  return byte_reversed(load_as<T>(from));
}

template <class T>
COLX_INLINE void store_big_endian(void* to, T value) {
  store_as(to, byte_reversed(value));
}

COLX_INLINE const uint8_t* bytes_at(const void* base, size_t offset) {
  return static_cast<const uint8_t*>(base) + offset;
}

COLX_INLINE uint8_t* bytes_at(void* base, size_t offset) {
  return static_cast<uint8_t*>(base) + offset;
}

// Unsigned integer of a number of bytes.
template <unsigned Bytes>
struct UnsignedOf;
template <>
struct UnsignedOf<1> {
  using type = uint8_t;
};
template <>
struct UnsignedOf<2> {
  using type = uint16_t;
};
template <>
struct UnsignedOf<4> {
  using type = uint32_t;
};
template <>
struct UnsignedOf<8> {
  using type = uint64_t;
};
template <unsigned Bytes>
using Unsigned = typename UnsignedOf<Bytes>::type;

}  // namespace colx

// Numbers in the machine's byte order at any address.
#pragma once

#include <cstdint>
#include <cstring>

namespace colx::oracle {

// The `bytes` bytes at `at` as an unsigned number, 1 to 8 of them.
inline uint64_t native_at(const void* at, unsigned bytes) {
  uint64_t value = 0;
  std::memcpy(&value, at, bytes);
  return value;
}

// Stores the lowest `bytes` bytes of `value`.
inline void put_native(void* at, uint64_t value, unsigned bytes) {
  std::memcpy(at, &value, bytes);
}

// An address that stands in memory.
inline uint8_t* address_at(const void* at) {
  return reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(native_at(at, 8)));
}

}  // namespace colx::oracle

// What a kernel writes, as the oracles tell it: bytes at places of a buffer. All others stay.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace colx::oracle {

struct Patch {
  uint64_t at;  // bytes from the buffer's begin
  std::vector<uint8_t> bytes;
};

using Patches = std::vector<Patch>;

inline Patch patch_of_bytes(uint64_t at, const uint8_t* bytes, uint64_t count) {
  return {at, std::vector<uint8_t>(bytes, bytes + count)};
}

// The lowest `bytes` bytes of a number, in the machine's byte order.
inline Patch patch_of_number(uint64_t at, uint64_t number, unsigned bytes) {
  Patch patch = {at, std::vector<uint8_t>(bytes)};
  std::memcpy(patch.bytes.data(), &number, bytes);
  return patch;
}

// First byte behind everything that is written.
inline uint64_t end_of(const Patches& patches) {
  uint64_t end = 0;
  for (const Patch& patch : patches) {
    if (patch.at + patch.bytes.size() > end) end = patch.at + patch.bytes.size();
  }
  return end;
}

}  // namespace colx::oracle

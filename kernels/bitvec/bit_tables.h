// Tables on bits and bytes that know no format; several families share them.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "kernels/frame/vectors.h"

namespace colx {

// Number of set bits of each byte value.
inline constexpr std::array<uint8_t, 256> colx_byte_popc = [] {
  std::array<uint8_t, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte)
    table[byte] = static_cast<uint8_t>(std::popcount(byte));
  return table;
}();
static_assert(colx_byte_popc[0] == 0 && colx_byte_popc[0x80] == 1 && colx_byte_popc[0xFE] == 7);

// Bit k & 7 of byte k, for vectors that pick one bit of every byte.
inline constexpr Mask colx_bit_possible = [] {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k) mask.bytes[k] = static_cast<uint8_t>(1 << k % 8);
  return mask;
}();

// Positions of the set bits of each byte value, ascending; 0 behind the last.
inline constexpr std::array<std::array<uint8_t, 8>, 256> bit_positions = [] {
  std::array<std::array<uint8_t, 8>, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte)
    for (unsigned bit = 0, found = 0; bit < 8; ++bit)
      if ((byte >> bit & 1) != 0) table[byte][found++] = static_cast<uint8_t>(bit);
  return table;
}();
static_assert(bit_positions[0x92] == std::array<uint8_t, 8>{1, 4, 7});
static_assert(bit_positions[0xFF] == std::array<uint8_t, 8>{0, 1, 2, 3, 4, 5, 6, 7});

}  // namespace colx

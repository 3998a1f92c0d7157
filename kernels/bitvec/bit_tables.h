// Tables on bits and bytes that know no format; several families share them.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace colx {

// Number of set bits of each byte value.
inline constexpr std::array<uint8_t, 256> colx_byte_popc = [] {
  std::array<uint8_t, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte)
    table[byte] = static_cast<uint8_t>(std::popcount(byte));
  return table;
}();
static_assert(colx_byte_popc[0] == 0 && colx_byte_popc[0x80] == 1 && colx_byte_popc[0xFE] == 7);

}  // namespace colx

// Packed codes read and written bit by bit.
//
// A stream is a big-endian bit stream: stream bit 0 is the top bit of byte 0, and code r of width w
// takes the w bits from stream bit r * w on, its most significant bit first. At 8, 16, 32 and 64
// bits this is the same as dense big-endian numbers.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace colx::oracle {

inline bool stream_bit(std::span<const uint8_t> stream, uint64_t bit) {
  return (stream[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

inline uint64_t packed_code(std::span<const uint8_t> stream, unsigned width_bits, uint64_t row) {
  uint64_t code = 0;
  for (unsigned b = 0; b < width_bits; ++b) {
    code = code << 1 | (stream_bit(stream, row * width_bits + b) ? 1 : 0);
  }
  return code;
}

// The bytes that the rows occupy and no more; the unused low bits of the last byte are set.
inline std::vector<uint8_t> pack_codes(std::span<const uint64_t> codes, unsigned width_bits) {
  std::vector<uint8_t> stream((codes.size() * width_bits + 7) / 8, 0xFF);
  uint64_t at = 0;
  for (const uint64_t code : codes) {
    for (unsigned b = width_bits; b-- > 0; ++at) {
      const auto bit = static_cast<uint8_t>(0x80 >> at % 8);
      if ((code >> b & 1) == 0) stream[at / 8] &= static_cast<uint8_t>(~bit);
    }
  }
  return stream;
}

}  // namespace colx::oracle

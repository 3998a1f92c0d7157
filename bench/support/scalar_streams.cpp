#include "bench/support/scalar_streams.h"

#include <cstring>

namespace colx::bench {
namespace {

uint64_t big_endian_64(const uint8_t* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return __builtin_bswap64(word);
}

template <uint32_t code_bits>
uint8_t* expand_words(const WpakCodes& stream, uint8_t* out, const uint8_t* out_end) {
  const uint8_t* const codes = stream.codes;
  const uint64_t* const symbols = stream.symbols;
  const uint8_t* const lengths = stream.lengths;
  const uint32_t count = stream.count;
  uint64_t bit = 0;
  for (uint32_t i = 0; i < count; ++i, bit += code_bits) {
    uint64_t code = codes[i];
    if constexpr (code_bits != 8)
      code = big_endian_64(codes + bit / 8) << bit % 8 >> (64 - code_bits);
    const uint8_t length = lengths[code];
    if (out_end - out >= 8)
      std::memcpy(out, symbols + code, 8);
    else
      std::memcpy(out, symbols + code, length);
    out += length;
  }
  return out;
}

}  // namespace

uint8_t* scalar_wpak_words(const WpakCodes& stream, uint8_t* out, const uint8_t* out_end) {
  switch (stream.code_bits) {
    case 8:
      return expand_words<8>(stream, out, out_end);
    case 9:
      return expand_words<9>(stream, out, out_end);
    default:
      return expand_words<10>(stream, out, out_end);
  }
}

uint8_t* scalar_wpak_bytes(const WpakCodes& stream, uint8_t* out) {
  const uint32_t mask = (1u << stream.code_bits) - 1;
  uint64_t bit = 0;
  for (uint32_t i = 0; i < stream.count; ++i, bit += stream.code_bits) {
    const uint8_t* const at = stream.codes + bit / 8;
    const uint32_t both = uint32_t{at[0]} << 8 | at[1];
    const uint32_t code = both >> (16 - stream.code_bits - bit % 8) & mask;
    const auto* const symbol = reinterpret_cast<const uint8_t*>(stream.symbols + code);
    for (uint32_t k = 0; k < stream.lengths[code]; ++k) *out++ = symbol[k];
  }
  return out;
}

void scalar_prefix_copies(const uint8_t* stream, uint32_t values, uint32_t value_bytes,
                          uint8_t* out) {
  while (values > 0) {
    const uint32_t prefix_bytes = *stream;
    const uint8_t* const prefix = stream + 1;
    stream += 1 + prefix_bytes;
    const uint32_t in_group = values < 16 ? values : 16;
    for (uint32_t i = 0; i < in_group; ++i) {
      std::memcpy(out, prefix, prefix_bytes);
      std::memcpy(out + prefix_bytes, stream, value_bytes - prefix_bytes);
      out += value_bytes;
      stream += value_bytes - prefix_bytes;
    }
    values -= in_group;
  }
}

}  // namespace colx::bench

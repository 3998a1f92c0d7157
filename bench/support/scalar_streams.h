// The scalar lines of the stream decoders.
#pragma once

#include <cstddef>
#include <cstdint>

namespace colx::bench {

// A wpak stream's codes with the table they name: words of 8 bytes that begin with the symbols.
struct WpakCodes {
  const uint8_t* codes;  // readable 8 bytes behind the last
  uint32_t count;
  uint32_t code_bits;
  const uint64_t* symbols;
  const uint8_t* lengths;
};

// What a careful engineer writes: one code at a time out of a big-endian load, and its symbol with
// one store of 8 bytes as long as there is room for them, byte by byte behind. Widths of 8, 9 and
// 10 bits. Returns the end of the output.
uint8_t* scalar_wpak_words(const WpakCodes& stream, uint8_t* out, const uint8_t* out_end);

// One code and one byte at a time, any width up to 10 bits.
uint8_t* scalar_wpak_bytes(const WpakCodes& stream, uint8_t* out);

// Prefix groups, value by value: its prefix is copied and then its suffix.
void scalar_prefix_copies(const uint8_t* stream, uint32_t values, uint32_t value_bytes,
                          uint8_t* out);

}  // namespace colx::bench

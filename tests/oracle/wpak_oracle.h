// The wpak format: streams put together field by field, sound or not, and what the decoder must
// make of one, taken code by code and byte by byte.
//
//   byte 0      4   5      6         10   12              16            18
//        "WPAK" | 0 | flags | reserved | aux | decoded length | symbol count | lengths, a nibble
//        each [ 2 bytes a symbol ] | symbols | code count | [ X | X / 128 - 4 bytes ] | packed
//        codes
//
// What stands in brackets is there with an aux above 0 only.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

struct WpakParts {
  std::array<uint8_t, 4> magic = {'W', 'P', 'A', 'K'};
  uint8_t version = 0;
  uint8_t flags = 0x02;
  uint16_t aux = 0;
  std::vector<std::vector<uint8_t>> symbols;  // of 1 to 8 bytes
  std::vector<uint64_t> codes;
  std::vector<uint8_t> between;  // with an aux section: bytes from behind X to the codes

  // What the stream says instead of what it holds.
  std::optional<uint32_t> decoded_length;
  std::optional<uint16_t> symbol_count;
  std::optional<uint32_t> code_count;
  std::optional<uint32_t> x;
};

// Bits of a code among that many symbols; more than 10 without symbols.
unsigned wpak_code_width(uint32_t symbol_count);

// The bytes up to the end of the last code. Bytes and bits that no reader may look at are set.
std::vector<uint8_t> wpak_stream(const WpakParts& parts);

struct WpakScratch {
  std::string label;
  uint64_t bytes;
};

struct WpakOutcome {
  uint32_t status;
  std::optional<uint32_t> out_len;     // without a value the caller's number stays
  std::vector<uint8_t> written;        // exactly the bytes that are written
  std::vector<WpakScratch> allocated;  // in this order, and given back in the reverse one
};

// `stream` is readable to its last code.
WpakOutcome wpak_outcome(const uint8_t* stream, uint32_t capacity);

}  // namespace colx::oracle

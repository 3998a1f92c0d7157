// encode_codes.h: writers of dictionary code columns.
//
// Codes of n bits form one big-endian bit stream: code i takes the bits i * n to i * n + n - 1, bit
// 0 being the top bit of byte 0, and a code's first bit is its most significant. Three codes of 3
// bits, a b c:
//
//   byte 0  a2 a1 a0 b2 b1 b0 c2 c1
//   byte 1  c0  0  0  0  0  0  0  0     bits behind the last code are 0
//
// At 8, 16, 24, 32 and 64 bits that is one big-endian number a code.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "host/column.h"
#include "host/encode_runs.h"
#include "host/result.h"

namespace colx::host {

// The narrowest width with kernels that holds codes 0 to `largest`: 1 to 20, 24, 32 or 64 bits.
uint32_t narrowest_code_width(uint64_t largest);

// The stream of `codes` at `width_bits`: ceil(codes * width / 8) bytes. Errors: a width without
// kernels, a code that does not fit it.
Result<StreamBuffer> pack_codes(std::span<const uint64_t> codes, uint32_t width_bits);

// How codes are stored.
struct CodeOptions {
  uint32_t width_bits = 0;                 // 0: the narrowest that holds every code
  bool zero_is_null = false;               // code 0 is NULL
  uint32_t chunk_rows = max_chunk_rows;    // 1 to 65536
  std::optional<RunLengthOptions> runs{};  // set: the run-length form
};

// A column of codes without a dictionary. Errors as pack_codes(), with the row; a chunk size out of
// range; a width of run lengths other than 8 and 16.
Result<StoredColumn> store_codes(std::span<const uint64_t> codes, const CodeOptions& options = {});

}  // namespace colx::host

// What a scan must find, row by row and bit by bit: the check before a scan is timed.
#pragma once

#include <cstdint>
#include <vector>

namespace colx::bench {

struct ReferenceScan {
  std::vector<uint64_t> bits;  // ceil(rows / 64) words
  uint32_t count;
};

// `opc` is one of COLX_OPC_EQ to COLX_OPC_GE_LE; one-sided ones have their constant in `lo`. Codes
// are big-endian, packed without gaps.
ReferenceScan reference_scan(const uint8_t* codes, unsigned width_bits, uint32_t rows, uint32_t opc,
                             bool zero_is_null, uint64_t lo, uint64_t hi);

}  // namespace colx::bench

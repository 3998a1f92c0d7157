// Scalar loops over packed codes that look something up: in a table of wanted codes, or in a
// dictionary.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

// Rows whose code has its bit set in `table`: 64 rows written out, with constant positions and
// shared loads (scalar_scan.h), gathered in a register and counted once. A table of up to 64 bits
// is spread to bytes before. Stores rows / 64 words, `rows` being a multiple of 64; returns the
// count.
using ScalarSet = uint32_t (*)(const uint8_t* codes, const uint64_t* table, uint64_t* out,
                               uint64_t rows);
ScalarSet scalar_set(unsigned width_bits);

// What a dictionary decode must load and store, and no arithmetic but what an address takes: the
// row number, the four bytes of the row's code, for a cumulative dictionary two neighbouring
// offsets at an entry that the code's bytes tell (`entries`, a power of two), and a pointer, a
// length and the zero of an indicator. What is stored means nothing.
struct DecodeTraffic {
  const uint32_t* rows;
  uint64_t count;
  const uint8_t* codes;
  const uint32_t* offsets;  // null: one length
  uint32_t entries;
  const uint8_t** values;
  uint16_t* lengths;
  uint16_t* flags;
};
using DecodeLimit = void (*)(const DecodeTraffic& traffic);
DecodeLimit decode_limit(unsigned width_bits, bool cumulative);

}  // namespace colx::bench

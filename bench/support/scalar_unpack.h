// The scalar lines of unpacking: codes taken out of the stream one at a time.
//
// A range has 32 rows written out, so that positions and shifts are constants and neighbouring
// codes share the load of the 8 bytes that hold them (scalar_scan.h). A selection is walked by its
// set bits, a load and two shifts per row. Codes of 8, 16 and 32 bits are single reads with their
// bytes swapped.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

// Stores `rows` elements, a multiple of 32.
using ScalarUnpack = void (*)(const uint8_t* codes, void* out, uint64_t rows);

// Stores an element for each set bit of rows / 64 words; returns how many. May read 8 bytes past
// the rows' bytes.
using ScalarUnpackSelected = uint64_t (*)(const uint8_t* codes, const uint64_t* selection,
                                          void* out, uint64_t rows);

// For widths of 1 to 20, 24 and 32 bits and elements of 1, 2 or 4 bytes that have room for them.
ScalarUnpack scalar_unpack(unsigned width_bits, unsigned element_bytes);
ScalarUnpackSelected scalar_unpack_selected(unsigned width_bits, unsigned element_bytes);

}  // namespace colx::bench
